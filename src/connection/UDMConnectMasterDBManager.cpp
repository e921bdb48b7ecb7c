#include <vqkudm/UDMConnectMasterDBManager.h>

#include <filesystem>
#include <system_error>

#include <vqfiletransfer/iVQKFileManager.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMLogger.h>
#include <vqkudmrt/UDMRetrieveConfig.h>
#include <vqkudmrt/UDMUtils.h>
#include <vqlmidbdriver/iDbDriver.h>
#include <vqlmosa/osaDirectory.h>
#include <vqlmosa/osaDynamicObject.h>
#include <vqlmosa/osaFileInfo.h>

#include "ProfileMgrSupport.h"

namespace vqkudm {

using connection::RaiseState;

namespace {

#define VQ_MASTER_SIG(result, rest) VQ_SIG(result, "UDMConnectMasterDBManager", rest)
#define VQ_T_STRING_MAP VQ_T_MAP(VQ_T_STRING, VQ_T_STRING)

const char* const kConstructorSignature =
    "__cdecl vqkudm::UDMConnectMasterDBManager::UDMConnectMasterDBManager(" VQ_T_SHARED(
        "class vqkudm::UDMRetrieveConfig") ")";
const char* const kSetSignature =
    VQ_MASTER_SIG("void", "SetPDMConnection(" VQ_T_STRING "," VQ_T_STRING_MAP ")");
const char* const kIdsSignature = VQ_MASTER_SIG("void", "GetPDMConnectionIds(" VQ_T_VECTOR(VQ_T_STRING) " &)");
const char* const kInfoSignature =
    VQ_MASTER_SIG("void", "GetPDMConnectionInfo(" VQ_T_STRING_MAP " &," VQ_T_STRING_CREF ",bool)");

// The statements keep the master database's documented shape, but every
// value is a bound parameter: a quote in a value is stored, never executed.
const char* const kSelectAll = "select * from \"pdmrepositories\"";
const char* const kCreateTable =
    "create table \"pdmrepositories\" (\"repid\" varchar(2000), \"name\" varchar(2000) , "
    "\"username\" varchar(2000), \"passwd\" varchar(2000), \"host\" varchar(2000), "
    "\"fscache\" varchar(2000), \"trmode\" varchar(2000), \"dbusername\" varchar(2000), "
    "\"dbpasswd\" varchar(2000), \"type\" varchar(2000), \"pname\" varchar(2000), "
    "\"isdefault\" varchar(2000))";
const char* const kSelectName = "select \"name\" from \"pdmrepositories\" where \"name\"=?";
const char* const kInsert = "insert into \"pdmrepositories\" values (?,?,?,?,?, ?,?,?,?,?,?,?)";
const char* const kSelectIdsOfUser =
    "select \"repid\" from \"pdmrepositories\" where \"username\" = ?";
const char* const kSelectIdsOfEveryone = "select \"repid\" from \"pdmrepositories\"";
const char* const kSelectConnection = "select * from pdmrepositories where repid=?";

const char* const kPasswordColumn = "dbpasswd";
const char* const kFileManagerLibrary = "FileTransferClient";
const int kLogLevel = 1;

void Log(const boost::shared_ptr<UDMLogger>& logger, const char* text) {
  if (logger) logger->LogMessage(text, kLogLevel);
}

vqString Setting(const vqStlMap<vqString, vqString>& settings, const char* key) {
  auto found = settings.find(key);
  return found == settings.end() ? vqString() : found->second;
}

std::shared_ptr<iVQKFileManager> LoadFileManager(const boost::shared_ptr<UDMLogger>& logger,
                                                 const vqString& searchPath) {
  Log(logger, "Loading the FileTransferClient Library ");
  auto module = std::make_shared<osaDynamicObject>();
  if (!vqLMUtils::UtilsLoadLibrary(kFileManagerLibrary, *module, searchPath)) {
    Log(logger,
        "Failed to Load FileTransferClient library, Exiting the LibraryManagerImpl Creation ");
    return nullptr;
  }
  auto create =
      reinterpret_cast<CreateFileManagerFunction>(module->FindSymbol("CreateFileManager"));
  if (!create) {
    Log(logger,
        "Failed to Find CreateFileManager API in FileTransferClient library, Exiting the "
        "LibraryManagerImpl Creation");
    return nullptr;
  }
  iVQKFileManager* manager = create();
  if (!manager) {
    Log(logger,
        "CreateFileManager API in FileTransferClient library Failed , Exiting the "
        "LibraryManagerImpl Creation");
    return nullptr;
  }
  // The deleter holds the module, so its code outlives the manager.
  return std::shared_ptr<iVQKFileManager>(manager, [module](iVQKFileManager* m) { delete m; });
}

// Beside the database and named after it, so a master database and its key
// file travel together.
vqString KeyFileOf(const vqString& masterDatabase) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(masterDatabase.str(), error);
  return (error ? masterDatabase.str() : absolute.string()) + ".key";
}

// Commits the transaction when the statement of `status` succeeded, rolls it
// back otherwise; the first failure of the two.
vqlm::DbStatus CommitIfDone(vqlm::iDbDriver& db, vqlm::DbStatus status) {
  if (!status) {
    db.Rollback();
    return status;
  }
  return db.Commit();
}

}  // namespace

