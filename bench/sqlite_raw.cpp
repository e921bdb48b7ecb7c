#include "sqlite_raw.h"

#include <cstdio>
#include <cstdlib>

RawSqlite::RawSqlite(const std::string& file, bool readOnly) {
  const int flags = readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
  if (sqlite3_open_v2(file.c_str(), &m_db, flags, nullptr) != SQLITE_OK) Fail("open");
  // The runtime reads through a memory map too; without it this side would
  // measure a different way of reading the same pages.
  Exec("PRAGMA mmap_size=1073741824");
  if (!readOnly) {
    Exec("PRAGMA journal_mode=WAL");
    Exec("PRAGMA synchronous=FULL");
    Exec("PRAGMA foreign_keys=ON");
  }
}

RawSqlite::~RawSqlite() {
  for (sqlite3_stmt* statement : m_statements) sqlite3_finalize(statement);
  sqlite3_close(m_db);
}

void RawSqlite::Exec(const char* sql) {
  if (sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) Fail(sql);
}

sqlite3_stmt* RawSqlite::Prepare(const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(m_db, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) {
    Fail(sql.c_str());
  }
  m_statements.push_back(statement);
  return statement;
}

void RawSqlite::Run(sqlite3_stmt* statement) {
  if (sqlite3_step(statement) != SQLITE_DONE) Fail(sqlite3_sql(statement));
  sqlite3_reset(statement);
}

namespace {

void ReadCell(sqlite3_stmt* statement, int c, RawCell& cell) {
  cell.type = sqlite3_column_type(statement, c);
  switch (cell.type) {
    case SQLITE_INTEGER: cell.integer = sqlite3_column_int64(statement, c); break;
    case SQLITE_FLOAT: cell.real = sqlite3_column_double(statement, c); break;
    case SQLITE_NULL: break;
    default:
      cell.text.assign(reinterpret_cast<const char*>(sqlite3_column_text(statement, c)),
                       static_cast<std::size_t>(sqlite3_column_bytes(statement, c)));
  }
}

// Whether column `c` of the current row holds what `cell` holds.
bool Same(sqlite3_stmt* statement, int c, const RawCell& cell) {
  if (sqlite3_column_type(statement, c) != cell.type) return false;
  if (cell.type == SQLITE_INTEGER) return sqlite3_column_int64(statement, c) == cell.integer;
  if (cell.type != SQLITE_TEXT) return true;
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, c));
  return cell.text.compare(0, std::string::npos, text, static_cast<std::size_t>(sqlite3_column_bytes(statement, c))) == 0;
}

}  // namespace

std::size_t RawSqlite::ReadAll(sqlite3_stmt* statement, RawRows& rows) {
  rows.clear();
  const int columns = sqlite3_column_count(statement);
  int rc;
  while ((rc = sqlite3_step(statement)) == SQLITE_ROW) {
    std::vector<RawCell>& row = rows.emplace_back(static_cast<std::size_t>(columns));
    for (int c = 0; c < columns; ++c) ReadCell(statement, c, row[static_cast<std::size_t>(c)]);
  }
  if (rc != SQLITE_DONE) Fail(sqlite3_sql(statement));
  sqlite3_reset(statement);
  return rows.size();
}

std::size_t RawSqlite::ReadItems(sqlite3_stmt* statement, int lead, RawItems& items) {
  // RAW_ITEM_COLUMNS: thirteen of the item (r.uid the ninth), four of the attribute.
  constexpr int kItemColumns = 13, kUid = 8;
  items.clear();
  int rc;
  while ((rc = sqlite3_step(statement)) == SQLITE_ROW) {
    bool same = !items.empty() && Same(statement, lead + kUid, items.back().columns[std::size_t(lead + kUid)]);
    for (int c = 0; same && c < lead; ++c) same = Same(statement, c, items.back().columns[std::size_t(c)]);
    if (!same) {
      RawItem& item = items.emplace_back();
      item.columns.resize(std::size_t(lead + kItemColumns));
      for (int c = 0; c < lead + kItemColumns; ++c) ReadCell(statement, c, item.columns[std::size_t(c)]);
    }
    if (sqlite3_column_type(statement, lead + kItemColumns) == SQLITE_NULL) continue;
    std::array<RawCell, 4>& attribute = items.back().attributes.emplace_back();
    for (int c = 0; c < 4; ++c) ReadCell(statement, lead + kItemColumns + c, attribute[std::size_t(c)]);
  }
  if (rc != SQLITE_DONE) Fail(sqlite3_sql(statement));
  sqlite3_reset(statement);
  return items.size();
}

std::string RawSqlite::Summary(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(m_db, sql, -1, &statement, nullptr) != SQLITE_OK) Fail(sql);
  std::string text;
  while (sqlite3_step(statement) == SQLITE_ROW) {
    for (int c = 0; c < sqlite3_column_count(statement); ++c) {
      const unsigned char* value = sqlite3_column_text(statement, c);
      text += value ? reinterpret_cast<const char*>(value) : "NULL";
      text += c + 1 < sqlite3_column_count(statement) ? " | " : "\n";
    }
  }
  sqlite3_finalize(statement);
  return text;
}

void RawSqlite::Fail(const char* what) const {
  std::fprintf(stderr, "raw SQLite: %s: %s\n", what, m_db ? sqlite3_errmsg(m_db) : "no connection");
  std::abort();
}

void BindText(sqlite3_stmt* statement, int index, const std::string& value) {
  sqlite3_bind_text(statement, index, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
}

void BindNull(sqlite3_stmt* statement, int index) { sqlite3_bind_null(statement, index); }
