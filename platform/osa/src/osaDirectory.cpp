#include <vqlmosa/osaDirectory.h>

#include <filesystem>
#include <iterator>

#include "osaSystem.h"

#if !defined(_WIN32)
#  include <fcntl.h>
#  include <sys/stat.h>
#  include <sys/types.h>
#  include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace {

constexpr int kPermissionBits = 07777;
constexpr int kOwnerWriteSearch = 0300;

std::error_code MakeOne(const fs::path& path, int mode) {
#if defined(_WIN32)
  std::error_code error;
  fs::create_directory(path, error);
  return error;
#else
  if (::mkdir(path.c_str(), static_cast<mode_t>(mode & kPermissionBits)) != 0) {
    return osaInternal::LastErrno();
  }
  return std::error_code();
#endif
}

// mkdir reports EEXIST for files too; only a directory may already be there.
osaStatus MakeOrAccept(const fs::path& path, int mode, const vqString& requested) {
  const std::error_code error = MakeOne(path, mode);
  if (!error) return osaStatus();
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) return osaStatus();
  const vqString text = osaInternal::ToText(path);
  if (error == std::errc::file_exists) {
    const vqString where = text == requested ? vqString() : " (a parent of '" + requested + "')";
    return osaStatus::Failure(
        "cannot create directory '" + text + "'" + where + ": a file of that name exists", error);
  }
  return osaInternal::SystemFailure("cannot create directory", text, error);
}

}  // namespace

osaStatus osaDirectory::Create(const vqString& path, int mode, bool recursive) {
  if (path.empty()) return osaStatus::Failure("cannot create directory: the path is empty");
  fs::path target = osaInternal::ToPath(path).lexically_normal();
  if (!target.has_filename() && target.has_relative_path()) target = target.parent_path();
  const vqString requested = osaInternal::ToText(target);
  if (!recursive) return MakeOrAccept(target, mode, requested);

  fs::path partial;
  for (auto part = target.begin(); part != target.end(); ++part) {
    partial /= *part;
    if (!partial.has_relative_path()) continue;  // nothing to make for a root
    const bool last = std::next(part) == target.end();
    osaStatus status = MakeOrAccept(partial, last ? mode : mode | kOwnerWriteSearch, requested);
    if (!status.IsOk()) return status;
  }
  return osaStatus();
}

bool osaDirectory::Exists(const vqString& path) {
  std::error_code ignored;
  return fs::is_directory(osaInternal::ToPath(path), ignored);
}

osaStatus osaDirectory::Remove(const vqString& path, bool recursive) {
  const fs::path target = osaInternal::ToPath(path);
  std::error_code error;
  const fs::file_status status = fs::symlink_status(target, error);
  if (status.type() == fs::file_type::not_found) return osaStatus();
  if (error) return osaInternal::SystemFailure("cannot remove directory", path, error);
  if (status.type() != fs::file_type::directory) {
    return osaStatus::Failure("cannot remove directory '" + path + "': it is not a directory");
  }
  if (recursive) {
    fs::remove_all(target, error);
  } else {
    fs::remove(target, error);
  }
  if (error) return osaInternal::SystemFailure("cannot remove directory", path, error);
  return osaStatus();
}

osaStatus osaDirectory::SyncFileSystem(const vqString& path) {
#if defined(__linux__)
  const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) {
    return osaInternal::SystemFailure("cannot open directory", path, osaInternal::LastErrno());
  }
  const int rc = ::syncfs(fd);
  const int error = errno;
  ::close(fd);
  if (rc != 0) {
    return osaInternal::SystemFailure("cannot sync the file system of", path,
                                      std::error_code(error, std::generic_category()));
  }
#else
  (void)path;
  ::sync();
#endif
  return osaStatus();
}
