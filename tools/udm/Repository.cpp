#include "Repository.h"

#include <cstdlib>

#include <vqkudm/UDMProfileMgr.h>

#include "Failure.h"
#include "Tool.h"

namespace fs = std::filesystem;

namespace udm {

namespace {

const char* const kDatabaseFile = "repository.db";

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// The nearest directory from `start` upwards that holds a .udm directory.
bool FindUpwards(const fs::path& start, fs::path& out) {
  for (fs::path dir = fs::absolute(start); !dir.empty(); dir = dir.parent_path()) {
    if (fs::is_directory(UdmDirectory(dir))) {
      out = dir;
      return true;
    }
    if (dir == dir.parent_path()) break;
  }
  return false;
}

ConfigMap ConfigurationOfDirectory(const fs::path& dir) {
  const fs::path udmDir = UdmDirectory(dir);
  return LocalConfiguration(udmDir, LocalRepositoryName(udmDir));
}

ConfigMap DefaultConfiguration() {
  ConfigMap everyone = {{"username", vqVariant("")}};
  vqStlVector<vqString> ids;
  vqkudm::UDMProfileMgr::GetRepositoryIds(ids, everyone, 0);
  for (const vqString& id : ids) {
    vqStlMap<vqString, vqString> info;
    vqkudm::UDMProfileMgr::GetRepositoryInfo(info, id, everyone);
    if (info["is_default"] == "true") return RegisteredConfiguration(id);
  }
  Refuse("", "no repository here: run `udm init`, or name one with --repo or UDM_REPO", vqkudm::ExcSubNotFound);
}

}  // namespace

fs::path UdmDirectory(const fs::path& dir) { return dir / ".udm"; }

ConfigMap LocalConfiguration(const fs::path& udmDir, const std::string& name) {
  const std::string base = fs::absolute(udmDir).lexically_normal().string();
  return {{"DataSource", vqVariant("local")},
          {"RepositoryBaseDir", vqVariant(base)},
          {"RepositoryName", vqVariant(name)},
          {"WorkspaceBaseDir", vqVariant(base)},
          {"WorkspaceName", vqVariant(kWorkspaceName)}};
}

std::string LocalRepositoryName(const fs::path& udmDir) {
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(udmDir, error)) {
    if (entry.path().filename() != kWorkspaceName && fs::exists(entry.path() / kDatabaseFile)) {
      return entry.path().filename().string();
    }
  }
  Refuse("", "no repository in " + udmDir.string(), vqkudm::ExcSubNotFound);
}

fs::path RegistryDirectory() {
  const std::string configured = Environment("NORVEL_VQK_UDMRT_DB_DIR");
  if (!configured.empty()) return configured;
  return fs::path(Environment("HOME")) / ".vqkudm";
}

ConfigMap RegisteredConfiguration(const std::string& nameOrId) {
  ConfigMap configuration;
  vqStlMap<vqString, vqString> settings;
  vqkudm::UDMProfileMgr::GetRepositoryClientSettings(settings, nameOrId, configuration);
  const vqString name = configuration["RepositoryName"].ToString();
  if (configuration["DataSource"].ToString() == "local") {
    configuration["WorkspaceBaseDir"] = configuration["RepositoryBaseDir"];
    configuration["WorkspaceName"] = vqVariant(kWorkspaceName);
  } else {
    // Server repositories have no directory of their own; the credentials
    // come from libpq's environment (PGUSER, PGPASSWORD, ~/.pgpass).
    configuration["WorkspaceBaseDir"] = vqVariant((RegistryDirectory() / "workspaces").string());
    configuration["WorkspaceName"] = vqVariant(name);
  }
  return configuration;
}

ConfigMap Locate(const Options& options) {
  const std::string named = !options.repo.empty() ? options.repo : Environment("UDM_REPO");
  if (!named.empty()) {
    if (fs::is_directory(UdmDirectory(named))) return ConfigurationOfDirectory(named);
    return RegisteredConfiguration(named);
  }
  fs::path dir;
  if (FindUpwards(fs::current_path(), dir)) return ConfigurationOfDirectory(dir);
  return DefaultConfiguration();
}

OpenRepository::OpenRepository(const Options& options)
    : m_profile(vqkudm::UDMProfileMgr::GetProfile(Locate(options))) {
  vqkudm::UDMProfileExtensions::ResumeSavedWork(m_profile, m_work);
}

OpenRepository::~OpenRepository() {
  m_work.clear();
  try {
    vqkudm::UDMProfileMgr::DiscardProfile(m_profile);
  } catch (const vqkudm::UDMException&) {
    // The command's own outcome is what the user needs; the process ends anyway.
  }
}

const vqkudm::UDMResumedWork* OpenRepository::WorkOf(const vqkudm::UDMItemHandle& item) const {
  for (const vqkudm::UDMResumedWork& work : m_work) {
    if (work.item == item) return &work;
  }
  return nullptr;
}

bool OpenRepository::IsNew(const vqkudm::UDMItemHandle& item) const {
  const vqkudm::UDMResumedWork* work = WorkOf(item);
  return work && work->isNew;
}

StoredRevisions::~StoredRevisions() {
  if (!m_own) return;
  try {
    vqkudm::UDMProfileMgr::DiscardProfile(m_own);
  } catch (const vqkudm::UDMException&) {
    // Nothing was changed in it; the process ends anyway.
  }
}

vqkudm::IUDMProfile& StoredRevisions::profile() const {
  if (m_repository.work().empty()) return m_repository.profile();
  if (!m_own) m_own = vqkudm::UDMProfileMgr::GetProfile(Locate(m_options));
  return *m_own;
}

}  // namespace udm
