// The master repository database over the real SQLite driver and the real
// FileTransferClient module, both loaded by name.

#include <vqkudm/UDMConnectMasterDBManager.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMLogger.h>
#include <vqkudmrt/UDMRetrieveConfig.h>
#include <vqlmidbdriver/DbDriverLoader.h>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "temp_dir.h"

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

const char* const kIdsSignature =
    "void __cdecl vqkudm::UDMConnectMasterDBManager::GetPDMConnectionIds(class vqStlVector<class "
    "vqString,class std::allocator<class vqString> > &)";

vqStlMap<vqString, vqString> Connection(const vqString& repid, const vqString& user,
                                        const vqString& dbPassword) {
  vqStlMap<vqString, vqString> settings;
  settings["repid"] = repid;
  settings["username"] = user;
  settings["passwd"] = "login-" + repid;
  settings["host"] = "pdm.example:7001";
  settings["fscache"] = "/cache/" + repid;
  settings["trmode"] = "http";
  settings["dbusername"] = "db-" + user;
  settings["dbpasswd"] = dbPassword;
  settings["type"] = "Teamcenter";
  settings["pname"] = "profile";
  settings["isdefault"] = "false";
  return settings;
}

class MasterDbTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_previousLogger = UDMFramework::GetInstance()->GetLogger();
    m_logger.reset(new UDMLogger((m_dir.path() / "udm.log").string(), UDMLogger::LevelPerformance));
    UDMFramework::GetInstance()->SetLogger(m_logger);
    m_config->SetMasterDBFile(m_masterDb.string());
    m_config->SetUserName("alice");
  }
  void TearDown() override { UDMFramework::GetInstance()->SetLogger(m_previousLogger); }

  std::string Log() {
    m_logger->Flush();
    std::ifstream in(m_dir.path() / "udm.log");
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }
  // Whether `lines` appear in the log in this order.
  void ExpectLogged(std::initializer_list<const char*> lines) {
    const std::string log = Log();
    std::size_t at = 0;
    for (const char* line : lines) {
      at = log.find(std::string(line) + "\n", at);
      ASSERT_NE(at, std::string::npos) << "missing or out of order: \"" << line << "\"\n" << log;
    }
  }

  // A second connection to the master database, beside the manager's.
  std::shared_ptr<vqlm::iDbDriver> Raw() {
    std::shared_ptr<vqlm::iDbDriver> db;
    EXPECT_TRUE(vqlm::LoadDbDriver(SQLITE_DRIVER_PATH, db));
    EXPECT_TRUE(db->Open(m_masterDb.string()));
    return db;
  }
  vqlm::ResultSet Rows(const vqString& sql) {
    vqlm::ResultSet rows;
    const vqlm::DbStatus status = Raw()->ExecSqlQuery(sql, rows);
    EXPECT_TRUE(status) << status.GetText();
    return rows;
  }

  // Points the library manager elsewhere through the data-model configuration.
  void UseSettings(const std::string& settings) {
    const fs::path file = m_dir.path() / "udmconfig.xml";
    std::ofstream(file) << "<udmconfig version=\"1\"><librarymanager>" << settings
                        << "</librarymanager></udmconfig>";
    m_config->SetUDMConfigFile(file.string());
  }

  TestDirectory m_dir{"udm-masterdb"};
  fs::path m_masterDb = m_dir.path() / "not" / "yet" / "master.db";
  boost::shared_ptr<UDMRetrieveConfig> m_config{new UDMRetrieveConfig()};
  boost::shared_ptr<UDMLogger> m_logger;
  boost::shared_ptr<UDMLogger> m_previousLogger;
};

TEST_F(MasterDbTest, FirstRegistrationCreatesDatabaseAndTableThenStoresTheRow) {
  UDMConnectMasterDBManager master(m_config);
  master.SetPDMConnection("plant", Connection("rep-1", "alice", "db-secret"));

  ExpectLogged({"Loading the FileTransferClient Library ",
                "Master Database file path does not exist, Creating it ",
                "Opening the Master Database Success",
                "Getting the Repository Info Failed, Trying to create the tables as it might be "
                "new master database",
                "Transaction Start Success "});
  const vqlm::ResultSet rows = Rows("select * from pdmrepositories");
  ASSERT_EQ(rows.GetRowCount(), 1u);
  ASSERT_EQ(rows.GetColumnCount(), 12u);
  EXPECT_EQ(rows.GetValue(0, "name").ToString(), "plant");
  EXPECT_EQ(rows.GetValue(0, "repid").ToString(), "rep-1");
  EXPECT_EQ(rows.GetValue(0, "fscache").ToString(), "/cache/rep-1");
  EXPECT_EQ(rows.GetValue(0, "isdefault").ToString(), "false");

  // The table exists now: the next registration neither creates nor logs it again.
  master.SetPDMConnection("lab", Connection("rep-2", "alice", "x"));
  const std::string log = Log();
  EXPECT_EQ(log.find("Transaction Start Success "), log.rfind("Transaction Start Success "));
  EXPECT_EQ(Rows("select * from pdmrepositories").GetRowCount(), 2u);
}

