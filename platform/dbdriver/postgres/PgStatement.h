#pragma once

#include <vqlmidbdriver/iDbDriver.h>

#include <libpq-fe.h>

namespace vqlm::postgres {

class PgDriver;

// A statement of a PgDriver: its SQL and its bound values. The server-side
// statement belongs to the driver's cache and is looked up at each execution.
class PgStatement final : public iDbStatement {
 public:
  PgStatement(PgDriver& driver, const vqString& sql, int parameterCount);

  const vqString& GetSql() const override { return m_sql; }
  int GetParameterCount() const override { return static_cast<int>(m_values.size()); }
  DbStatus Bind(int index, const vqVariant& value) override;
  DbStatus BindBlob(int index, const void* data, std::size_t size) override;
  DbStatus Execute(std::int64_t* rowsAffected) override;
  DbStatus Query(ResultSet& out) override;
  DbStatus QueryEach(const std::function<void(const DbRow&)>& onRow) override;

 private:
  struct Value {
    vqString bytes;
    bool isNull = true;
    bool isBinary = false;
  };

  DbStatus CheckIndex(int index) const;
  // `onRows`, when given, reads the rows of a query's result.
  DbStatus Run(const char* what, const std::function<void(const PGresult*)>& onRows, std::int64_t* rowsAffected);

  PgDriver& m_driver;
  vqString m_sql;
  std::vector<Value> m_values;
};

// Copies the rows of a result into a result set.
void CollectRows(const PGresult* result, ResultSet& out);

}  // namespace vqlm::postgres
