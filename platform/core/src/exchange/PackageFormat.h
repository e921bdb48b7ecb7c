#pragma once

// The exchange package (docs/package.md): a directory, or one archive of it,
// holding manifest.json and the file contents under contents/<key>.

#include <functional>
#include <set>
#include <vector>

#include <nlohmann/json.hpp>

#include <vqutl/vqString.h>

namespace vqkudm {
class UDMSession;
}

namespace vqkudm::exchange {

constexpr int kPackageVersion = 1;
constexpr const char* kPackageFormat = "vqkudm-package";
constexpr const char* kManifestName = "manifest.json";
constexpr const char* kDefaultContentsFolder = "contents";

// Progress: (stage, done, total).
using Progress = std::function<void(const vqString&, std::uint64_t, std::uint64_t)>;

// Writes the package of the entities `dmids` and everything they need
// (their structure in every revision, referenced and classifying entities,
// branch origins, relations among them) into `directory`.
void WritePackage(UDMSession& session, const std::set<vqString>& dmids, const vqString& directory,
                  const vqString& contentsFolder, const Progress& progress);

struct ImportOutcome {
  std::vector<vqString> added;      // entities (data-model ids) new to the repository
  std::vector<vqString> unchanged;  // entities the repository had already, revisions included
};

// Reads the package in `directory`, checks all of it, then writes what the
// repository lacks in one transaction (unless `checkOnly`).
ImportOutcome ReadPackage(UDMSession& session, const vqString& directory, bool checkOnly, const Progress& progress);

}  // namespace vqkudm::exchange
