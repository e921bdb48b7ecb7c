#include <vqutl/vqExport.h>

namespace {
int g_calls = 0;
}

VQ_MODULE_ENTRY int osaTestPluginAnswer() { return 4711; }

// State that a reload would reset, so tests can tell the library stayed mapped.
VQ_MODULE_ENTRY int osaTestPluginCountCalls() { return ++g_calls; }
