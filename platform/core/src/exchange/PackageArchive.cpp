#include "PackageArchive.h"

#include <archive.h>
#include <archive_entry.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <vqkudmrt/UDMException.h>

namespace vqkudm::exchange {

namespace fs = std::filesystem;

namespace {

using ArchivePtr = std::unique_ptr<archive, int (*)(archive*)>;

[[noreturn]] void Fail(const char* signature, const vqString& what, archive* a) {
  ThrowFileException(signature, what + ": " + (a && archive_error_string(a) ? archive_error_string(a) : "unknown error"),
                     ExcSubIo);
}

// Through an error code: an entry below a name that an earlier entry made a
// file must fail as a UDMException, not as a std::filesystem_error.
void MakeDirectories(const char* signature, const fs::path& path, const vqString& file) {
  std::error_code error;
  fs::create_directories(path, error);
  if (error) {
    ThrowFileException(signature,
                       "cannot unpack the package \"" + file + "\" into \"" + path.string() + "\": " + error.message(),
                       ExcSubIo);
  }
}

}  // namespace

void WriteArchive(const vqString& directory, const vqString& file, ArchiveFormat format) {
  ArchivePtr out(archive_write_new(), archive_write_free);
  if (format == ArchiveFormat::Zip) {
    archive_write_set_format_zip(out.get());
  } else {
    archive_write_set_format_pax_restricted(out.get());
    if (format == ArchiveFormat::TarGz) archive_write_add_filter_gzip(out.get());
  }
  if (archive_write_open_filename(out.get(), file.c_str()) != ARCHIVE_OK) {
    Fail(UDM_FUNCSIG, "cannot write the package \"" + file + "\"", out.get());
  }
  std::vector<char> buffer(1 << 20);
  for (const auto& entry : fs::recursive_directory_iterator(directory.str())) {
    if (!entry.is_regular_file()) continue;
    const std::string name = fs::relative(entry.path(), directory.str()).generic_string();
    std::unique_ptr<archive_entry, void (*)(archive_entry*)> header(archive_entry_new(), archive_entry_free);
    archive_entry_set_pathname(header.get(), name.c_str());
    archive_entry_set_size(header.get(), static_cast<la_int64_t>(entry.file_size()));
    archive_entry_set_filetype(header.get(), AE_IFREG);
    archive_entry_set_perm(header.get(), 0644);
    if (archive_write_header(out.get(), header.get()) != ARCHIVE_OK) {
      Fail(UDM_FUNCSIG, "cannot write \"" + name + "\" into \"" + file + "\"", out.get());
    }
    std::ifstream in(entry.path(), std::ios::binary);
    while (in.read(buffer.data(), static_cast<std::streamsize>(buffer.size())) || in.gcount() > 0) {
      if (archive_write_data(out.get(), buffer.data(), static_cast<std::size_t>(in.gcount())) < 0) {
        Fail(UDM_FUNCSIG, "cannot write \"" + name + "\" into \"" + file + "\"", out.get());
      }
    }
  }
  if (archive_write_close(out.get()) != ARCHIVE_OK) Fail(UDM_FUNCSIG, "cannot finish \"" + file + "\"", out.get());
}

void ExtractArchive(const vqString& file, const vqString& directory) {
  ArchivePtr in(archive_read_new(), archive_read_free);
  archive_read_support_format_all(in.get());
  archive_read_support_filter_all(in.get());
  if (archive_read_open_filename(in.get(), file.c_str(), 1 << 16) != ARCHIVE_OK) {
    Fail(UDM_FUNCSIG, "cannot read the package \"" + file + "\"", in.get());
  }
  const fs::path root = fs::path(directory.str()).lexically_normal();
  // Packages of real files compress a few times, rarely a hundred: far more
  // is an archive built to fill the disk.
  std::error_code error;
  const std::uintmax_t budget = kExpansionFloor + kExpansionRatio * fs::file_size(file.str(), error);
  std::uintmax_t written = 0;
  std::set<fs::path> seen;
  archive_entry* entry = nullptr;
  std::vector<char> buffer(1 << 20);
  const auto refuse = [&](const std::string& name, const std::string& why) {
    ThrowInvalidArgException(UDM_FUNCSIG, "the package \"" + file + "\" holds \"" + name + "\", " + why,
                             ExcSubWrongType);
  };
  for (;;) {
    const int status = archive_read_next_header(in.get(), &entry);
    if (status == ARCHIVE_EOF) break;
    if (status != ARCHIVE_OK) Fail(UDM_FUNCSIG, "cannot read the package \"" + file + "\"", in.get());
    const std::string name = archive_entry_pathname(entry) ? archive_entry_pathname(entry) : "";
    const fs::path target = (root / name).lexically_normal();
    const fs::path relative = target.lexically_relative(root);
    if (name.empty() || fs::path(name).is_absolute() || relative.empty() || *relative.begin() == "..") {
      refuse(name, "which would land outside \"" + directory + "\"");
    }
    const auto type = archive_entry_filetype(entry);
    if (type == AE_IFDIR) {
      MakeDirectories(UDM_FUNCSIG, target, file);
      continue;
    }
    if (type != AE_IFREG || archive_entry_hardlink(entry) || archive_entry_symlink(entry)) {
      refuse(name, "which is not a file");
    }
    if (!seen.insert(relative).second) refuse(name, "twice");
    if (archive_entry_size_is_set(entry) && static_cast<std::uintmax_t>(archive_entry_size(entry)) > budget - written) {
      refuse(name, "which would expand the package past " + std::to_string(budget) + " bytes");
    }
    MakeDirectories(UDM_FUNCSIG, target.parent_path(), file);
    std::ofstream out(target, std::ios::binary);
    for (;;) {
      const la_ssize_t got = archive_read_data(in.get(), buffer.data(), buffer.size());
      if (got < 0) Fail(UDM_FUNCSIG, "cannot read \"" + name + "\" from \"" + file + "\"", in.get());
      if (got == 0) break;
      written += static_cast<std::uintmax_t>(got);
      if (written > budget) refuse(name, "which would expand the package past " + std::to_string(budget) + " bytes");
      out.write(buffer.data(), got);
    }
    if (!out) ThrowFileException(UDM_FUNCSIG, "cannot write \"" + target.string() + "\"", ExcSubIo);
  }
}

}  // namespace vqkudm::exchange