TEST_F(MasterDbTest, TableCreationIsCommittedApartFromAFailedInsert) {
  // A directory where the key file belongs makes sealing the password fail
  // inside the insert's transaction.
  fs::create_directories(m_masterDb.string() + ".key");
  UDMConnectMasterDBManager master(m_config);
  try {
    master.SetPDMConnection("plant", Connection("rep-1", "alice", "db-secret"));
    FAIL() << "no error";
  } catch (const UDMException& e) {
    EXPECT_EQ(e.GetExceptionCategory(), ExcCatState);
    EXPECT_NE(std::string(e.what()).find("Encoding the database password of repository 'plant'"),
              std::string::npos)
        << e.what();
  }
  EXPECT_EQ(Rows("select * from pdmrepositories").GetRowCount(), 0u);
}

TEST_F(MasterDbTest, SameNameTwiceKeepsTheFirstRegistration) {
  UDMConnectMasterDBManager master(m_config);
  master.SetPDMConnection("plant", Connection("rep-1", "alice", "first"));
  master.SetPDMConnection("plant", Connection("rep-9", "bob", "second"));
  const vqlm::ResultSet rows = Rows("select * from pdmrepositories");
  ASSERT_EQ(rows.GetRowCount(), 1u);
  EXPECT_EQ(rows.GetValue(0, "repid").ToString(), "rep-1");
  EXPECT_EQ(rows.GetValue(0, "username").ToString(), "alice");
}

TEST_F(MasterDbTest, QuotesInValuesAreStoredNotExecuted) {
  UDMConnectMasterDBManager master(m_config);
  vqStlMap<vqString, vqString> settings = Connection("rep-'1", "alice", "pa'ss");
  settings["host"] = "h'); drop table \"pdmrepositories\"; --";
  master.SetPDMConnection("O'Brien's plant", settings);
  master.SetPDMConnection("O'Brien's plant", Connection("other", "alice", "x"));

  vqStlMap<vqString, vqString> info;
  master.GetPDMConnectionInfo(info, "rep-'1");
  EXPECT_EQ(info["name"], "O'Brien's plant");
  EXPECT_EQ(info["host"], settings["host"]);
  EXPECT_EQ(info["dbpasswd"], "pa'ss");
  EXPECT_EQ(Rows("select * from pdmrepositories").GetRowCount(), 1u);
}

TEST_F(MasterDbTest, DatabasePasswordIsSealedUnderAPrivateKeyFileAndNeverLogged) {
  UDMConnectMasterDBManager master(m_config);
  master.SetPDMConnection("plant", Connection("rep-1", "alice", "db-secret-42"));

  const vqString stored = Rows("select dbpasswd from pdmrepositories").GetValue(0, 0).ToString();
  EXPECT_EQ(stored.rfind("vqpw1:", 0), 0u) << stored;
  EXPECT_EQ(stored.find("db-secret-42"), vqString::npos);
  struct stat key {};
  ASSERT_EQ(::stat((m_masterDb.string() + ".key").c_str(), &key), 0);
  EXPECT_EQ(key.st_mode & 07777, 0600u);

  vqStlMap<vqString, vqString> info;
  master.GetPDMConnectionInfo(info, "rep-1");
  EXPECT_EQ(info.size(), 12u);
  EXPECT_EQ(info["dbpasswd"], "db-secret-42");
  EXPECT_EQ(info["passwd"], "login-rep-1");

  vqStlMap<vqString, vqString> withoutPassword;
  master.GetPDMConnectionInfo(withoutPassword, "rep-1", false);
  EXPECT_EQ(withoutPassword.count("dbpasswd"), 0u);
  EXPECT_EQ(withoutPassword["dbusername"], "db-alice");
  EXPECT_EQ(Log().find("db-secret-42"), std::string::npos);
}

TEST_F(MasterDbTest, ChangedStoredPasswordIsRefusedAndSetsNothing) {
  UDMConnectMasterDBManager master(m_config);
  master.SetPDMConnection("plant", Connection("rep-1", "alice", "db-secret"));
  vqString stored = Rows("select dbpasswd from pdmrepositories").GetValue(0, 0).ToString();
  char& middle = stored[stored.size() / 2];
  middle = middle == 'A' ? 'B' : 'A';
  ASSERT_TRUE(Raw()->ExecSqlStatement("update pdmrepositories set dbpasswd = ?", {stored}));

  vqStlMap<vqString, vqString> info;
  info["caller"] = "kept";
  try {
    master.GetPDMConnectionInfo(info, "rep-1");
    FAIL() << "no error";
  } catch (const UDMException& e) {
    EXPECT_EQ(e.GetExceptionCategory(), ExcCatState);
    EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubSyntax);
    EXPECT_NE(std::string(e.what()).find("connection 'rep-1' cannot be decoded"), std::string::npos)
        << e.what();
  }
  EXPECT_EQ(info.size(), 1u);
}

