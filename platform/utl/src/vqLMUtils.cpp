#include <vqutl/vqLMUtils.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace vqLMUtils {

vqString UtilsGetTempDirectory() {
  std::error_code error;
  std::filesystem::path dir = std::filesystem::temp_directory_path(error);
  if (error) return vqString();
  vqString text = dir.string();
  while (text.size() > 1 && (text.back() == '/' || text.back() == '\\')) text.pop_back();
  return text;
}

vqString UtilsGetEnv(const vqString& name) {
  const char* value = std::getenv(name.c_str());
  return value ? vqString(value) : vqString();
}

}  // namespace vqLMUtils
