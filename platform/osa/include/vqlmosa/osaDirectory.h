#pragma once

#include <vqlmosa/osaStatus.h>
#include <vqlmosa/vqlmosaApi.h>
#include <vqutl/vqString.h>

// Creating, testing and removing directories.
class VQLMOSA_API osaDirectory {
 public:
  osaDirectory() = delete;

  // Creates `path` with POSIX permission bits `mode` (0755, 4095 = 07777, ...),
  // masked by the umask as mkdir does; ignored on Windows. With `recursive`,
  // missing parents are made as well, with the same mode plus the owner's
  // write and search bits so the chain can be completed. An existing
  // directory is success; an existing file of that name, or as a parent, is a
  // failure that names it.
  static osaStatus Create(const vqString& path, int mode, bool recursive);

  // True only for a directory (or a link to one), not for other files.
  static bool Exists(const vqString& path);

  // Removes the directory `path`, with everything in it if `recursive`
  // (links inside are removed, not followed). A missing directory is
  // success; a file or a link in its place is refused.
  static osaStatus Remove(const vqString& path, bool recursive);

  // Makes everything written to the file system that holds the directory
  // `path` durable, new directory entries included: one call for a whole
  // batch of files instead of one per file.
  static osaStatus SyncFileSystem(const vqString& path);
};
