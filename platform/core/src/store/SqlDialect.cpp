#include <vqkudmrt/store/SqlDialect.h>

namespace vqkudm::store {

const SqlDialect& SqlDialect::Sqlite() {
  // BEGIN IMMEDIATE already holds the write lock for the whole transaction.
  // lower() folds ASCII only; LIKE would fold case too, GLOB does not.
  static const SqlDialect dialect{"sqlite", "INTEGER", "REAL", "BLOB",
                                  "INTEGER PRIMARY KEY AUTOINCREMENT", "", "", "", "", "lower(", ")", true, "+"};
  return dialect;
}

const SqlDialect& SqlDialect::Postgres() {
  static const SqlDialect dialect{"postgres", "BIGINT", "DOUBLE PRECISION", "BYTEA",
                                  "BIGSERIAL PRIMARY KEY",
                                  "SELECT pg_advisory_xact_lock(7364529181)",
                                  "SELECT pg_advisory_xact_lock(73645, hashtext(?))",
                                  // A sequence number is taken at insert but seen at commit:
                                  // without this a reader could pass over a later-committed
                                  // lower number for good.
                                  "SELECT pg_advisory_xact_lock(7364529182)",
                                  " COLLATE \"C\"",
                                  "translate(",
                                  ", 'ABCDEFGHIJKLMNOPQRSTUVWXYZ', 'abcdefghijklmnopqrstuvwxyz')",
                                  false, ""};
  return dialect;
}

const SqlDialect* SqlDialect::ForDriver(const vqString& driverName) {
  if (driverName == Sqlite().name) return &Sqlite();
  if (driverName == Postgres().name) return &Postgres();
  return nullptr;
}

}  // namespace vqkudm::store
