#pragma once

#include <dlfcn.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

// A fresh directory under the system's temporary directory, removed with
// everything in it when the test ends.
class OsaTempDir {
 public:
  OsaTempDir() {
    static int counter = 0;
    const auto base = std::filesystem::temp_directory_path();
    do {
      m_path =
          base / ("vqlmosa-test-" + std::to_string(::getpid()) + "-" + std::to_string(++counter));
    } while (!std::filesystem::create_directory(m_path));
  }
  ~OsaTempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  const std::filesystem::path& path() const { return m_path; }
  std::string operator/(const std::string& name) const { return (m_path / name).string(); }

 private:
  std::filesystem::path m_path;
};

inline void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

// Asks the loader, without loading anything, whether a library is mapped.
inline bool IsMapped(const std::string& path) {
  void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle) ::dlclose(handle);
  return handle != nullptr;
}
