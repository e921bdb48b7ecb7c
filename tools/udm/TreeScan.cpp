#include "TreeScan.h"

#include <sodium.h>

#include <algorithm>
#include <fstream>
#include <map>

#include "Failure.h"
#include "Signals.h"

namespace fs = std::filesystem;

namespace udm {

namespace {

// The repository's content keys are BLAKE2b-256 digests in hex.
constexpr std::size_t kDigestBytes = 32;
constexpr std::size_t kReadSize = 1 << 16;

std::string ItemName(const std::string& name, const std::string& reserved) {
  std::string out = name;
  std::replace_if(out.begin(), out.end(), [&](char c) { return reserved.find(c) != std::string::npos; }, '_');
  return out;
}

void Scan(ScannedFolder& folder, const std::string& relative, const std::string& reserved, ScannedTree& tree) {
  CheckInterrupted();
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder.path, error)) {
    const fs::file_status status = entry.symlink_status();
    const std::string name = entry.path().filename().string();
    if (fs::is_regular_file(status)) {
      folder.files.push_back({name, entry.path(), static_cast<std::uint64_t>(entry.file_size())});
    } else if (fs::is_directory(status)) {
      folder.folders.push_back({entry.path(), ItemName(name, reserved), {}, {}});
    }
  }
  if (error) Refuse("import-tree", "cannot read " + folder.path.string() + ": " + error.message(), vqkudm::ExcSubGeneral);
  std::sort(folder.files.begin(), folder.files.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
  std::sort(folder.folders.begin(), folder.folders.end(), [](const auto& a, const auto& b) { return a.path < b.path; });
  std::map<std::string, std::vector<std::string>> byName;
  for (ScannedFolder& child : folder.folders) {
    const std::string path = relative + "/" + child.path.filename().string();
    if (child.name != child.path.filename().string()) tree.renamed.push_back({path, child.name});
    byName[child.name].push_back(path);
    Scan(child, path, reserved, tree);
  }
  for (auto& [name, paths] : byName) {
    if (paths.size() > 1) tree.collisions.push_back({name, paths});
  }
}

}  // namespace

ScannedTree ScanTree(const fs::path& dir, const std::string& reserved) {
  if (!fs::is_directory(dir)) throw UsageError("\"" + dir.string() + "\" is not a directory");
  ScannedTree tree;
  const fs::path top = fs::absolute(dir).lexically_normal();
  const fs::path path = top.has_filename() ? top : top.parent_path();
  const std::string name = path.filename().string();
  tree.top = {path, ItemName(name, reserved), {}, {}};
  if (tree.top.name != name) tree.renamed.push_back({name, tree.top.name});
  Scan(tree.top, name, reserved, tree);
  return tree;
}

std::string ContentKey(const fs::path& path) {
  if (sodium_init() < 0) Refuse("import-tree", "the hashing library cannot start", vqkudm::ExcSubGeneral);
  crypto_generichash_state state;
  crypto_generichash_init(&state, nullptr, 0, kDigestBytes);
  std::ifstream in(path, std::ios::binary);
  if (!in) Refuse("import-tree", "cannot read " + path.string(), vqkudm::ExcSubGeneral);
  std::vector<char> buffer(kReadSize);
  while (in.read(buffer.data(), static_cast<std::streamsize>(buffer.size())) || in.gcount() > 0) {
    crypto_generichash_update(&state, reinterpret_cast<const unsigned char*>(buffer.data()),
                              static_cast<unsigned long long>(in.gcount()));
  }
  unsigned char digest[kDigestBytes];
  crypto_generichash_final(&state, digest, kDigestBytes);
  char hex[kDigestBytes * 2 + 1];
  sodium_bin2hex(hex, sizeof hex, digest, kDigestBytes);
  return hex;
}

}  // namespace udm
