#include "PgDriver.h"

#include <poll.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>

#include <vqlmidbdriver/DbSqlText.h>

#include "PgErrors.h"
#include "PgStatement.h"
#include "PgText.h"

namespace vqlm::postgres {

namespace {

// COPY data goes to the server in pieces of about this size.
constexpr std::size_t kCopyChunk = 256 * 1024;

}  // namespace

PgDriver::~PgDriver() { Close(); }

DbStatus PgDriver::NotOpen(const char* what) const {
  return DbStatus::Failure(DbNotOpen, vqString(what) + ": no database is open");
}

namespace {

// The connect_timeout of a connection string in milliseconds; -1 for none.
int ConnectTimeoutMs(const vqString& connection) {
  int timeout = -1;
  if (PQconninfoOption* options = PQconninfoParse(connection.c_str(), nullptr)) {
    for (PQconninfoOption* o = options; o->keyword; ++o) {
      if (vqString(o->keyword) == "connect_timeout" && o->val && *o->val) timeout = std::atoi(o->val) * 1000;
    }
    PQconninfoFree(options);
  }
  return timeout;
}

// Connects step by step, so that the errors of the connection are verbose
// (they carry the server's SQLSTATE) and connect_timeout holds.
DbStatus Connect(const vqString& connection, PGconn*& out) {
  PGconn* pg = PQconnectStart(connection.c_str());
  if (!pg) return DbStatus::Failure(DbConnection, "connect: out of memory");
  PQsetErrorVerbosity(pg, PQERRORS_VERBOSE);
  const int timeout = ConnectTimeoutMs(connection);
  PostgresPollingStatusType step = PQstatus(pg) == CONNECTION_BAD ? PGRES_POLLING_FAILED : PGRES_POLLING_WRITING;
  while (step != PGRES_POLLING_OK && step != PGRES_POLLING_FAILED) {
    pollfd socket{PQsocket(pg), static_cast<short>(step == PGRES_POLLING_READING ? POLLIN : POLLOUT), 0};
    const int ready = ::poll(&socket, 1, timeout);
    if (ready == 0) {
      PQfinish(pg);
      return DbStatus::Failure(DbConnection, "connect: the server did not answer within the connect_timeout", "08001");
    }
    if (ready < 0 && errno != EINTR) break;
    step = PQconnectPoll(pg);
  }
  if (PQstatus(pg) != CONNECTION_OK) {
    DbStatus status = ConnectFailure(pg);
    PQfinish(pg);
    return status;
  }
  PQsetErrorVerbosity(pg, PQERRORS_DEFAULT);
  out = pg;
  return DbStatus();
}

}  // namespace

DbStatus PgDriver::Open(const vqString& connection) {
  Close();
  PGconn* pg = nullptr;
  const DbStatus connected = Connect(connection, pg);
  if (!connected) return connected;
  m_connection = pg;
  // Server notices (e.g. "relation already exists, skipping") are not errors.
  PQsetNoticeProcessor(m_connection, [](void*, const char*) {}, nullptr);
  return Exec("SET client_min_messages = warning", nullptr);
}

void PgDriver::Close() {
  if (!m_connection) return;
  PQfinish(m_connection);  // the server rolls back an open transaction
  m_connection = nullptr;
  m_inTransaction = false;
  m_listening.clear();
  ForgetStatements();
}

void PgDriver::ForgetStatements() {
  m_statements.clear();
  m_statementAges.clear();
}

DbStatus PgDriver::EnsureConnected(const char* what) {
  if (!m_connection) return NotOpen(what);
  if (PQstatus(m_connection) == CONNECTION_OK || m_inTransaction) return DbStatus();
  PQsetErrorVerbosity(m_connection, PQERRORS_VERBOSE);
  PQreset(m_connection);
  ForgetStatements();
  if (PQstatus(m_connection) != CONNECTION_OK) return ConnectFailure(m_connection);
  PQsetErrorVerbosity(m_connection, PQERRORS_DEFAULT);
  for (const vqString& channel : m_listening) {
    DbStatus status = Exec("LISTEN " + QuoteSqlIdentifier(channel), nullptr);
    if (!status) return status;
  }
  return DbStatus();
}

DbStatus PgDriver::Consume(PGresult* result, const vqString& context) {
  DbStatus status = ToStatus(m_connection, result, context);
  PQclear(result);
  return status;
}

DbStatus PgDriver::Exec(const vqString& sql, ResultSet* out) {
  DbStatus status = EnsureConnected("execute");
  if (!status) return status;
  PGresult* result = PQexec(m_connection, sql.c_str());
  if (out) {
    out->Clear();
    if (result && PQresultStatus(result) == PGRES_TUPLES_OK) CollectRows(result, *out);
  }
  return Consume(result, "execute \"" + sql + "\"");
}

DbStatus PgDriver::ExecSqlStatement(const vqString& sql) { return Exec(sql, nullptr); }

DbStatus PgDriver::ExecSqlQuery(const vqString& sql, ResultSet& out) { return Exec(sql, &out); }

DbStatus PgDriver::BeginTransaction() {
  if (m_inTransaction) return DbStatus::Failure(DbMisuse, "begin: a transaction is already open");
  DbStatus status = Exec("BEGIN", nullptr);
  // A connection the server closed while it was idle (a restart) shows only
  // now; nothing was in flight, so connect again and begin once more.
  if (!status && PQstatus(m_connection) == CONNECTION_BAD) status = Exec("BEGIN", nullptr);
  m_inTransaction = status.IsOk();
  return status;
}

DbStatus PgDriver::Commit() {
  if (!m_inTransaction) return DbStatus::Failure(DbMisuse, "commit: no transaction is open");
  // COMMIT of a transaction that met an error answers ROLLBACK without an
  // error: report that as the failure it is.
  const bool failed = PQtransactionStatus(m_connection) == PQTRANS_INERROR;
  DbStatus status = Exec("COMMIT", nullptr);
  m_inTransaction = false;
  if (status && failed) {
    return DbStatus::Failure(DbMisuse, "commit: the transaction had failed and was rolled back");
  }
  return status;
}

DbStatus PgDriver::Rollback() {
  if (!m_inTransaction) return DbStatus::Failure(DbMisuse, "rollback: no transaction is open");
  m_inTransaction = false;
  // A lost connection has rolled back on the server already.
  if (PQstatus(m_connection) != CONNECTION_OK) return DbStatus();
  return Exec("ROLLBACK", nullptr);
}

DbStatus PgDriver::PreparedName(const vqString& sql, vqString& name, int& parameterCount) {
  DbStatus status = EnsureConnected("prepare");
  if (!status) return status;
  auto found = m_statements.find(sql);
  if (found != m_statements.end()) {
    m_statementAges.splice(m_statementAges.begin(), m_statementAges, found->second.age);
    name = found->second.name;
    parameterCount = found->second.parameterCount;
    return status;
  }
  const NumberedSql numbered = NumberPlaceholders(sql);
  const vqString newName = "vq" + std::to_string(++m_nextStatement);
  status = Consume(PQprepare(m_connection, newName.c_str(), numbered.sql.c_str(), 0, nullptr),
                   "prepare \"" + sql + "\"");
  if (!status) return status;
  if (m_statements.size() >= kStatementCacheSize) {
    // A failed DEALLOCATE only leaves an unused statement on the server.
    const vqString oldest = m_statementAges.back();
    PQclear(PQexec(m_connection, ("DEALLOCATE " + m_statements[oldest].name).c_str()));
    m_statements.erase(oldest);
    m_statementAges.pop_back();
  }
  m_statementAges.push_front(sql);
  m_statements[sql] = Prepared{newName, numbered.parameterCount, m_statementAges.begin()};
  name = newName;
  parameterCount = numbered.parameterCount;
  return status;
}

DbStatus PgDriver::Prepare(const vqString& sql, std::unique_ptr<iDbStatement>& out) {
  vqString name;
  int parameterCount = 0;
  DbStatus status = PreparedName(sql, name, parameterCount);
  if (status) out.reset(new PgStatement(*this, sql, parameterCount));
  return status;
}

DbStatus PgDriver::BulkInsertEach(const vqString& table, const vqStlVector<vqString>& columns,
                                  std::size_t rowCount, const DbRowFiller& fill) {
  const vqString context = "bulk insert into " + table;
  vqString target;
  DbStatus status = BulkTarget(table, columns, target);
  if (!status || rowCount == 0) return status;
  status = EnsureConnected("bulk insert");
  if (!status) return status;
  status = Consume(PQexec(m_connection, ("COPY " + target + " FROM STDIN").c_str()), context);
  if (!status) return status;

  vqString buffer;
  buffer.reserve(kCopyChunk + 4096);
  std::vector<DbParam> values(columns.size());
  bool sent = true;
  for (std::size_t r = 0; r < rowCount; ++r) {
    std::fill(values.begin(), values.end(), DbParam());
    fill(r, values.data());
    for (std::size_t c = 0; c < values.size(); ++c) {
      if (c) buffer += '\t';
      AppendCopyValue(values[c], buffer);
    }
    buffer += '\n';
    if (buffer.size() >= kCopyChunk) {
      sent = PQputCopyData(m_connection, buffer.data(), static_cast<int>(buffer.size())) == 1;
      buffer.clear();
      if (!sent) break;
    }
  }
  if (sent && !buffer.empty())
    sent = PQputCopyData(m_connection, buffer.data(), static_cast<int>(buffer.size())) == 1;
  PQputCopyEnd(m_connection, sent ? nullptr : "the client stopped sending");
  // The outcome of COPY comes after its end; drain every result.
  status = DbStatus();
  while (PGresult* result = PQgetResult(m_connection)) {
    DbStatus one = Consume(result, context);
    if (status && !one) status = one;
  }
  if (status && !sent) status = ToStatus(m_connection, nullptr, context);
  return status;
}

DbStatus PgDriver::Listen(const vqString& channel) {
  DbStatus status = Exec("LISTEN " + QuoteSqlIdentifier(channel), nullptr);
  if (status) m_listening.push_back(channel);
  return status;
}

DbStatus PgDriver::Notify(const vqString& channel, const vqString& payload) {
  return ExecSqlStatement("SELECT pg_notify(?, ?)", {vqVariant(channel), vqVariant(payload)});
}

DbStatus PgDriver::WaitForNotification(int timeoutMs, vqStlVector<vqString>& payloads) {
  DbStatus status = EnsureConnected("wait for notifications");
  if (!status) return status;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    if (!PQconsumeInput(m_connection)) return ToStatus(m_connection, nullptr, "wait for notifications");
    bool any = false;
    while (PGnotify* notice = PQnotifies(m_connection)) {
      payloads.push_back(notice->extra ? notice->extra : "");
      PQfreemem(notice);
      any = true;
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (any || left.count() <= 0) return DbStatus();
    pollfd socket{PQsocket(m_connection), POLLIN, 0};
    if (::poll(&socket, 1, static_cast<int>(left.count())) < 0 && errno != EINTR) {
      return DbStatus::Failure(DbConnection, "wait for notifications: poll failed");
    }
  }
}

}  // namespace vqlm::postgres

VQ_MODULE_ENTRY vqlm::iDbDriver* CreateDriver() { return new vqlm::postgres::PgDriver(); }
