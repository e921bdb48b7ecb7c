#pragma once

// The master repository database: the list of known PDM repository
// connections, one row per repository name in the table "pdmrepositories"
// of a small SQL database (by default an SQLite file, the retrieve
// configuration's master database file, created on first use).
//
//   boost::shared_ptr<UDMRetrieveConfig> config(new UDMRetrieveConfig());
//   config->SetMasterDBFile("/home/alice/.udm/master.db");
//   config->SetUserName("alice");
//   UDMConnectMasterDBManager master(config);
//   master.SetPDMConnection("plant", settings);  // "repid", "username", "dbpasswd", ...
//   vqStlVector<vqString> ids;
//   master.GetPDMConnectionIds(ids);             // alice's connections
//
// The database password ("dbpasswd") is stored sealed by the file-transfer
// client, under the key file "<master database file>.key" beside the
// database; every other value is stored as given. Values are bound to the
// statements as parameters, so any text, quotes included, is stored as it is.
//
// Each operation opens the master database afresh and logs its steps at
// level 1 through the framework's logger; passwords are never logged. Not
// thread-safe: copies share one database connection and one file manager, so
// use one manager per thread.

#include <memory>

#include <boost/shared_ptr.hpp>

#include <vqkudm/vqkudmApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>

class iVQKFileManager;
namespace vqlm {
class iDbDriver;
}

namespace vqkudm {

class UDMLogger;
class UDMRetrieveConfig;

class VQKUDM_API UDMConnectMasterDBManager {
 public:
  // Loads the database driver named by the library-manager setting
  // "DirectorDatabaseDriver" (UDMUtils) and raises UDMException when it
  // cannot. Then loads the file-transfer client; if that fails it is logged
  // and the manager works without it: SetPDMConnection then stores nothing
  // and GetPDMConnectionInfo returns no "dbpasswd".
  explicit UDMConnectMasterDBManager(boost::shared_ptr<UDMRetrieveConfig> config);

  // Registers the connection `name` with the values of `settings` under the
  // column names ("repid", "username", "passwd", "host", "fscache",
  // "trmode", "dbusername", "dbpasswd", "type", "pname", "isdefault"; a
  // missing key stores an empty text). A name already registered keeps its
  // first values: the call then changes nothing. Creates the table on a new
  // master database. Raises UDMException when a transaction, the table or
  // the row cannot be made, or the password cannot be sealed.
  void SetPDMConnection(vqString name, vqStlMap<vqString, vqString> settings);

  // Appends the identifiers of the connections of the retrieve
  // configuration's user (of every user when its user name is empty).
  void GetPDMConnectionIds(vqStlVector<vqString>& ids);

  // Sets in `info` every column of the connection `repid` under its column
  // name, "dbpasswd" decoded to the password; with `decodePassword` false
  // "dbpasswd" is left out. Sets nothing for an unknown identifier. Raises
  // UDMException when the master database cannot be opened or the stored
  // password does not decode (changed, or sealed with another key file).
  void GetPDMConnectionInfo(vqStlMap<vqString, vqString>& info, const vqString& repid,
                            bool decodePassword = true);

 private:
  void CheckPointers(const char* signature) const;
  // Opens the master database, creating its directory when the file is
  // missing. A failure is logged and answers false, or is raised.
  bool OpenMasterDatabase(const char* signature, bool raiseOnFailure);
  void CreateTable(const char* signature);

  std::shared_ptr<vqlm::iDbDriver> m_driver;
  std::shared_ptr<iVQKFileManager> m_fileManager;
  boost::shared_ptr<UDMLogger> m_logger;
  boost::shared_ptr<UDMRetrieveConfig> m_retrieveConfig;
};

}  // namespace vqkudm
