#pragma once

#include <list>
#include <unordered_map>

#include <vqlmidbdriver/iDbDriver.h>

#include <libpq-fe.h>

namespace vqlm::postgres {

// One PostgreSQL connection over libpq. Statements are prepared once per
// connection and SQL text and reused from a bounded cache, so that repeating
// a statement costs one round trip. Bulk inserts use COPY. A connection lost
// outside a transaction is re-established by the next call; one lost inside
// a transaction fails that transaction, which the server rolls back.
class PgDriver final : public iDbDriver {
 public:
  static constexpr std::size_t kStatementCacheSize = 512;

  PgDriver() = default;
  ~PgDriver() override;

  vqString GetDriverName() const override { return "postgres"; }
  DbStatus Open(const vqString& connection) override;
  void Close() override;
  bool IsOpen() const override { return m_connection != nullptr; }
  DbStatus ExecSqlQuery(const vqString& sql, ResultSet& out) override;
  DbStatus ExecSqlStatement(const vqString& sql) override;
  DbStatus BeginTransaction() override;
  DbStatus Commit() override;
  DbStatus Rollback() override;
  bool IsInTransaction() const override { return m_inTransaction; }
  DbStatus Prepare(const vqString& sql, std::unique_ptr<iDbStatement>& out) override;
  DbStatus BulkInsertEach(const vqString& table, const vqStlVector<vqString>& columns, std::size_t rowCount,
                          const DbRowFiller& fill) override;
  bool HasNotifications() const override { return true; }
  DbStatus Listen(const vqString& channel) override;
  DbStatus Notify(const vqString& channel, const vqString& payload) override;
  DbStatus WaitForNotification(int timeoutMs, vqStlVector<vqString>& payloads) override;

  using iDbDriver::ExecSqlQuery;
  using iDbDriver::ExecSqlStatement;

  // The server-side name of `sql` prepared on this connection, preparing it
  // first when needed (statements call this on every execution, so a reset
  // connection or an evicted entry is prepared again transparently).
  DbStatus PreparedName(const vqString& sql, vqString& name, int& parameterCount);
  PGconn* Connection() const { return m_connection; }
  // Turns a result into a status and frees it.
  DbStatus Consume(PGresult* result, const vqString& context);

 private:
  struct Prepared {
    vqString name;
    int parameterCount;
    std::list<vqString>::iterator age;
  };

  DbStatus NotOpen(const char* what) const;
  // Re-establishes a lost connection when no transaction depends on it.
  DbStatus EnsureConnected(const char* what);
  DbStatus Exec(const vqString& sql, ResultSet* out);
  void ForgetStatements();

  PGconn* m_connection = nullptr;
  bool m_inTransaction = false;
  std::unordered_map<vqString, Prepared> m_statements;
  std::list<vqString> m_statementAges;  // most recently used first
  std::uint64_t m_nextStatement = 0;
  vqStlVector<vqString> m_listening;
};

}  // namespace vqlm::postgres
