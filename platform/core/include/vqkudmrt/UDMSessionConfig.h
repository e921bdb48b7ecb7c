#pragma once

// What a session connects to and as whom. Filled by the caller (the profile
// manager fills it from a configuration map) and handed to
// UDMFramework::CreateSession.

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

namespace vqkudm {

class VQKUDMRT_API UDMSessionConfig {
 public:
  // Mode 0: entities are found by identifier only. Mode 1: also by versioned
  // URL. The subtype refines a mode; subtype 1 also enables URLs.
  enum Mode { ModeDatabase = 0, ModeVersionedUrl = 1 };

  UDMSessionConfig();
  virtual ~UDMSessionConfig();

  void SetUDMConfigFile(const vqString& path) { m_udmConfigFile = path; }
  void SetMasterDBFile(const vqString& path) { m_masterDbFile = path; }
  void SetBinDir(const vqString& path) { m_binDir = path; }
  void SetRepositoryName(const vqString& name) { m_repositoryName = name; }
  void SetUserProfile(const vqString& profile) { m_userProfile = profile; }
  void SetRepositoryBaseDir(const vqString& path) { m_repositoryBaseDir = path; }
  void SetWorkspaceName(const vqString& name) { m_workspaceName = name; }
  void SetWorkspaceBaseDir(const vqString& path) { m_workspaceBaseDir = path; }
  // "local" (also empty) or "PostGres".
  void SetDataSource(const vqString& source) { m_dataSource = source; }
  // Client settings: database drivers and the server connection
  // ("dbhost", "dbport", "dbusername", "dbpasswd", "dbconnectstring", ...).
  void SetLMRepoClientSettings(const vqStlMap<vqString, vqString>& settings) { m_clientSettings = settings; }
  // The user the session acts as; empty means the operating-system user.
  void SetUserName(const vqString& name) { m_userName = name; }
  // Whether opening the repository records it in the installation's
  // registry (default). Working repositories of connections are not listed.
  void SetRegistered(bool registered) { m_registered = registered; }
  void SetMode(int mode) { m_mode = mode; }
  void SetModeSubtype(int subtype) { m_modeSubtype = subtype; }

  const vqString& GetUDMConfigFile() const { return m_udmConfigFile; }
  const vqString& GetMasterDBFile() const { return m_masterDbFile; }
  const vqString& GetBinDir() const { return m_binDir; }
  const vqString& GetRepositoryName() const { return m_repositoryName; }
  const vqString& GetUserProfile() const { return m_userProfile; }
  const vqString& GetRepositoryBaseDir() const { return m_repositoryBaseDir; }
  const vqString& GetWorkspaceName() const { return m_workspaceName; }
  const vqString& GetWorkspaceBaseDir() const { return m_workspaceBaseDir; }
  const vqString& GetDataSource() const { return m_dataSource; }
  const vqStlMap<vqString, vqString>& GetLMRepoClientSettings() const { return m_clientSettings; }
  const vqString& GetUserName() const { return m_userName; }
  bool IsRegistered() const { return m_registered; }
  int GetMode() const { return m_mode; }
  int GetModeSubtype() const { return m_modeSubtype; }

  // True for the embedded default ("local" or empty).
  bool IsLocalDataSource() const;

 private:
  vqString m_udmConfigFile;
  vqString m_masterDbFile;
  vqString m_binDir;
  vqString m_repositoryName;
  vqString m_userProfile;
  vqString m_repositoryBaseDir;
  vqString m_workspaceName;
  vqString m_workspaceBaseDir;
  vqString m_dataSource;
  vqStlMap<vqString, vqString> m_clientSettings;
  vqString m_userName;
  bool m_registered = true;
  int m_mode = ModeDatabase;
  int m_modeSubtype = 0;
};

}  // namespace vqkudm
