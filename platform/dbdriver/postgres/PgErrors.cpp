#include "PgErrors.h"

#include <cctype>

namespace vqlm::postgres {

namespace {

DbErrorKind KindOfSqlState(const vqString& state) {
  if (state.size() != 5) return DbFailed;
  const vqString cls = state.substr(0, 2);
  if (cls == "23") return DbConstraint;
  if (cls == "08" || state == "57P01" || state == "57P02" || state == "57P03" || cls == "3D")
    return DbConnection;
  if (cls == "28") return DbAuthentication;
  if (state == "40001" || state == "40P01") return DbSerialization;
  if (state == "55P03" || state == "57014") return DbBusy;
  if (cls == "42" || cls == "26" || cls == "34" || state == "25P02") return DbMisuse;
  return DbFailed;
}

// libpq's messages end in a newline and may carry a "DETAIL" line and tabs:
// keep them on one line so that a message reads well inside a longer one.
vqString OneLine(const char* message) {
  vqString text;
  for (const char* c = message ? message : ""; *c; ++c) {
    const bool space = std::isspace(static_cast<unsigned char>(*c));
    if (!space) text += *c;
    else if (!text.empty() && text.back() != ' ') text += ' ';
  }
  if (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

}  // namespace

DbStatus ToStatus(PGconn* connection, const PGresult* result, const vqString& context) {
  const ExecStatusType status = result ? PQresultStatus(result) : PGRES_FATAL_ERROR;
  if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK || status == PGRES_COPY_IN)
    return DbStatus();
  const char* state = result ? PQresultErrorField(result, PG_DIAG_SQLSTATE) : nullptr;
  const vqString sqlState = state ? state : "";
  vqString reason = OneLine(result ? PQresultErrorMessage(result) : nullptr);
  if (reason.empty()) reason = OneLine(PQerrorMessage(connection));
  DbErrorKind kind = KindOfSqlState(sqlState);
  // A lost connection has no SQLSTATE; the connection's state tells.
  if (PQstatus(connection) == CONNECTION_BAD) kind = DbConnection;
  return DbStatus::Failure(kind, context + ": " + reason, sqlState);
}

DbStatus ConnectFailure(PGconn* connection) {
  // Connection errors come as text only; with verbose errors the server's
  // SQLSTATE stands in it after the severity: "FATAL:  28P01: password ...".
  vqString text = PQerrorMessage(connection);
  vqString sqlState;
  const std::size_t severityEnd = text.find(":  ");
  if (severityEnd != vqString::npos && severityEnd + 8 < text.size() && text[severityEnd + 8] == ':') {
    const vqString code = text.substr(severityEnd + 3, 5);
    bool valid = true;
    for (char c : code) valid = valid && (std::isdigit(static_cast<unsigned char>(c)) || std::isupper(static_cast<unsigned char>(c)));
    if (valid) {
      sqlState = code;
      text.erase(severityEnd + 3, 7);
    }
  }
  const std::size_t location = text.find("\nLOCATION:");
  if (location != vqString::npos) text.erase(location);
  const DbErrorKind kind = sqlState.empty() ? DbConnection : KindOfSqlState(sqlState);
  return DbStatus::Failure(kind == DbFailed ? DbConnection : kind, "connect: " + OneLine(text.c_str()),
                           sqlState.empty() ? vqString("08001") : sqlState);
}

}  // namespace vqlm::postgres
