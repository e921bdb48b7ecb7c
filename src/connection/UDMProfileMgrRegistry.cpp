// The repositories and workspaces the installation knows, as the profile
// manager answers for them.

#include <vqkudm/UDMProfileMgr.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMRegistry.h>

#include "ProfileMgrSupport.h"

namespace vqkudm {

using connection::Setting;

namespace {

#define VQ_T_IDS_REF VQ_T_VECTOR(VQ_T_STRING) " &"

vqString Flag(bool value) { return value ? "true" : "false"; }

UDMRepositoryRecord RequireRepository(const char* signature, const vqString& repositoryId) {
  UDMRepositoryRecord record;
  if (repositoryId.empty()) ThrowEmptyArgument(signature, "Repository ID ");
  if (!UDMRegistry().FindRepository(repositoryId, record)) {
    ThrowInvalidArgException(signature, "no repository \"" + repositoryId + "\" is registered", ExcSubNotFound);
  }
  return record;
}

}  // namespace

void UDMProfileMgr::FillRetrieveConfigPtr(boost::shared_ptr<UDMRetrieveConfig>& retrieveConfig,
                                          const vqStlMap<vqString, vqVariant>& configuration) {
  retrieveConfig.reset(new UDMRetrieveConfig());
  retrieveConfig->SetUDMConfigFile(Setting(configuration, "UDMConfigFile"));
  retrieveConfig->SetMasterDBFile(Setting(configuration, "MasterDBFile"));
  retrieveConfig->SetUserName(Setting(configuration, "username"));
}

void UDMProfileMgr::GetRepositoryIds(vqStlVector<vqString>& out, const vqStlMap<vqString, vqVariant>& configuration,
                                     unsigned int /*reserved*/) {
  static const char* const kSignature =
      VQ_MGR_SIG("void", "GetRepositoryIds(" VQ_T_IDS_REF "," VQ_T_CONFIG_MAP ",unsigned int)");
  if (configuration.empty()) ThrowEmptyListArgument(kSignature, "Configuration Map empty.");
  boost::shared_ptr<UDMRetrieveConfig> retrieveConfig;
  FillRetrieveConfigPtr(retrieveConfig, configuration);
  UDMFramework::GetInstance()->GetRepositories(out, retrieveConfig);
}

void UDMProfileMgr::GetRepositoryInfo(vqStlMap<vqString, vqString>& out, const vqString& repositoryId,
                                      const vqStlMap<vqString, vqVariant>& /*configuration*/) {
  static const char* const kSignature = VQ_MGR_SIG(
      "void", "GetRepositoryInfo(" VQ_T_STRING_MAP_REF "," VQ_T_STRING_CREF "," VQ_T_CONFIG_MAP ")");
  const UDMRepositoryRecord record = RequireRepository(kSignature, repositoryId);
  out["name"] = record.name;
  out["type"] = record.type;
  out["profile_name"] = record.profileName;
  out["is_default"] = Flag(record.isDefault);
  out["ldbfile"] = record.databaseFile;
  out["dbhost"] = record.dbHost;
  out["dbport"] = record.dbPort;
}

void UDMProfileMgr::GetRepositoryClientSettings(vqStlMap<vqString, vqString>& out, const vqString& repositoryId,
                                                vqStlMap<vqString, vqVariant>& configuration) {
  static const char* const kSignature =
      VQ_MGR_SIG("void", "GetRepositoryClientSettings(" VQ_T_STRING_MAP_REF "," VQ_T_STRING_CREF
                         "," VQ_T_CONFIG_MAP_BODY " &)");
  const UDMRepositoryRecord record = RequireRepository(kSignature, repositoryId);
  configuration["DataSource"] = vqVariant(record.type);
  configuration["RepositoryName"] = vqVariant(record.name);
  if (record.type == "local") {
    configuration["RepositoryBaseDir"] = vqVariant(record.baseDir);
    return;
  }
  for (const auto& [key, value] : {std::make_pair("dbhost", record.dbHost), std::make_pair("dbport", record.dbPort)}) {
    out[key] = value;
    configuration[key] = vqVariant(value);
  }
}

void UDMProfileMgr::GetWorkspaces(vqStlVector<vqString>& out, const vqStlMap<vqString, vqVariant>& configuration) {
  static const char* const kSignature = VQ_MGR_SIG("void", "GetWorkspaces(" VQ_T_IDS_REF "," VQ_T_CONFIG_MAP ")");
  if (configuration.empty()) ThrowEmptyListArgument(kSignature, "Configuration Map empty.");
  boost::shared_ptr<UDMRetrieveConfig> retrieveConfig;
  FillRetrieveConfigPtr(retrieveConfig, configuration);
  UDMFramework::GetInstance()->GetWorkspaces(out, retrieveConfig);
}

void UDMProfileMgr::GetWorkspaceInfo(vqStlMap<vqString, vqString>& out, const vqString& workspace,
                                     const vqStlMap<vqString, vqVariant>& configuration) {
  static const char* const kSignature = VQ_MGR_SIG(
      "void", "GetWorkspaceInfo(" VQ_T_STRING_MAP_REF "," VQ_T_STRING_CREF "," VQ_T_CONFIG_MAP ")");
  if (workspace.empty()) ThrowEmptyArgument(kSignature, "Workspace name ");
  for (const UDMWorkspaceRecord& w : UDMRegistry().GetWorkspaces(Setting(configuration, "username"))) {
    if (w.name != workspace) continue;
    out["name"] = w.name;
    out["workingdir"] = w.workingDir;
    out["client_working_dir"] = w.workingDir;
    out["host_name"] = w.hostName;
    out["user_name"] = w.userName;
    out["uname"] = w.userName;
    out["is_default"] = Flag(w.isDefault);
    return;
  }
  ThrowInvalidArgException(kSignature, "no workspace \"" + workspace + "\" is registered", ExcSubNotFound);
}

vqString UDMProfileMgr::AddExistingRepository(const vqStlMap<vqString, vqVariant>& configuration,
                                              const vqString& name) {
  static const char* const kSignature =
      VQ_MGR_SIG(VQ_T_STRING, "AddExistingRepository(" VQ_T_CONFIG_MAP "," VQ_T_STRING_CREF ")");
  if (configuration.empty()) ThrowEmptyListArgument(kSignature, "Configuration Map empty.");
  boost::shared_ptr<UDMSessionConfig> sessionConfig;
  FillSessionConfigPtr(sessionConfig, configuration);
  sessionConfig->SetUserName(Setting(configuration, "username"));
  return UDMFramework::GetInstance()->AddExistingRepository(sessionConfig, name);
}

void UDMProfileMgr::SetDefaultRepository(const vqStlMap<vqString, vqVariant>& configuration) {
  static const char* const kSignature = VQ_MGR_SIG("void", "SetDefaultRepository(" VQ_T_CONFIG_MAP ")");
  if (configuration.empty()) ThrowEmptyListArgument(kSignature, "Configuration Map empty.");
  boost::shared_ptr<UDMSessionConfig> sessionConfig;
  FillSessionConfigPtr(sessionConfig, configuration);
  UDMFramework::GetInstance()->SetDefaultRepository(sessionConfig);
}

void UDMProfileMgr::DeleteRepository(const vqStlMap<vqString, vqVariant>& configuration, bool deleteData,
                                     bool deleteWorkspace) {
  static const char* const kSignature =
      VQ_MGR_SIG("void", "DeleteRepository(" VQ_T_CONFIG_MAP ",bool,bool)");
  if (configuration.empty()) ThrowEmptyListArgument(kSignature, "Configuration Map empty.");
  boost::shared_ptr<UDMSessionConfig> sessionConfig;
  FillSessionConfigPtr(sessionConfig, configuration);
  UDMFramework::GetInstance()->DeleteRepository(sessionConfig, deleteData, false);
  if (deleteWorkspace) UDMFramework::GetInstance()->DeleteWorkspace(sessionConfig);
}

bool UDMProfileMgr::CheckConnection(const vqString& dataSource, const vqString& host, const vqString& port,
                                    const vqString& database, const vqString& userName, const vqString& password,
                                    const vqString& file, vqString& message) {
  return UDMFramework::GetInstance()->CheckConnection(dataSource, host, port, database, userName, password, file,
                                                      message);
}

}  // namespace vqkudm
