#include "ConnectionWorkspace.h"

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <filesystem>

#include <vqkudmrt/UDMRegistry.h>

namespace vqkudm::connection {

namespace {

const size_t kReadablePrefix = 40;

// FNV-1a: stable across runs and platforms, which std::hash is not.
uint64_t StableHash(const vqString& text) {
  uint64_t hash = 1469598103934665603ull;
  for (unsigned char c : text.str()) {
    hash ^= c;
    hash *= 1099511628211ull;
  }
  return hash;
}

}  // namespace

vqString WorkingDirectory(const vqString& identifier) {
  std::string readable;
  for (unsigned char c : identifier.str()) {
    if (readable.size() == kReadablePrefix) break;
    readable += std::isalnum(c) ? static_cast<char>(std::tolower(c)) : '_';
  }
  char hash[17];
  std::snprintf(hash, sizeof hash, "%016llx", static_cast<unsigned long long>(StableHash(identifier)));
  const std::filesystem::path registryDir = std::filesystem::path(UDMRegistry::DefaultFile().str()).parent_path();
  return (registryDir / "connections" / (readable + "-" + hash)).string();
}

boost::shared_ptr<UDMSessionConfig> WorkingSessionConfig(const UDMConnectConfig& config) {
  const vqString directory = WorkingDirectory(config.GetIdentifier());
  boost::shared_ptr<UDMSessionConfig> session(new UDMSessionConfig());
  session->SetDataSource("local");
  session->SetRepositoryBaseDir(directory);
  session->SetRepositoryName("repository");
  session->SetWorkspaceBaseDir(directory);
  session->SetWorkspaceName("workspace");
  session->SetUDMConfigFile(config.GetUDMConfigFile());
  session->SetBinDir(config.GetBinariesDir());
  session->SetUserProfile(config.GetUserProfile());
  session->SetUserName(config.GetLogin());
  session->SetRegistered(false);
  return session;
}

}  // namespace vqkudm::connection
