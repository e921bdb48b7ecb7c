#include <vqlmosa/osaLibrary.h>

#include <cstdio>
#include <string>

#include "osaSystem.h"

#if defined(_WIN32)
#  include <windows.h>
#else
#  include <dlfcn.h>
#  include <link.h>
#endif

namespace {

// Binaries for several platforms may share one installation, so each platform
// needs its own name; refuse to guess one for a new target.
#if defined(_WIN64)
constexpr const char* kPlatform = "win64";
#elif defined(_WIN32)
constexpr const char* kPlatform = "win32";
#elif defined(__linux__) && defined(__x86_64__)
constexpr const char* kPlatform = "linux64";
#elif defined(__linux__) && defined(__aarch64__)
constexpr const char* kPlatform = "linuxarm64";
#elif defined(__linux__) && defined(__i386__)
constexpr const char* kPlatform = "linux32";
#else
#  error "osaLibrary: no platform directory name defined for this target"
#endif

vqString DescribeAddress(const void* address) {
  char text[32];
  std::snprintf(text, sizeof text, "%p", address);
  return text;
}

#if defined(_WIN32)

osaStatus ModuleFileOf(const void* address, std::filesystem::path& file) {
  HMODULE module = nullptr;
  if (!::GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          static_cast<LPCWSTR>(address), &module)) {
    const std::error_code reason(static_cast<int>(::GetLastError()), std::system_category());
    return osaInternal::SystemFailure("no module holds address", DescribeAddress(address), reason);
  }
  // The API truncates silently when the buffer is short; grow until it fits.
  std::wstring buffer(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length =
        ::GetModuleFileNameW(module, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (length == 0) {
      const std::error_code reason(static_cast<int>(::GetLastError()), std::system_category());
      return osaInternal::SystemFailure("cannot name the module at address",
                                        DescribeAddress(address), reason);
    }
    if (length < buffer.size()) {
      buffer.resize(length);
      break;
    }
    buffer.resize(buffer.size() * 2);
  }
  file = buffer;
  return osaStatus();
}

#else

osaStatus ModuleFileOf(const void* address, std::filesystem::path& file) {
  Dl_info info{};
  link_map* module = nullptr;
  if (!::dladdr1(address, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) || !module) {
    return osaStatus::Failure("no loaded library holds address " + DescribeAddress(address));
  }
  // For the main program dladdr reports argv[0], which may be relative or a
  // bare name found on PATH; the kernel knows the real file.
  if (module->l_name[0] == '\0') {
    std::error_code reason;
    file = std::filesystem::read_symlink("/proc/self/exe", reason);
    if (reason) {
      return osaInternal::SystemFailure("cannot locate the program", "/proc/self/exe", reason);
    }
    return osaStatus();
  }
  file = module->l_name;
  return osaStatus();
}

#endif

}  // namespace

vqString osaLibrary::GetPlatform() { return kPlatform; }

vqString osaLibrary::GetAbsoluteLibraryName(const vqString& base) {
  if (base.empty()) return vqString();
#if defined(_WIN32)
  return base + ".dll";
#else
  return "lib" + base + ".so";
#endif
}

osaStatus osaLibrary::GetLibraryPathOf(const void* address, vqString& path) {
  std::filesystem::path file;
  osaStatus status = ModuleFileOf(address, file);
  if (!status.IsOk()) return status;
  // Libraries found through a run path like $ORIGIN/../lib carry the dots.
  std::error_code error;
  std::filesystem::path resolved = std::filesystem::canonical(file, error);
  if (error) {
    return osaInternal::SystemFailure("cannot resolve library path", osaInternal::ToText(file),
                                      error);
  }
  path = osaInternal::ToText(resolved);
  return osaStatus();
}

vqString osaLibrary::GetLibraryPathOf(const void* address) {
  vqString path;
  return GetLibraryPathOf(address, path).IsOk() ? path : vqString();
}