TEST_F(MasterDbTest, UnknownIdentifierGivesAnEmptyMap) {
  UDMConnectMasterDBManager master(m_config);
  vqStlMap<vqString, vqString> info;
  master.GetPDMConnectionInfo(info, "rep-1");  // no table yet
  EXPECT_TRUE(info.empty());
  ExpectLogged({"Querying the database failed in GetPDMConnectionInfo"});

  master.SetPDMConnection("plant", Connection("rep-1", "alice", "pw"));
  master.GetPDMConnectionInfo(info, "rep-2");
  EXPECT_TRUE(info.empty());
}

TEST_F(MasterDbTest, IdentifiersAreThoseOfTheConfiguredUser) {
  UDMConnectMasterDBManager master(m_config);
  master.SetPDMConnection("plant", Connection("rep-1", "alice", "pw"));
  master.SetPDMConnection("lab", Connection("rep-2", "bob", "pw"));
  master.SetPDMConnection("depot", Connection("rep-3", "alice", "pw"));

  vqStlVector<vqString> ids = {"before"};
  master.GetPDMConnectionIds(ids);
  EXPECT_EQ(ids, (vqStlVector<vqString>{"before", "rep-1", "rep-3"}));

  m_config->SetUserName("");
  ids.clear();
  master.GetPDMConnectionIds(ids);
  EXPECT_EQ(ids.size(), 3u) << "an empty user name means every user";
}

TEST_F(MasterDbTest, MissingConfigurationOrDriverIsReported) {
  UDMConnectMasterDBManager withoutConfig{boost::shared_ptr<UDMRetrieveConfig>()};
  vqStlVector<vqString> ids;
  try {
    withoutConfig.GetPDMConnectionIds(ids);
    FAIL() << "no error";
  } catch (const UDMException& e) {
    EXPECT_STREQ(e.what(), "UDMRetrieveConfigPtr is NULL");
    EXPECT_EQ(e.GetFunctionSignature().str(), kIdsSignature);
    EXPECT_EQ(e.GetExceptionCategory(), ExcCatState);
    EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubNull);
  }

  UseSettings("<setting name=\"DirectorDatabaseDriver\" value=\"nosuchdriver\"/>");
  try {
    UDMConnectMasterDBManager master(m_config);
    FAIL() << "no error";
  } catch (const UDMException& e) {
    EXPECT_STREQ(e.what(), "Unable to load library 'libnosuchdriver.so' for driver 'nosuchdriver");
    ASSERT_EQ(e.GetContext().size(), 2u);
    EXPECT_NE(e.GetContext()[1].find("cannot load library"), vqString::npos) << e.GetContext()[1];
  }
  // A library that loads but is no driver.
  UseSettings(std::string("<setting name=\"DirectorDatabaseDriver\" value=\"") +
              FILETRANSFER_MODULE_PATH + "\"/>");
  try {
    UDMConnectMasterDBManager master(m_config);
    FAIL() << "no error";
  } catch (const UDMException& e) {
    EXPECT_EQ(std::string(e.what()), std::string("Unable to find necessary symbols in library '") +
                                         FILETRANSFER_MODULE_PATH + "' for driver '" +
                                         FILETRANSFER_MODULE_PATH);
  }
}

TEST_F(MasterDbTest, WithoutFileTransferClientNothingIsStored) {
  // Libraries are searched only in an empty directory; the driver is named by path.
  fs::create_directories(m_dir.path() / "empty");
  UseSettings(std::string("<setting name=\"DirectorDatabaseDriver\" value=\"") +
              SQLITE_DRIVER_PATH + "\"/><setting name=\"LibraryPath\" value=\"" +
              (m_dir.path() / "empty").string() + "\"/>");
  UDMConnectMasterDBManager master(m_config);
  master.SetPDMConnection("plant", Connection("rep-1", "alice", "pw"));
  ExpectLogged(
      {"Failed to Load FileTransferClient library, Exiting the LibraryManagerImpl Creation ",
       "Transaction Start Success ", "iVQKFileManager not found"});
  EXPECT_EQ(Rows("select * from pdmrepositories").GetRowCount(), 0u);

  // A library of that name without the entry.
  fs::create_symlink(SQLITE_DRIVER_PATH, m_dir.path() / "empty" / "libFileTransferClient.so");
  UDMConnectMasterDBManager impostor(m_config);
  ExpectLogged(
      {"Failed to Find CreateFileManager API in FileTransferClient library, Exiting the "
       "LibraryManagerImpl Creation"});
}

TEST_F(MasterDbTest, UnopenableMasterDatabaseIsLoggedOrRaised) {
  std::ofstream(m_dir.path() / "not") << "a file where a directory should be";
  UDMConnectMasterDBManager master(m_config);
  master.SetPDMConnection("plant", Connection("rep-1", "alice", "pw"));
  ExpectLogged({"Failed to create the Master Database File, Exiting the DMDirector Creation "});

  vqStlMap<vqString, vqString> info;
  try {
    master.GetPDMConnectionInfo(info, "rep-1");
    FAIL() << "no error";
  } catch (const UDMException& e) {
    EXPECT_STREQ(e.what(), "Opening the Master Database Fialed, Exiting");
    EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubDatabase);
  }

  m_config->SetMasterDBFile("");
  vqStlVector<vqString> ids;
  EXPECT_THROW(master.GetPDMConnectionIds(ids), UDMException);
}

}  // namespace
