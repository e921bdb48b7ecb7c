#pragma once

#include <vqlmidbdriver/iDbDriver.h>

struct sqlite3;
struct sqlite3_stmt;

namespace vqlm::sqlite {

class SqliteStatement final : public iDbStatement {
 public:
  SqliteStatement(sqlite3* db, sqlite3_stmt* statement, const vqString& sql);
  ~SqliteStatement() override;

  const vqString& GetSql() const override { return m_sql; }
  int GetParameterCount() const override;
  DbStatus Bind(int index, const vqVariant& value) override;
  DbStatus BindBlob(int index, const void* data, std::size_t size) override;
  DbStatus Execute(std::int64_t* rowsAffected) override;
  DbStatus Query(ResultSet& out) override;
  DbStatus QueryEach(const std::function<void(const DbRow&)>& onRow) override;
  // Binds without copying: the text must stay valid until the statement has run.
  DbStatus BindView(int index, const DbParam& value);

 private:
  // `textLifetime`: SQLITE_STATIC to bind a view, SQLITE_TRANSIENT for a copy.
  DbStatus BindParam(int index, const DbParam& value, void (*textLifetime)(void*));
  DbStatus Failed(int rc, const char* what) const;

  sqlite3* m_db;
  sqlite3_stmt* m_statement;
  vqString m_sql;
};

}  // namespace vqlm::sqlite
