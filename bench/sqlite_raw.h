#pragma once

// A connection of its own on a repository file through the SQLite C API, as
// an application writing its SQL by hand would use it: the baselines of the
// growth and memory benchmarks. Every failure aborts with SQLite's message;
// a baseline that cannot run has nothing to compare.

#include <sqlite3.h>

#include "raw_statements.h"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

// One value as an application keeps it after reading.
struct RawCell {
  int type = SQLITE_NULL;
  sqlite3_int64 integer = 0;
  double real = 0;
  std::string text;
};
using RawRows = std::vector<std::vector<RawCell>>;

// An item as an application reading items keeps it: the leading columns and
// its item columns once, and name, type, text and number of each attribute.
struct RawItem {
  std::vector<RawCell> columns;
  std::vector<std::array<RawCell, 4>> attributes;
};
using RawItems = std::vector<RawItem>;

class RawSqlite {
 public:
  // Read-only, or read-write with the pragmas the runtime's driver sets, so
  // that both sides write with the same durability and read the same way.
  RawSqlite(const std::string& file, bool readOnly);
  ~RawSqlite();
  RawSqlite(const RawSqlite&) = delete;
  RawSqlite& operator=(const RawSqlite&) = delete;

  void Exec(const char* sql);
  // Finalised with the connection.
  sqlite3_stmt* Prepare(const std::string& sql);
  // Steps an INSERT or UPDATE once and resets it.
  void Run(sqlite3_stmt* statement);
  // Steps a query to its end keeping every value of every row; returns the
  // number of rows.
  std::size_t ReadAll(sqlite3_stmt* statement, RawRows& rows);
  // Steps a query of `lead` leading columns and RAW_ITEM_COLUMNS, one
  // attribute per row, to its end; an item starts where the leading columns
  // or the revision change. Returns the number of items.
  std::size_t ReadItems(sqlite3_stmt* statement, int lead, RawItems& items);
  // The rows of `sql` as one text, for comparing two databases.
  std::string Summary(const char* sql);

  [[noreturn]] void Fail(const char* what) const;

 private:
  sqlite3* m_db = nullptr;
  std::vector<sqlite3_stmt*> m_statements;
};

// Binding helpers: SQLITE_TRANSIENT, since callers bind temporaries.
void BindText(sqlite3_stmt* statement, int index, const std::string& value);
void BindNull(sqlite3_stmt* statement, int index);
