#pragma once

// The entry point of applications: a configuration map in, a connected
// profile out.
//
//   vqStlMap<vqString, vqVariant> config;
//   config["RepositoryBaseDir"] = "/data";  config["RepositoryName"] = "parts";
//   config["WorkspaceBaseDir"] = "/work";   config["WorkspaceName"] = "alice";
//   boost::shared_ptr<IUDMProfile> profile = UDMProfileMgr::GetProfile(config);
//
// "DataSource" "local" (or empty, or absent) opens the embedded repository
// under RepositoryBaseDir/RepositoryName, creating it on first use;
// "PostGres" a PostgreSQL database reached with the client settings
// ("dbhost", "dbport", "dbusername", "dbpasswd", "dbconnectstring").
// "UDMXML" (a PLM XML file, "FileDataSource"), "Teamcenter" and "Windchill"
// (PDM servers) open through UDMDataConnectionMgr, one profile per
// "ConnectionIdentifier".

#include <boost/shared_ptr.hpp>

#include <vqkudm/IUDMProfile.h>
#include <vqkudmrt/UDMConnectConfig.h>
#include <vqkudmrt/UDMRetrieveConfig.h>
#include <vqkudmrt/UDMSessionConfig.h>

namespace vqkudm {

class VQKUDM_API UDMProfileMgr {
 public:
  // Raises for an empty map, for an unknown data source, and for a source
  // that cannot be opened.
  static boost::shared_ptr<IUDMProfile> GetProfile(const vqStlMap<vqString, vqVariant>& configuration);
  // Opens a session with `sessionConfig` and returns its plug-in of `key`.
  static boost::shared_ptr<IUDMProfile> GetProfile(boost::shared_ptr<UDMSessionConfig>& sessionConfig,
                                                   vqString& key);
  // The plug-in of `key` of an open session.
  static boost::shared_ptr<IUDMProfile> GetProfile(const vqString& sessionId, const vqString& key);
  // Closes the profile's session and releases the caller's reference; a
  // connection's profile is also forgotten by UDMDataConnectionMgr.
  static void DiscardProfile(boost::shared_ptr<IUDMProfile>& profile);

  // The repositories and workspaces this installation knows: those a
  // session opened or that were added, kept in the registry
  // (NORVEL_VQK_UDMRT_DB_DIR/registry.json, else ~/.vqkudm). The map's
  // "username" selects one user's (empty or absent: everyone's).
  // Raise for an empty map, and for an identifier the registry lacks.
  //
  // Identifiers of the registered repositories; `reserved` is not used.
  static void GetRepositoryIds(vqStlVector<vqString>& out, const vqStlMap<vqString, vqVariant>& configuration,
                               unsigned int reserved);
  // "name", "type", "profile_name", "is_default" ("true" or "false"),
  // "ldbfile" (the database file of an embedded repository), "dbhost" and
  // "dbport" of the repository of that identifier (or name).
  static void GetRepositoryInfo(vqStlMap<vqString, vqString>& out, const vqString& repositoryId,
                                const vqStlMap<vqString, vqVariant>& configuration);
  // The client settings of that repository ("dbhost", "dbport"); the keys
  // that open it ("DataSource", "RepositoryName", "RepositoryBaseDir" or the
  // client settings) are also set in `configuration`, so that GetProfile
  // (with the user's own credentials added) reaches it.
  static void GetRepositoryClientSettings(vqStlMap<vqString, vqString>& out, const vqString& repositoryId,
                                          vqStlMap<vqString, vqVariant>& configuration);
  static void GetWorkspaces(vqStlVector<vqString>& out, const vqStlMap<vqString, vqVariant>& configuration);
  // "name", "workingdir", "client_working_dir" (the same directory as this
  // machine sees it), "host_name", "user_name", "uname" (the user the
  // workspace's files belong to) and "is_default" of the workspace of that name.
  static void GetWorkspaceInfo(vqStlMap<vqString, vqString>& out, const vqString& workspace,
                               const vqStlMap<vqString, vqVariant>& configuration);
  // Registers the repository the map names (as GetProfile reads it) under
  // `name` (empty: its own name); an embedded one must exist. Returns its identifier.
  static vqString AddExistingRepository(const vqStlMap<vqString, vqVariant>& configuration, const vqString& name);
  // Makes the repository the map names the default.
  static void SetDefaultRepository(const vqStlMap<vqString, vqVariant>& configuration);
  // Forgets the repository the map names. With `deleteData` its data goes
  // too: an embedded repository's directory (database and vault), a server
  // repository's tables and shared vault directory. With `deleteWorkspace`
  // the workspace the map names is removed and forgotten as well. Refused
  // while a session of this process has the repository (or the workspace)
  // open: discard its profiles first.
  static void DeleteRepository(const vqStlMap<vqString, vqVariant>& configuration, bool deleteData,
                               bool deleteWorkspace);
  // Tries a connection before it is used: true when it can be made, and
  // what was found in `message`. `file` is the repository base directory
  // for "local" and the data file for "UDMXML"; a missing one answers
  // "File " + file + " does not exist.". "PostGres" connects to `database`
  // on `host`:`port` as `userName` and answers with the server's own error;
  // "Teamcenter" and "Windchill" try to reach `host`:`port` briefly.
  static bool CheckConnection(const vqString& dataSource, const vqString& host, const vqString& port,
                              const vqString& database, const vqString& userName, const vqString& password,
                              const vqString& file, vqString& message);

 private:
  static void FillSessionConfigPtr(boost::shared_ptr<UDMSessionConfig>& sessionConfig,
                                   const vqStlMap<vqString, vqVariant>& configuration);
  static void DiscardProfile(IUDMProfile* profile);
  // A connection's profile from UDMDataConnectionMgr; `key` plays no part.
  static boost::shared_ptr<IUDMProfile> GetProfile(boost::shared_ptr<UDMConnectConfig>& config, vqString& key);
  static boost::shared_ptr<IUDMProfile> GetProfile(boost::shared_ptr<IUDMConnectConfig>& config, vqString& key);
  static void FillRetrieveConfigPtr(boost::shared_ptr<UDMRetrieveConfig>& retrieveConfig,
                                    const vqStlMap<vqString, vqVariant>& configuration);
};

}  // namespace vqkudm
