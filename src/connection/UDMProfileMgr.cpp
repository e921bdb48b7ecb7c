#include <vqkudm/UDMProfileMgr.h>

#include <vqkudm/UDMDataConnectionMgr.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMSession.h>

#include "ProfileMgrSupport.h"

namespace vqkudm {

using connection::Setting;

namespace {

// The key the core registers its profile plug-in under.
const char* const kCoreProfileKey = "Core";
// The data sources PDM connections carry; the connect profile chooses its
// connector by them.
const char* const kTeamcenterSource = "teamcenter";
const char* const kWindchillSource = "windchill";

vqString SettingOr(const vqStlMap<vqString, vqVariant>& configuration, const char* key, const char* fallback) {
  const vqString value = Setting(configuration, key);
  return value.empty() ? vqString(fallback) : value;
}

boost::shared_ptr<IUDMProfile> ProfileOfSession(const boost::shared_ptr<UDMSession>& session, const vqString& key,
                                                const char* signature) {
  boost::shared_ptr<UDMPluginMgr> plugins = session ? session->GetPluginMgr() : nullptr;
  if (!plugins) ThrowUDMException(signature, "Unable to get Plugin Mgr for Session. ", ExcCatState, ExcSubNull);
  boost::shared_ptr<IUDMPlugin> plugin = plugins->GetPlugin(key);
  if (!plugin) ThrowUDMException(signature, "Unable to get Plugin for Key. " + key, ExcCatState, ExcSubNull);
  boost::shared_ptr<IUDMProfile> profile = boost::dynamic_pointer_cast<IUDMProfile>(plugin);
  if (!profile) {
    ThrowUDMException(signature, "The plug-in of key " + key + " is not a profile (" + plugin->GetInterfaceName() + ")",
                      ExcCatState, ExcSubWrongType);
  }
  return profile;
}

}  // namespace

boost::shared_ptr<IUDMProfile> UDMProfileMgr::GetProfile(const vqStlMap<vqString, vqVariant>& configuration) {
  static const char* const kSignature = VQ_MGR_SIG(VQ_T_PROFILE_PTR, "GetProfile(" VQ_T_CONFIG_MAP ")");
  if (configuration.empty()) ThrowEmptyListArgument(kSignature, "Configuration Map empty.");
  vqString dataSource = Setting(configuration, "DataSource");
  if (dataSource.empty()) dataSource = "local";
  if (dataSource == "local" || dataSource == "PostGres") {
    boost::shared_ptr<UDMSessionConfig> sessionConfig;
    FillSessionConfigPtr(sessionConfig, configuration);
    vqString key = kCoreProfileKey;
    return GetProfile(sessionConfig, key);
  }
  vqString noKey;
  if (dataSource == "UDMXML") {
    boost::shared_ptr<UDMConnectConfig> connection(new UDMConnectConfig());
    connection->SetDataSource(Setting(configuration, "FileDataSource"));
    connection->SetIdentifier(Setting(configuration, "ConnectionIdentifier"));
    return GetProfile(connection, noKey);
  }
  if (dataSource == "Teamcenter") {
    boost::shared_ptr<UDMConnectConfig> connection(new UDMConnectConfig());
    connection->SetDataSource(kTeamcenterSource);
    connection->SetUserProfile(Setting(configuration, "ProfileName"));
    connection->SetLogin(Setting(configuration, "username"));
    connection->SetPdmClassName(SettingOr(configuration, "PDMClassName", "com.norvel.schemas.tcuni.TeamCenter"));
    connection->SetIdentifier(Setting(configuration, "ConnectionIdentifier"));
    connection->SetHost(Setting(configuration, "Host"));
    connection->SetFileServerCache(Setting(configuration, "FileServerCache"));
    connection->SetTransferMode(Setting(configuration, "TransferMode"));
    connection->SetMasterDbPath(Setting(configuration, "MasterDBFile"));
    connection->SetDBLogin(Setting(configuration, "dbusername"));
    connection->SetDBPassword(Setting(configuration, "dbpassword"));
    connection->SetConnectionType(Setting(configuration, "type"));
    return GetProfile(connection, noKey);
  }
  if (dataSource == "Windchill") {
    boost::shared_ptr<UDMConnectConfig> connection(new UDMConnectConfig());
    connection->SetDataSource(kWindchillSource);
    connection->SetUDMConfigFile(Setting(configuration, "UDMConfigFile"));
    connection->SetBinariesDir(Setting(configuration, "BinDir"));
    connection->SetUserProfile(Setting(configuration, "ProfileName"));
    connection->SetLogin(Setting(configuration, "username"));
    connection->SetMasterDbPath(Setting(configuration, "MasterDBFile"));
    connection->SetPdmClassName(SettingOr(configuration, "PDMClassName", "com.norvel.schemas.ws.Windchill"));
    connection->SetIdentifier(Setting(configuration, "ConnectionIdentifier"));
    connection->SetHost(Setting(configuration, "Host"));
    connection->SetDBLogin(Setting(configuration, "dbusername"));
    connection->SetDBPassword(Setting(configuration, "dbpassword"));
    connection->SetConnectionType(Setting(configuration, "type"));
    return GetProfile(connection, noKey);
  }
  ThrowInvalidArgException(kSignature,
                           "Unknown DataSource \"" + dataSource +
                               "\": expected local, PostGres, UDMXML, Teamcenter or Windchill",
                           ExcSubWrongType);
}

void UDMProfileMgr::FillSessionConfigPtr(boost::shared_ptr<UDMSessionConfig>& sessionConfig,
                                         const vqStlMap<vqString, vqVariant>& configuration) {
  sessionConfig.reset(new UDMSessionConfig());
  sessionConfig->SetUDMConfigFile(Setting(configuration, "UDMConfigFile"));
  sessionConfig->SetMasterDBFile(Setting(configuration, "MasterDBFile"));
  sessionConfig->SetBinDir(Setting(configuration, "BinDir"));
  sessionConfig->SetRepositoryName(Setting(configuration, "RepositoryName"));
  sessionConfig->SetUserProfile(Setting(configuration, "ProfileName"));
  sessionConfig->SetRepositoryBaseDir(Setting(configuration, "RepositoryBaseDir"));
  sessionConfig->SetWorkspaceName(Setting(configuration, "WorkspaceName"));
  sessionConfig->SetWorkspaceBaseDir(Setting(configuration, "WorkspaceBaseDir"));
  sessionConfig->SetDataSource(Setting(configuration, "DataSource"));
  vqStlMap<vqString, vqString> clientSettings;
  for (const char* key : {"ClientDatabaseDriver", "PersistenceDatabaseDriver", "StorageDatabaseDriver",
                          "dbconnectstring", "dbhost", "dbpasswd", "dbport", "dbusername"}) {
    clientSettings[key] = Setting(configuration, key);
  }
  sessionConfig->SetLMRepoClientSettings(clientSettings);
}

boost::shared_ptr<IUDMProfile> UDMProfileMgr::GetProfile(boost::shared_ptr<UDMSessionConfig>& sessionConfig,
                                                         vqString& key) {
  boost::shared_ptr<UDMSession> session =
      boost::dynamic_pointer_cast<UDMSession>(UDMFramework::GetInstance()->CreateSession(sessionConfig));
  return ProfileOfSession(session, key,
                          VQ_MGR_SIG(VQ_T_PROFILE_PTR, "GetProfile(" VQ_T_SHARED("class vqkudm::UDMSessionConfig")
                                                           " &," VQ_T_STRING_REF ")"));
}

boost::shared_ptr<IUDMProfile> UDMProfileMgr::GetProfile(const vqString& sessionId, const vqString& key) {
  static const char* const kSignature =
      VQ_MGR_SIG(VQ_T_PROFILE_PTR, "GetProfile(" VQ_T_STRING_CREF "," VQ_T_STRING_CREF ")");
  if (sessionId.empty()) ThrowEmptyArgument(kSignature, "Sess ID NULL");
  if (key.empty()) ThrowEmptyArgument(kSignature, "profileKey NULL");
  boost::shared_ptr<UDMSession> session =
      boost::dynamic_pointer_cast<UDMSession>(UDMFramework::GetInstance()->FindSession(sessionId));
  if (!session) ThrowUDMException(kSignature, "No open session of id " + sessionId, ExcCatState, ExcSubNull);
  return ProfileOfSession(session, key, kSignature);
}

void UDMProfileMgr::DiscardProfile(boost::shared_ptr<IUDMProfile>& profile) {
  DiscardProfile(profile.get());
  profile.reset();
}

void UDMProfileMgr::DiscardProfile(IUDMProfile* profile) {
  if (!profile) return;
  profile->Discard();
  UDMDataConnectionMgr::GetInstance()->RemoveDataConnectionProfile(profile);
}

// The connection manager keeps one profile per connection identifier, so
// the plug-in key plays no part in choosing it.
boost::shared_ptr<IUDMProfile> UDMProfileMgr::GetProfile(boost::shared_ptr<UDMConnectConfig>& config, vqString&) {
  static const char* const kSignature = VQ_MGR_SIG(
      VQ_T_PROFILE_PTR, "GetProfile(" VQ_T_SHARED("class vqkudm::UDMConnectConfig") " &," VQ_T_STRING_REF ")");
  if (!config) ThrowUDMException(kSignature, "UDMConnectConfigPtr NULL", ExcCatInvalidArgument, ExcSubNull);
  boost::shared_ptr<UDMDataConnectionMgr> connections = UDMDataConnectionMgr::GetInstance();
  if (!connections) ThrowUDMException(kSignature, "Unable to get UDMDataConnectionMgr. ", ExcCatState, ExcSubNull);
  return connections->GetDataConnectionProfile(config);
}

boost::shared_ptr<IUDMProfile> UDMProfileMgr::GetProfile(boost::shared_ptr<IUDMConnectConfig>& config, vqString& key) {
  if (!config) {
    ThrowUDMException(VQ_MGR_SIG(VQ_T_PROFILE_PTR, "GetProfile(" VQ_T_SHARED("class vqkudm::IUDMConnectConfig")
                                                       " &," VQ_T_STRING_REF ")"),
                      "IUDMConnectConfigPtr NULL", ExcCatInvalidArgument, ExcSubNull);
  }
  boost::shared_ptr<UDMConnectConfig> concrete = boost::dynamic_pointer_cast<UDMConnectConfig>(config);
  if (!concrete) {
    concrete.reset(new UDMConnectConfig());
    concrete->SetIdentifier(config->GetIdentifier());
    concrete->SetDataSource(config->GetDataSource());
    concrete->SetPluginDirectory(config->GetPluginDirectory());
  }
  return GetProfile(concrete, key);
}

}  // namespace vqkudm
