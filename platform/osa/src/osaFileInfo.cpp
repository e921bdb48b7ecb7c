#include <vqlmosa/osaFileInfo.h>

#include <sys/stat.h>
#include <sys/types.h>

#include <filesystem>

#include "osaSystem.h"

namespace fs = std::filesystem;

namespace {

#if defined(_WIN32)
using StatBuffer = struct _stat64;
int StatPath(const vqString& path, StatBuffer& buffer) {
  return ::_wstat64(osaInternal::ToPath(path).c_str(), &buffer);
}
#else
using StatBuffer = struct stat;
int StatPath(const vqString& path, StatBuffer& buffer) { return ::stat(path.c_str(), &buffer); }
#endif

osaStatus Examine(const vqString& path, StatBuffer& buffer) {
  if (StatPath(path, buffer) != 0) {
    return osaInternal::SystemFailure("cannot examine file", path, osaInternal::LastErrno());
  }
  return osaStatus();
}

vqString WithoutTrailingSeparators(const vqString& path) {
  fs::path result = osaInternal::ToPath(path);
  while (!result.has_filename() && result.has_relative_path()) result = result.parent_path();
  return osaInternal::ToText(result);
}

fs::file_type TypeOf(const vqString& path) {
  std::error_code ignored;
  return fs::status(osaInternal::ToPath(path), ignored).type();
}

template <typename Query>
std::int64_t ValueOrMinusOne(Query query) {
  std::int64_t value = -1;
  return query(value).IsOk() ? value : -1;
}

}  // namespace

vqString osaFileInfo::GetFileName() const {
  return osaInternal::ToText(osaInternal::ToPath(WithoutTrailingSeparators(m_path)).filename());
}

vqString osaFileInfo::GetDirectory() const {
  return osaInternal::ToText(osaInternal::ToPath(WithoutTrailingSeparators(m_path)).parent_path());
}

bool osaFileInfo::Exists() const {
  const fs::file_type type = TypeOf(m_path);
  return type != fs::file_type::not_found && type != fs::file_type::none;
}

bool osaFileInfo::IsFile() const { return TypeOf(m_path) == fs::file_type::regular; }

bool osaFileInfo::IsDirectory() const { return TypeOf(m_path) == fs::file_type::directory; }

osaStatus osaFileInfo::GetSize(std::int64_t& size) const {
  StatBuffer buffer{};
  osaStatus status = Examine(m_path, buffer);
  if (status.IsOk()) size = static_cast<std::int64_t>(buffer.st_size);
  return status;
}

std::int64_t osaFileInfo::GetSize() const {
  return ValueOrMinusOne([this](std::int64_t& value) { return GetSize(value); });
}

osaStatus osaFileInfo::GetModificationTime(std::int64_t& seconds) const {
  StatBuffer buffer{};
  osaStatus status = Examine(m_path, buffer);
  if (status.IsOk()) seconds = static_cast<std::int64_t>(buffer.st_mtime);
  return status;
}

std::int64_t osaFileInfo::GetModificationTime() const {
  return ValueOrMinusOne([this](std::int64_t& value) { return GetModificationTime(value); });
}

osaStatus osaFileInfo::GetCreationTime(std::int64_t& seconds) const {
  StatBuffer buffer{};
  osaStatus status = Examine(m_path, buffer);
  if (status.IsOk()) seconds = static_cast<std::int64_t>(buffer.st_ctime);
  return status;
}

std::int64_t osaFileInfo::GetCreationTime() const {
  return ValueOrMinusOne([this](std::int64_t& value) { return GetCreationTime(value); });
}

bool osaFileInfo::IsWritable() const {
  std::error_code error;
  const fs::file_status status = fs::status(osaInternal::ToPath(m_path), error);
  return !error && fs::exists(status) &&
         (status.permissions() & fs::perms::owner_write) != fs::perms::none;
}

osaStatus osaFileInfo::MakeWritable() const {
  std::error_code error;
  fs::permissions(osaInternal::ToPath(m_path), fs::perms::owner_write, fs::perm_options::add,
                  error);
  if (error) return osaInternal::SystemFailure("cannot make file writable", m_path, error);
  return osaStatus();
}
