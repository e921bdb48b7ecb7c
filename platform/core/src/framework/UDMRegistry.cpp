#include <vqkudmrt/UDMRegistry.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include <nlohmann/json.hpp>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMSessionConfig.h>
#include <vqkudmrt/store/DatabaseOpener.h>
#include <vqkudmrt/store/SchemaMigrations.h>
#include <vqlmidbdriver/iDbDriver.h>
#include <vqutl/vqLMUtils.h>
#include <vqutl/vqUUID.h>

#include "../session/RepositoryLocation.h"

namespace vqkudm {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

vqString Setting(const UDMSessionConfig& config, const char* key) {
  auto it = config.GetLMRepoClientSettings().find(key);
  return it == config.GetLMRepoClientSettings().end() ? vqString() : it->second;
}

vqString Text(const json& object, const char* key) {
  auto it = object.find(key);
  return it != object.end() && it->is_string() ? vqString(it->get<std::string>()) : vqString();
}

}  // namespace

vqString UDMRegistry::DefaultFile() {
  vqString dir = vqLMUtils::UtilsGetEnv(kEnvUdmrtDbDir);
  if (dir.empty()) {
    const vqString home = vqLMUtils::UtilsGetEnv("HOME");
    dir = (home.empty() ? vqLMUtils::UtilsGetTempDirectory() : home) + "/.vqkudm";
  }
  return dir + "/registry.json";
}

UDMRegistry::UDMRegistry(const vqString& file) : m_file(file) {}

UDMRegistry::Contents UDMRegistry::Read() const {
  Contents contents;
  std::ifstream in(m_file.str());
  if (!in) return contents;  // no registry yet
  json document;
  try {
    in >> document;
  } catch (const json::exception& e) {
    ThrowFileException(UDM_FUNCSIG, "the registry " + m_file + " is not valid JSON: " + e.what(), ExcSubSyntax);
  }
  for (const json& r : document.value("repositories", json::array())) {
    UDMRepositoryRecord record;
    record.id = Text(r, "id");
    record.name = Text(r, "name");
    record.type = Text(r, "type");
    record.profileName = Text(r, "profile_name");
    record.baseDir = Text(r, "base_dir");
    record.databaseFile = Text(r, "ldbfile");
    record.dbHost = Text(r, "dbhost");
    record.dbPort = Text(r, "dbport");
    record.userName = Text(r, "user_name");
    record.isDefault = r.value("is_default", false);
    contents.repositories.push_back(record);
  }
  for (const json& w : document.value("workspaces", json::array())) {
    contents.workspaces.push_back({Text(w, "name"), Text(w, "workingdir"), Text(w, "host_name"),
                                   Text(w, "user_name"), w.value("is_default", false)});
  }
  return contents;
}

void UDMRegistry::Write(const Contents& contents) const {
  json document = {{"version", 1}, {"repositories", json::array()}, {"workspaces", json::array()}};
  for (const UDMRepositoryRecord& r : contents.repositories) {
    document["repositories"].push_back({{"id", r.id}, {"name", r.name}, {"type", r.type},
                                        {"profile_name", r.profileName}, {"base_dir", r.baseDir},
                                        {"ldbfile", r.databaseFile}, {"dbhost", r.dbHost}, {"dbport", r.dbPort},
                                        {"user_name", r.userName}, {"is_default", r.isDefault}});
  }
  for (const UDMWorkspaceRecord& w : contents.workspaces) {
    document["workspaces"].push_back({{"name", w.name}, {"workingdir", w.workingDir}, {"host_name", w.hostName},
                                      {"user_name", w.userName}, {"is_default", w.isDefault}});
  }
  const fs::path file(m_file.str());
  std::error_code error;
  fs::create_directories(file.parent_path(), error);
  const fs::path temporary = file.string() + ".tmp";
  {
    std::ofstream out(temporary);
    out << document.dump(2) << "\n";
    if (!out.flush()) {
      ThrowFileException(UDM_FUNCSIG, "cannot write the registry " + vqString(temporary.string()), ExcSubIo);
    }
  }
  fs::rename(temporary, file, error);
  if (error) {
    ThrowFileException(UDM_FUNCSIG, "cannot replace the registry " + m_file + ": " + error.message(), ExcSubIo);
  }
}

UDMRepositoryRecord UDMRegistry::RecordOf(const UDMSessionConfig& config, const vqString& userName) {
  UDMRepositoryRecord record;
  record.name = config.GetRepositoryName();
  record.type = config.IsLocalDataSource() ? vqString("local") : config.GetDataSource();
  record.profileName = config.GetUserProfile();
  record.userName = userName;
  if (config.IsLocalDataSource()) {
    record.baseDir = config.GetRepositoryBaseDir();
    record.databaseFile = session::LocalDatabaseFile(config);
  } else {
    record.dbHost = Setting(config, "dbhost");
    record.dbPort = Setting(config, "dbport");
  }
  return record;
}

bool UDMRegistry::Matches(const UDMRepositoryRecord& record, const UDMSessionConfig& config) {
  const UDMRepositoryRecord wanted = RecordOf(config, vqString());
  return record.name == wanted.name && record.type == wanted.type && record.baseDir == wanted.baseDir &&
         record.dbHost == wanted.dbHost && record.dbPort == wanted.dbPort;
}

bool UDMRegistry::SameRepository(const UDMSessionConfig& a, const UDMSessionConfig& b) {
  return Matches(RecordOf(a, vqString()), b);
}

