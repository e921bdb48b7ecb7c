#pragma once

#include <vqutl/vqExport.h>

#if defined(VQSIGSLOT_BUILD)
#  define VQSIGSLOT_API VQ_DECL_EXPORT
#else
#  define VQSIGSLOT_API VQ_DECL_IMPORT
#endif
