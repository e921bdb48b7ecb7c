#include <vqkudm/UDMRepositoryLayout.h>

#include <cstdlib>
#include <filesystem>

#include <vqkudm/UDMProfileMgr.h>
#include <vqkudmrt/UDMException.h>

#include "../foundation/SignatureText.h"

namespace fs = std::filesystem;

namespace vqkudm {

namespace {

const char* const kDatabaseFile = "repository.db";

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

const char* const UDMRepositoryLayout::kWorkspaceName = "workspace";

vqString UDMRepositoryLayout::UdmDirectory(const vqString& dir) { return (fs::path(dir.str()) / ".udm").string(); }

UDMRepositoryLayout::Configuration UDMRepositoryLayout::LocalConfiguration(const vqString& udmDir,
                                                                           const vqString& name) {
  static const char* const kSignature =
      VQ_SIG("class vqStlMap<class vqString,class vqVariant>", "UDMRepositoryLayout",
             "LocalConfiguration(" VQ_T_STRING_CREF "," VQ_T_STRING_CREF ")");
  if (name.empty() || name == kWorkspaceName || name == "." || name == ".." ||
      name.find_first_of("/\\") != vqString::npos) {
    ThrowInvalidArgException(kSignature, "\"" + name + "\" cannot name a repository", ExcSubWrongType);
  }
  const std::string base = fs::absolute(udmDir.str()).lexically_normal().string();
  return {{"DataSource", vqVariant("local")},
          {"RepositoryBaseDir", vqVariant(base)},
          {"RepositoryName", vqVariant(name)},
          {"WorkspaceBaseDir", vqVariant(base)},
          {"WorkspaceName", vqVariant(kWorkspaceName)}};
}

vqString UDMRepositoryLayout::LocalRepositoryName(const vqString& udmDir) {
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(udmDir.str(), error)) {
    if (entry.path().filename() != kWorkspaceName && fs::exists(entry.path() / kDatabaseFile)) {
      return entry.path().filename().string();
    }
  }
  return vqString();
}

vqString UDMRepositoryLayout::RegistryDirectory() {
  const std::string configured = Environment("NORVEL_VQK_UDMRT_DB_DIR");
  if (!configured.empty()) return configured;
  return (fs::path(Environment("HOME")) / ".vqkudm").string();
}

UDMRepositoryLayout::Configuration UDMRepositoryLayout::RegisteredConfiguration(const vqString& nameOrId) {
  Configuration configuration;
  vqStlMap<vqString, vqString> settings;
  UDMProfileMgr::GetRepositoryClientSettings(settings, nameOrId, configuration);
  const vqString name = configuration["RepositoryName"].ToString();
  if (configuration["DataSource"].ToString() == "local") {
    configuration["WorkspaceBaseDir"] = configuration["RepositoryBaseDir"];
    configuration["WorkspaceName"] = vqVariant(kWorkspaceName);
  } else {
    configuration["WorkspaceBaseDir"] = vqVariant((fs::path(RegistryDirectory().str()) / "workspaces").string());
    configuration["WorkspaceName"] = vqVariant(name);
  }
  return configuration;
}

}  // namespace vqkudm