void UDMRegistry::Register(const UDMSessionConfig& config, const vqString& userName) {
  Contents contents = Read();
  bool changed = false;
  bool known = false;
  for (const UDMRepositoryRecord& r : contents.repositories) known = known || Matches(r, config);
  if (!known) {
    UDMRepositoryRecord record = RecordOf(config, userName);
    vqlm::UUID id;
    id.Generate();
    record.id = id.ToString();
    record.isDefault = contents.repositories.empty();
    contents.repositories.push_back(record);
    changed = true;
  }
  const vqString workspace = session::WorkspaceDirectory(config);
  if (!workspace.empty()) {
    bool knownWorkspace = false;
    for (const UDMWorkspaceRecord& w : contents.workspaces) knownWorkspace = knownWorkspace || w.workingDir == workspace;
    if (!knownWorkspace) {
      contents.workspaces.push_back({config.GetWorkspaceName(), workspace, vqLMUtils::UtilsGetEnv("HOSTNAME"),
                                     userName, contents.workspaces.empty()});
      changed = true;
    }
  }
  if (changed) Write(contents);
}

vqStlVector<UDMRepositoryRecord> UDMRegistry::GetRepositories(const vqString& userName) const {
  vqStlVector<UDMRepositoryRecord> out;
  for (const UDMRepositoryRecord& r : Read().repositories) {
    if (userName.empty() || r.userName == userName) out.push_back(r);
  }
  return out;
}

vqStlVector<UDMWorkspaceRecord> UDMRegistry::GetWorkspaces(const vqString& userName) const {
  vqStlVector<UDMWorkspaceRecord> out;
  for (const UDMWorkspaceRecord& w : Read().workspaces) {
    if (userName.empty() || w.userName == userName) out.push_back(w);
  }
  return out;
}

bool UDMRegistry::FindRepository(const vqString& idOrName, UDMRepositoryRecord& out) const {
  for (const UDMRepositoryRecord& r : Read().repositories) {
    if (r.id == idOrName || r.name == idOrName) {
      out = r;
      return true;
    }
  }
  return false;
}

vqString UDMRegistry::AddExistingRepository(const UDMSessionConfig& config, const vqString& name,
                                            const vqString& userName) {
  UDMSessionConfig named(config);
  if (!name.empty()) named.SetRepositoryName(name);
  if (named.IsLocalDataSource()) {
    const vqString file = session::LocalDatabaseFile(named);
    if (!fs::exists(file.str())) {
      ThrowFileException(UDM_FUNCSIG, "there is no repository at " + file, ExcSubNotFound);
    }
  }
  Register(named, userName);
  for (const UDMRepositoryRecord& r : Read().repositories) {
    if (Matches(r, named)) return r.id;
  }
  return vqString();
}

void UDMRegistry::DeleteRepository(const UDMSessionConfig& config, bool deleteData) {
  Contents contents = Read();
  auto it = std::find_if(contents.repositories.begin(), contents.repositories.end(),
                         [&](const UDMRepositoryRecord& r) { return Matches(r, config); });
  if (it == contents.repositories.end()) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "the repository \"" + config.GetRepositoryName() + "\" is not registered",
                             ExcSubNotFound);
  }
  const UDMRepositoryRecord removed = *it;
  // The data goes first: when it cannot, the registration stays to say where it is.
  if (deleteData) RemoveRepositoryData(config);
  contents.repositories.erase(it);
  if (removed.isDefault && !contents.repositories.empty()) contents.repositories.front().isDefault = true;
  Write(contents);
}

void UDMRegistry::RemoveRepositoryData(const UDMSessionConfig& config) {
  const session::RepositoryLocation location = session::LocateRepository(config);
  std::vector<fs::path> directories;
  if (config.IsLocalDataSource()) {
    directories.push_back(fs::path(session::LocalDatabaseFile(config).str()).parent_path());
  } else {
    store::DropRepositorySchema(*store::ConnectDatabase(location.driver, location.connection));
    if (!location.vaultDir.empty()) directories.push_back(location.vaultDir.str());
  }
  for (const fs::path& directory : directories) {
    std::error_code error;
    fs::remove_all(directory, error);
    if (error) {
      ThrowFileException(UDM_FUNCSIG, "cannot remove " + directory.string() + ": " + error.message(), ExcSubIo);
    }
  }
}

void UDMRegistry::DeleteWorkspace(const vqString& workingDir) {
  Contents contents = Read();
  auto it = std::find_if(contents.workspaces.begin(), contents.workspaces.end(),
                         [&](const UDMWorkspaceRecord& w) { return w.workingDir == workingDir; });
  if (it == contents.workspaces.end()) return;
  const bool wasDefault = it->isDefault;
  contents.workspaces.erase(it);
  if (wasDefault && !contents.workspaces.empty()) contents.workspaces.front().isDefault = true;
  Write(contents);
}

void UDMRegistry::SetDefaultRepository(const UDMSessionConfig& config) {
  Contents contents = Read();
  bool found = false;
  for (UDMRepositoryRecord& r : contents.repositories) {
    r.isDefault = Matches(r, config);
    found = found || r.isDefault;
  }
  if (!found) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "the repository \"" + config.GetRepositoryName() + "\" is not registered",
                             ExcSubNotFound);
  }
  Write(contents);
}

}  // namespace vqkudm
