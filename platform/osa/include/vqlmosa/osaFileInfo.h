#pragma once

#include <cstdint>

#include <vqlmosa/osaStatus.h>
#include <vqlmosa/vqlmosaApi.h>
#include <vqutl/vqString.h>

// Facts about one path. Nothing is cached: every query asks the file system
// afresh, so answers reflect changes made in between. Symbolic links are
// followed. Value forms answer false or -1 when the file cannot be examined;
// the status forms say why.
class VQLMOSA_API osaFileInfo {
 public:
  explicit osaFileInfo(const vqString& path) : m_path(path) {}

  const vqString& GetPath() const { return m_path; }
  // The last path component and the rest, trailing separators ignored:
  // "/a/b/c.txt" and "/a/b/c.txt/" give "c.txt" and "/a/b"; "c.txt" gives
  // "c.txt" and "".
  vqString GetFileName() const;
  vqString GetDirectory() const;

  bool Exists() const;
  bool IsFile() const;
  bool IsDirectory() const;

  // In bytes.
  std::int64_t GetSize() const;
  osaStatus GetSize(std::int64_t& size) const;

  // Seconds since 1970-01-01 UTC.
  std::int64_t GetModificationTime() const;
  osaStatus GetModificationTime(std::int64_t& seconds) const;
  // Windows keeps a creation time; POSIX systems do not, and give the last
  // status change (content, owner or permissions) instead.
  std::int64_t GetCreationTime() const;
  osaStatus GetCreationTime(std::int64_t& seconds) const;

  // Whether the file is marked writable (the owner's write bit; the
  // read-only attribute on Windows), not whether this process may write it:
  // a privileged process can write files that are not marked so.
  bool IsWritable() const;
  // Adds the owner's write bit, leaving the other permissions as they are.
  osaStatus MakeWritable() const;

 private:
  vqString m_path;
};
