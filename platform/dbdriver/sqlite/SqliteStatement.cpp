#include "SqliteStatement.h"

#include <sqlite3.h>

#include "SqliteErrors.h"

namespace vqlm::sqlite {

SqliteStatement::SqliteStatement(sqlite3* db, sqlite3_stmt* statement, const vqString& sql)
    : m_db(db), m_statement(statement), m_sql(sql) {}

SqliteStatement::~SqliteStatement() { sqlite3_finalize(m_statement); }

int SqliteStatement::GetParameterCount() const { return sqlite3_bind_parameter_count(m_statement); }

DbStatus SqliteStatement::Failed(int rc, const char* what) const {
  return ToStatus(m_db, rc, vqString(what) + " \"" + m_sql + "\"");
}

DbStatus SqliteStatement::Bind(int index, const vqVariant& value) {
  vqString scratch;
  return BindParam(index, DbParam::Of(value, scratch), SQLITE_TRANSIENT);
}

DbStatus SqliteStatement::BindView(int index, const DbParam& value) {
  return BindParam(index, value, SQLITE_STATIC);
}

DbStatus SqliteStatement::BindParam(int index, const DbParam& value, void (*textLifetime)(void*)) {
  int rc = SQLITE_OK;
  switch (value.kind) {
    case DbParam::Null:
      rc = sqlite3_bind_null(m_statement, index);
      break;
    case DbParam::Integer:
      rc = sqlite3_bind_int64(m_statement, index, value.integer);
      break;
    case DbParam::Real:
      rc = sqlite3_bind_double(m_statement, index, value.real);
      break;
    case DbParam::Text:
      // A null pointer would bind NULL, not the empty text.
      rc = sqlite3_bind_text64(m_statement, index, value.text.data() ? value.text.data() : "",
                               value.text.size(), textLifetime, SQLITE_UTF8);
      break;
  }
  return rc == SQLITE_OK ? DbStatus()
                         : Failed(rc, ("bind parameter " + std::to_string(index) + " of").c_str());
}

DbStatus SqliteStatement::BindBlob(int index, const void* data, std::size_t size) {
  const int rc = sqlite3_bind_blob64(m_statement, index, data, size, SQLITE_TRANSIENT);
  return rc == SQLITE_OK ? DbStatus() : Failed(rc, ("bind blob " + std::to_string(index) + " of").c_str());
}

DbStatus SqliteStatement::Execute(std::int64_t* rowsAffected) {
  int rc;
  while ((rc = sqlite3_step(m_statement)) == SQLITE_ROW) {
  }
  sqlite3_reset(m_statement);
  if (rc != SQLITE_DONE) return Failed(rc, "execute");
  if (rowsAffected) *rowsAffected = sqlite3_changes64(m_db);
  return DbStatus();
}

namespace {

vqVariant ColumnValue(sqlite3_stmt* statement, int column) {
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER: return vqVariant(static_cast<std::int64_t>(sqlite3_column_int64(statement, column)));
    case SQLITE_FLOAT: return vqVariant(sqlite3_column_double(statement, column));
    case SQLITE_TEXT:
    case SQLITE_BLOB: {
      // Blob first: for text it converts nothing and gives the bytes as stored.
      const void* bytes = sqlite3_column_blob(statement, column);
      const int size = sqlite3_column_bytes(statement, column);
      if (size == 0) return vqVariant(vqString());
      return vqVariant(vqString(static_cast<const char*>(bytes), static_cast<std::size_t>(size)));
    }
    default: return vqVariant();
  }
}

// The current row of a stepped statement.
class SqliteRow final : public DbRow {
 public:
  explicit SqliteRow(sqlite3_stmt* statement) : m_statement(statement) {}

  bool IsNull(std::size_t column) const override {
    return sqlite3_column_type(m_statement, static_cast<int>(column)) == SQLITE_NULL;
  }
  std::int64_t GetInt64(std::size_t column) const override {
    return sqlite3_column_int64(m_statement, static_cast<int>(column));
  }
  std::string_view GetText(std::size_t column) const override {
    // Blob first, as in ColumnValue: the bytes as stored, no conversion.
    const void* bytes = sqlite3_column_blob(m_statement, static_cast<int>(column));
    const int size = sqlite3_column_bytes(m_statement, static_cast<int>(column));
    return size > 0 ? std::string_view(static_cast<const char*>(bytes), static_cast<std::size_t>(size))
                    : std::string_view();
  }
  vqVariant GetValue(std::size_t column) const override { return ColumnValue(m_statement, static_cast<int>(column)); }

 private:
  sqlite3_stmt* m_statement;
};

}  // namespace

DbStatus SqliteStatement::QueryEach(const std::function<void(const DbRow&)>& onRow) {
  // Reset however the reading ends, so the statement holds no read lock.
  struct Reset {
    sqlite3_stmt* statement;
    ~Reset() { sqlite3_reset(statement); }
  } reset{m_statement};
  const SqliteRow row(m_statement);
  int rc;
  while ((rc = sqlite3_step(m_statement)) == SQLITE_ROW) onRow(row);
  return rc == SQLITE_DONE ? DbStatus() : Failed(rc, "query");
}

DbStatus SqliteStatement::Query(ResultSet& out) {
  out.Clear();
  const int columns = sqlite3_column_count(m_statement);
  vqStlVector<vqString> names;
  for (int c = 0; c < columns; ++c) names.push_back(sqlite3_column_name(m_statement, c));
  out.SetColumns(names);
  int rc;
  while ((rc = sqlite3_step(m_statement)) == SQLITE_ROW) {
    vqStlVector<vqVariant> row;
    row.reserve(columns);
    for (int c = 0; c < columns; ++c) row.push_back(ColumnValue(m_statement, c));
    out.AddRow(std::move(row));
  }
  sqlite3_reset(m_statement);
  return rc == SQLITE_DONE ? DbStatus() : Failed(rc, "query");
}

}  // namespace vqlm::sqlite
