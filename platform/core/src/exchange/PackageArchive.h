#pragma once

// Packages as one archive file (libarchive), and back.

#include <cstdint>

#include <vqutl/vqString.h>

namespace vqkudm::exchange {

enum class ArchiveFormat { Tar, TarGz, Zip };

// Writes every file under `directory` into the archive `file`.
void WriteArchive(const vqString& directory, const vqString& file, ArchiveFormat format);
// What an archive may expand to: this many bytes, and this many times its size.
constexpr std::uintmax_t kExpansionFloor = 64u << 20;
constexpr std::uintmax_t kExpansionRatio = 250;

// Extracts `file` into `directory`, refusing any entry that is not a plain
// file or directory, whose path would land outside `directory`, that comes
// twice, or that would expand the package past its budget.
void ExtractArchive(const vqString& file, const vqString& directory);

}  // namespace vqkudm::exchange
