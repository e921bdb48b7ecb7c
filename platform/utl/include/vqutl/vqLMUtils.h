#pragma once

#include <vqutl/vqString.h>
#include <vqutl/vqutlApi.h>

// Small process-wide services of the utility library.
namespace vqLMUtils {

// The directory for temporary files: TMPDIR (TEMP/TMP on Windows) when set,
// else the system's default; without a trailing separator. Empty if none
// can be determined.
VQUTL_API vqString UtilsGetTempDirectory();

// The value of an environment variable, or empty when it is not set.
VQUTL_API vqString UtilsGetEnv(const vqString& name);

}  // namespace vqLMUtils
