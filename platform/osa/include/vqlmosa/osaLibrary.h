#pragma once

#include <vqlmosa/osaStatus.h>
#include <vqlmosa/vqlmosaApi.h>
#include <vqutl/vqString.h>

// Platform facts about shared libraries, so the runtime can name and find its
// plug-ins and drivers without knowing where or on what it was installed.
class VQLMOSA_API osaLibrary {
 public:
  osaLibrary() = delete;

  // The sub-directory name for binaries of this platform: "linux64",
  // "linuxarm64", "linux32", "win64" or "win32".
  static vqString GetPlatform();

  // The file name the platform gives a library built from `base`:
  // "libbase.so" on Linux, "base.dll" on Windows. Empty for an empty base.
  static vqString GetAbsoluteLibraryName(const vqString& base);

  // The absolute, symlink-free path of the loaded module (shared library or
  // executable) whose code or data holds `address`. Pass the address of a
  // function of your own library to find where it was installed.
  static osaStatus GetLibraryPathOf(const void* address, vqString& path);
  // The same, empty when `address` lies in no loaded module.
  static vqString GetLibraryPathOf(const void* address);
};
