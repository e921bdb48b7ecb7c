#pragma once

// A directory tree as import-tree sees it: folders named as items may be
// (reserved characters replaced), their regular files, and the names that
// had to change or that two sibling folders would share. Symbolic links and
// special files are left out.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace udm {

struct ScannedFile {
  std::string name;
  std::filesystem::path path;
  std::uint64_t size = 0;
};

struct ScannedFolder {
  std::filesystem::path path;
  // The item name: the directory's name with each reserved character as '_'.
  std::string name;
  std::vector<ScannedFile> files;
  std::vector<ScannedFolder> folders;
};

struct Renamed {
  std::string path;  // relative to the scanned directory's parent
  std::string name;
};

struct Collision {
  std::string name;
  std::vector<std::string> paths;
};

struct ScannedTree {
  ScannedFolder top;
  std::vector<Renamed> renamed;
  std::vector<Collision> collisions;
};

// Scans `dir`, naming items without the characters of `reserved`.
ScannedTree ScanTree(const std::filesystem::path& dir, const std::string& reserved);
// The content key a repository gives the file's content.
std::string ContentKey(const std::filesystem::path& path);

}  // namespace udm
