#pragma once

// A connection to a repository that another product manages (a file-based
// data source or a PDM server), handed to connection-profile plug-ins.

#include <boost/shared_ptr.hpp>

#include <vqkudmrt/UDMPlugin.h>
#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqString.h>

namespace vqkudm {

class VQKUDMRT_API IUDMConnectConfig {
 public:
  virtual ~IUDMConnectConfig();
  // The key under which connection profiles are kept: one per identifier.
  virtual vqString GetIdentifier() const = 0;
  virtual vqString GetDataSource() const = 0;
  // Where the connection-profile libraries are; the platform directory is
  // appended by the loader.
  virtual vqString GetPluginDirectory() const = 0;
};

class VQKUDMRT_API UDMConnectConfig : public IUDMConnectConfig {
 public:
  UDMConnectConfig();
  ~UDMConnectConfig() override;

  void SetDataSource(const vqString& value) { m_dataSource = value; }
  void SetIdentifier(const vqString& value) { m_identifier = value; }
  void SetUserProfile(const vqString& value) { m_userProfile = value; }
  void SetLogin(const vqString& value) { m_login = value; }
  void SetPdmClassName(const vqString& value) { m_pdmClassName = value; }
  void SetHost(const vqString& value) { m_host = value; }
  void SetFileServerCache(const vqString& value) { m_fileServerCache = value; }
  void SetTransferMode(const vqString& value) { m_transferMode = value; }
  void SetMasterDbPath(const vqString& value) { m_masterDbPath = value; }
  void SetDBLogin(const vqString& value) { m_dbLogin = value; }
  void SetDBPassword(const vqString& value) { m_dbPassword = value; }
  void SetConnectionType(const vqString& value) { m_connectionType = value; }
  void SetUDMConfigFile(const vqString& value) { m_udmConfigFile = value; }
  void SetBinariesDir(const vqString& value) { m_binariesDir = value; }
  // Default: the runtime's plug-in directory.
  void SetPluginDirectory(const vqString& value) { m_pluginDirectory = value; }

  vqString GetIdentifier() const override { return m_identifier; }
  vqString GetDataSource() const override { return m_dataSource; }
  vqString GetPluginDirectory() const override { return m_pluginDirectory; }
  const vqString& GetUserProfile() const { return m_userProfile; }
  const vqString& GetLogin() const { return m_login; }
  const vqString& GetPdmClassName() const { return m_pdmClassName; }
  const vqString& GetHost() const { return m_host; }
  const vqString& GetFileServerCache() const { return m_fileServerCache; }
  const vqString& GetTransferMode() const { return m_transferMode; }
  const vqString& GetMasterDbPath() const { return m_masterDbPath; }
  const vqString& GetDBLogin() const { return m_dbLogin; }
  const vqString& GetDBPassword() const { return m_dbPassword; }
  const vqString& GetConnectionType() const { return m_connectionType; }
  const vqString& GetUDMConfigFile() const { return m_udmConfigFile; }
  const vqString& GetBinariesDir() const { return m_binariesDir; }

 private:
  vqString m_dataSource, m_identifier, m_userProfile, m_login, m_pdmClassName, m_host;
  vqString m_fileServerCache, m_transferMode, m_masterDbPath, m_dbLogin, m_dbPassword;
  vqString m_connectionType, m_udmConfigFile, m_binariesDir, m_pluginDirectory;
};

// What a connect-profile plug-in is initialised with: its own key and
// library, and the connection it serves.
class VQKUDMRT_API UDMConnectPluginConfig : public UDMPluginConfig {
 public:
  UDMConnectPluginConfig(const vqString& key, const vqString& libraryPath,
                         const boost::shared_ptr<UDMConnectConfig>& connection)
      : UDMPluginConfig(key, libraryPath), m_connection(connection) {}
  ~UDMConnectPluginConfig() override;
  const boost::shared_ptr<UDMConnectConfig>& GetConnectConfig() const { return m_connection; }

 private:
  boost::shared_ptr<UDMConnectConfig> m_connection;
};

}  // namespace vqkudm
