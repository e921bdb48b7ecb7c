#pragma once

// Packages as one archive file (libarchive), and back.

#include <vqutl/vqString.h>

namespace vqkudm::exchange {

enum class ArchiveFormat { Tar, TarGz, Zip };

// Writes every file under `directory` into the archive `file`.
void WriteArchive(const vqString& directory, const vqString& file, ArchiveFormat format);
// Extracts `file` into `directory`, refusing any entry that is not a plain
// file or directory or whose path would land outside `directory`.
void ExtractArchive(const vqString& file, const vqString& directory);

}  // namespace vqkudm::exchange