UDMConnectMasterDBManager::UDMConnectMasterDBManager(boost::shared_ptr<UDMRetrieveConfig> config)
    : m_retrieveConfig(config) {
  const vqStlMap<vqString, vqString> settings = UDMUtils::GetLibraryManagerSettings(config);
  const vqString driverName = Setting(settings, kLibMgrDirectorDatabaseDriver);
  const vqString searchPath = Setting(settings, kLibMgrLibraryPath);
  const vqString libraryName = UDMUtils::FindLibrary(driverName, searchPath);
  auto module = std::make_shared<osaDynamicObject>();
  // Kept loaded like every driver: database clients set up TLS libraries
  // that do not survive being unloaded and loaded again.
  if (!module->LoadLibrary(libraryName, true).IsOk()) {
    RaiseState(kConstructorSignature,
               "Unable to load library '" + libraryName + "' for driver '" + driverName, ExcSubNull,
               module->GetLastError().GetText());
  }
  auto create = reinterpret_cast<vqlm::CreateDriverFunction>(module->FindSymbol("CreateDriver"));
  if (!create) {
    RaiseState(kConstructorSignature,
               "Unable to find necessary symbols in library '" + libraryName + "' for driver '" +
                   driverName,
               ExcSubNull, module->GetLastError().GetText());
  }
  // A driver module that makes no driver leaves the pointer null; every
  // operation then says so.
  if (vqlm::iDbDriver* driver = create()) {
    m_driver.reset(driver, [module](vqlm::iDbDriver* d) { delete d; });
  }
  m_logger = UDMFramework::GetInstance()->GetLogger();
  m_fileManager = LoadFileManager(m_logger, searchPath);
}

void UDMConnectMasterDBManager::CheckPointers(const char* signature) const {
  if (!m_driver) ThrowUDMException(signature, "iDbDriver Ptr is NULL", ExcCatState, ExcSubNull);
  if (!m_retrieveConfig) {
    ThrowUDMException(signature, "UDMRetrieveConfigPtr is NULL", ExcCatState, ExcSubNull);
  }
}

bool UDMConnectMasterDBManager::OpenMasterDatabase(const char* signature, bool raiseOnFailure) {
  const vqString path = m_retrieveConfig->GetMasterDBFile();
  // SQLite would open a private temporary database for an empty path and
  // every connection stored would vanish with it.
  if (path.empty()) ThrowEmptyArgument(signature, "Master Database file path ");
  const osaFileInfo file(path);
  if (!file.Exists()) {
    Log(m_logger, "Master Database file path does not exist, Creating it ");
    const vqString directory = file.GetDirectory();
    if (!directory.empty() && !osaDirectory::Create(directory, 4095, true).IsOk()) {
      Log(m_logger, "Failed to create the Master Database File, Exiting the DMDirector Creation ");
      if (raiseOnFailure) {
        RaiseState(signature, "Opening the Master Database Fialed, Exiting", ExcSubDatabase,
                   "cannot create the directory '" + directory + "'");
      }
      return false;
    }
  }
  const vqlm::DbStatus opened = m_driver->Open(path);
  if (!opened) {
    if (raiseOnFailure) {
      RaiseState(signature, "Opening the Master Database Fialed, Exiting", ExcSubDatabase,
                 opened.GetText());
    }
    Log(m_logger, "Opening the Master Database Failed, Exiting");
    return false;
  }
  Log(m_logger, "Opening the Master Database Success");
  if (m_fileManager) m_fileManager->SetKeyFile(KeyFileOf(path));
  return true;
}

void UDMConnectMasterDBManager::CreateTable(const char* signature) {
  vqlm::DbStatus status = m_driver->BeginTransaction();
  if (!status) {
    RaiseState(signature, "Failed to Start the Transaction", ExcSubDatabase, status.GetText());
  }
  Log(m_logger, "Transaction Start Success ");
  status = CommitIfDone(*m_driver, m_driver->ExecSqlStatement(kCreateTable));
  if (!status) {
    RaiseState(signature, "reposettings table creation failed", ExcSubDatabase, status.GetText());
  }
}

