#include <vqkudm/UDMProfileMgr.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMSession.h>

#include "ProfileMgrSupport.h"

namespace vqkudm {

using connection::Setting;

namespace {

// The key the core registers its profile plug-in under.
const char* const kCoreProfileKey = "Core";

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
  if (dataSource == "UDMXML" || dataSource == "Teamcenter" || dataSource == "Windchill") {
    ThrowUnSupportedException(kSignature,
                              "DataSource " + dataSource +
                                  " needs a connection profile, which this installation does not provide",
                              ExcSubGeneral);
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
  if (profile) profile->Discard();
}

}  // namespace vqkudm
