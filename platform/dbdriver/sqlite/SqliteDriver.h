#pragma once

#include <vqlmidbdriver/iDbDriver.h>

struct sqlite3;

namespace vqlm::sqlite {

// One SQLite connection: WAL journal, a busy timeout so that concurrent
// writers wait rather than fail at once, foreign keys enforced, and full
// fsync on commit. Write transactions take the write lock when they begin,
// so two writers never deadlock upgrading a read lock.
class SqliteDriver final : public iDbDriver {
 public:
  static constexpr int kBusyTimeoutMs = 10000;

  SqliteDriver() = default;
  ~SqliteDriver() override;

  vqString GetDriverName() const override { return "sqlite"; }
  DbStatus Open(const vqString& connection) override;
  void Close() override;
  bool IsOpen() const override { return m_db != nullptr; }
  DbStatus ExecSqlQuery(const vqString& sql, ResultSet& out) override;
  DbStatus ExecSqlStatement(const vqString& sql) override;
  DbStatus BeginTransaction() override;
  DbStatus Commit() override;
  DbStatus Rollback() override;
  bool IsInTransaction() const override { return m_inTransaction; }
  DbStatus Prepare(const vqString& sql, std::unique_ptr<iDbStatement>& out) override;
  DbStatus BulkInsertEach(const vqString& table, const vqStlVector<vqString>& columns, std::size_t rowCount,
                          const DbRowFiller& fill) override;

  using iDbDriver::ExecSqlQuery;
  using iDbDriver::ExecSqlStatement;

 private:
  DbStatus NotOpen(const char* what) const;
  DbStatus Exec(const vqString& sql);

  sqlite3* m_db = nullptr;
  bool m_inTransaction = false;
};

}  // namespace vqlm::sqlite