void UDMConnectMasterDBManager::SetPDMConnection(vqString name,
                                                 vqStlMap<vqString, vqString> settings) {
  CheckPointers(kSetSignature);
  if (!OpenMasterDatabase(kSetSignature, false)) return;
  vqlm::ResultSet rows;
  if (!m_driver->ExecSqlQuery(kSelectAll, rows)) {
    Log(m_logger,
        "Getting the Repository Info Failed, Trying to create the tables as it might be new "
        "master database");
    CreateTable(kSetSignature);
  }
  if (!m_fileManager) {
    Log(m_logger, "iVQKFileManager not found");
    return;
  }
  vqlm::DbStatus status = m_driver->ExecSqlQuery(kSelectName, {vqVariant(name)}, rows);
  if (!status) {
    RaiseState(kSetSignature, "Looking up the repository name '" + name + "' failed",
               ExcSubDatabase, status.GetText());
  }
  // A name is registered once; later calls keep the first values.
  if (!rows.IsEmpty()) return;

  status = m_driver->BeginTransaction();
  if (!status) {
    RaiseState(kSetSignature, "Failed to Start the Transaction", ExcSubDatabase, status.GetText());
  }
  vqString sealedPassword;
  const VQKFileManagerStatus sealed =
      m_fileManager->EncodePassword(settings[kPasswordColumn], sealedPassword);
  if (!sealed) {
    m_driver->Rollback();
    RaiseState(
        kSetSignature,
        "Encoding the database password of repository '" + name + "' failed: " + sealed.GetText(),
        ExcSubIo, vqString());
  }
  const vqStlVector<vqVariant> values = {settings["repid"],    name,
                                         settings["username"], settings["passwd"],
                                         settings["host"],     settings["fscache"],
                                         settings["trmode"],   settings["dbusername"],
                                         sealedPassword,       settings["type"],
                                         settings["pname"],    settings["isdefault"]};
  status = CommitIfDone(*m_driver, m_driver->ExecSqlStatement(kInsert, values));
  if (!status) {
    RaiseState(kSetSignature, "insertion in table failed", ExcSubDatabase, status.GetText());
  }
}

void UDMConnectMasterDBManager::GetPDMConnectionIds(vqStlVector<vqString>& ids) {
  CheckPointers(kIdsSignature);
  if (!OpenMasterDatabase(kIdsSignature, false)) return;
  const vqString& user = m_retrieveConfig->GetUserName();
  vqlm::ResultSet rows;
  const vqlm::DbStatus status =
      user.empty() ? m_driver->ExecSqlQuery(kSelectIdsOfEveryone, rows)
                   : m_driver->ExecSqlQuery(kSelectIdsOfUser, {vqVariant(user)}, rows);
  if (!status) {
    Log(m_logger, "Querying the database failed in GetPDMConnectionIds");
    return;
  }
  for (std::size_t row = 0; row < rows.GetRowCount(); ++row) {
    ids.push_back(rows.GetValue(row, "repid").ToString());
  }
}

void UDMConnectMasterDBManager::GetPDMConnectionInfo(vqStlMap<vqString, vqString>& info,
                                                     const vqString& repid, bool decodePassword) {
  CheckPointers(kInfoSignature);
  if (!m_fileManager) Log(m_logger, "iVQKFileManager not found");
  OpenMasterDatabase(kInfoSignature, true);
  vqlm::ResultSet rows;
  if (!m_driver->ExecSqlQuery(kSelectConnection, {vqVariant(repid)}, rows)) {
    Log(m_logger, "Querying the database failed in GetPDMConnectionInfo");
    return;
  }
  if (rows.IsEmpty()) return;
  // Identifiers need not be unique: the first registered row answers.
  // Collected apart first, so a password that does not decode changes nothing.
  vqStlMap<vqString, vqString> found;
  for (std::size_t column = 0; column < rows.GetColumnCount(); ++column) {
    const vqString& name = rows.GetColumnName(column);
    vqString value = rows.GetValue(0, column).ToString();
    if (name == kPasswordColumn) {
      if (!decodePassword || !m_fileManager) continue;
      vqString password;
      const VQKFileManagerStatus decoded = m_fileManager->DecodePassword(value, password);
      if (!decoded) {
        RaiseState(kInfoSignature,
                   "The database password of connection '" + repid +
                       "' cannot be decoded: " + decoded.GetText(),
                   ExcSubSyntax, vqString());
      }
      value.swap(password);
    }
    found[name] = value;
  }
  for (auto& [name, value] : found) info[name] = value;
}

}  // namespace vqkudm
