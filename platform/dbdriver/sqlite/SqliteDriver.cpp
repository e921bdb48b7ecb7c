#include "SqliteDriver.h"

#include <sqlite3.h>

#include <vqlmidbdriver/DbSqlText.h>

#include "SqliteErrors.h"
#include "SqliteStatement.h"

namespace vqlm::sqlite {

SqliteDriver::~SqliteDriver() { Close(); }

DbStatus SqliteDriver::NotOpen(const char* what) const {
  return DbStatus::Failure(DbNotOpen, vqString(what) + ": no database is open");
}

DbStatus SqliteDriver::Open(const vqString& connection) {
  Close();
  if (connection.empty()) return DbStatus::Failure(DbConnection, "open: the database path is empty");
  sqlite3* db = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX;
  const int rc = sqlite3_open_v2(connection.c_str(), &db, flags, nullptr);
  if (rc != SQLITE_OK) {
    DbStatus status = ToStatus(db, rc, "open \"" + connection + "\"");
    sqlite3_close_v2(db);
    return status;
  }
  // SQLite falls back to reading a file it may not write, and then only
  // when another connection keeps its WAL open; a repository must be
  // written to, so refuse either way, at once and alike.
  const vqString readOnly = "open \"" + connection + "\": read-only: the database and its directory must be writable";
  if (sqlite3_db_readonly(db, "main") == 1) {
    sqlite3_close_v2(db);
    return DbStatus::Failure(DbConnection, readOnly, vqString(), SQLITE_READONLY);
  }
  m_db = db;
  sqlite3_extended_result_codes(m_db, 1);
  sqlite3_busy_timeout(m_db, kBusyTimeoutMs);
  // Reads through a memory map: a command-line process opens the database
  // cold, and page-by-page reads cost it more than its queries do.
  for (const char* pragma : {"PRAGMA journal_mode=WAL", "PRAGMA synchronous=FULL", "PRAGMA foreign_keys=ON",
                             "PRAGMA mmap_size=1073741824"}) {
    DbStatus status = Exec(pragma);
    if (!status) {
      Close();
      if ((status.GetNativeCode() & 0xFF) == SQLITE_READONLY) {
        return DbStatus::Failure(DbConnection, readOnly + " (" + status.GetText() + ")", vqString(), SQLITE_READONLY);
      }
      return DbStatus::Failure(status.GetKind(), "open \"" + connection + "\": " + status.GetText());
    }
  }
  return DbStatus();
}

void SqliteDriver::Close() {
  if (!m_db) return;
  if (m_inTransaction) sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
  m_inTransaction = false;
  sqlite3_close_v2(m_db);
  m_db = nullptr;
}

DbStatus SqliteDriver::Exec(const vqString& sql) {
  if (!m_db) return NotOpen("execute");
  const int rc = sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, nullptr);
  return ToStatus(m_db, rc, "execute \"" + sql + "\"");
}

DbStatus SqliteDriver::ExecSqlStatement(const vqString& sql) { return Exec(sql); }

DbStatus SqliteDriver::ExecSqlQuery(const vqString& sql, ResultSet& out) {
  std::unique_ptr<iDbStatement> statement;
  DbStatus status = Prepare(sql, statement);
  return status ? statement->Query(out) : status;
}

DbStatus SqliteDriver::BeginTransaction() {
  if (m_inTransaction) return DbStatus::Failure(DbMisuse, "begin: a transaction is already open");
  DbStatus status = Exec("BEGIN IMMEDIATE");
  m_inTransaction = status.IsOk();
  return status;
}

DbStatus SqliteDriver::Commit() {
  if (!m_inTransaction) return DbStatus::Failure(DbMisuse, "commit: no transaction is open");
  DbStatus status = Exec("COMMIT");
  // A failed COMMIT may leave the transaction open (SQLITE_BUSY); end it so
  // the connection is usable and nothing half-done survives.
  if (!status && !sqlite3_get_autocommit(m_db)) Exec("ROLLBACK");
  m_inTransaction = false;
  return status;
}

DbStatus SqliteDriver::Rollback() {
  if (!m_inTransaction) return DbStatus::Failure(DbMisuse, "rollback: no transaction is open");
  m_inTransaction = false;
  // SQLite may already have rolled back on its own after an error.
  if (sqlite3_get_autocommit(m_db)) return DbStatus();
  return Exec("ROLLBACK");
}

DbStatus SqliteDriver::Prepare(const vqString& sql, std::unique_ptr<iDbStatement>& out) {
  if (!m_db) return NotOpen("prepare");
  sqlite3_stmt* statement = nullptr;
  const int rc = sqlite3_prepare_v3(m_db, sql.c_str(), static_cast<int>(sql.size() + 1),
                                    SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  if (rc != SQLITE_OK) return ToStatus(m_db, rc, "prepare \"" + sql + "\"");
  if (!statement) return DbStatus::Failure(DbMisuse, "prepare: no statement in \"" + sql + "\"");
  out.reset(new SqliteStatement(m_db, statement, sql));
  return DbStatus();
}

DbStatus SqliteDriver::BulkInsertEach(const vqString& table, const vqStlVector<vqString>& columns,
                                      std::size_t rowCount, const DbRowFiller& fill) {
  vqString target;
  DbStatus status = BulkTarget(table, columns, target);
  if (!status || rowCount == 0) return status;
  vqString marks;
  for (std::size_t i = 0; i < columns.size(); ++i) marks += i ? ",?" : "?";
  std::unique_ptr<iDbStatement> prepared;
  status = Prepare("INSERT INTO " + target + " VALUES (" + marks + ")", prepared);
  auto* statement = static_cast<SqliteStatement*>(prepared.get());
  std::vector<DbParam> values(columns.size());
  for (std::size_t r = 0; status && r < rowCount; ++r) {
    std::fill(values.begin(), values.end(), DbParam());
    fill(r, values.data());
    for (std::size_t c = 0; status && c < values.size(); ++c)
      status = statement->BindView(static_cast<int>(c + 1), values[c]);
    if (status) status = statement->Execute(nullptr);
  }
  return status;
}

}  // namespace vqlm::sqlite

VQ_MODULE_ENTRY vqlm::iDbDriver* CreateDriver() { return new vqlm::sqlite::SqliteDriver(); }
