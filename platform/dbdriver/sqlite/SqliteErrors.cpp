#include "SqliteErrors.h"

#include <sqlite3.h>

namespace vqlm::sqlite {

namespace {

DbErrorKind KindOf(int rc) {
  switch (rc & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE: return DbOk;
    case SQLITE_BUSY:
    case SQLITE_LOCKED: return DbBusy;
    case SQLITE_CONSTRAINT: return DbConstraint;
    case SQLITE_CANTOPEN:
    case SQLITE_NOTADB:
    case SQLITE_PERM:
    case SQLITE_READONLY: return DbConnection;
    case SQLITE_MISUSE:
    case SQLITE_RANGE: return DbMisuse;
    default: return DbFailed;
  }
}

}  // namespace

DbStatus ToStatus(sqlite3* db, int rc, const vqString& context) {
  const DbErrorKind kind = KindOf(rc);
  if (kind == DbOk) return DbStatus();
  // The connection's message is about the last call on it only when the code matches.
  vqString reason = db && sqlite3_extended_errcode(db) == rc ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
  return DbStatus::Failure(kind, context + ": " + reason, vqString(), rc);
}

}  // namespace vqlm::sqlite
