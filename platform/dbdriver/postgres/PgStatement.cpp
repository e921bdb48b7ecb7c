#include "PgStatement.h"

#include <cstdlib>

#include "PgDriver.h"
#include "PgText.h"

namespace vqlm::postgres {

PgStatement::PgStatement(PgDriver& driver, const vqString& sql, int parameterCount)
    : m_driver(driver), m_sql(sql), m_values(static_cast<std::size_t>(parameterCount)) {}

DbStatus PgStatement::CheckIndex(int index) const {
  if (index >= 1 && index <= GetParameterCount()) return DbStatus();
  return DbStatus::Failure(DbMisuse, "bind parameter " + std::to_string(index) + " of \"" + m_sql +
                                         "\": the statement has " +
                                         std::to_string(GetParameterCount()) + " parameters");
}

DbStatus PgStatement::Bind(int index, const vqVariant& value) {
  DbStatus status = CheckIndex(index);
  if (!status) return status;
  Value& slot = m_values[static_cast<std::size_t>(index - 1)];
  slot.isNull = !ParameterText(value, slot.bytes);
  slot.isBinary = false;
  return status;
}

DbStatus PgStatement::BindBlob(int index, const void* data, std::size_t size) {
  DbStatus status = CheckIndex(index);
  if (!status) return status;
  Value& slot = m_values[static_cast<std::size_t>(index - 1)];
  slot.bytes.assign(static_cast<const char*>(data), size);
  slot.isNull = false;
  slot.isBinary = true;  // bytea's binary form is the bytes themselves
  return status;
}

DbStatus PgStatement::Run(const char* what, const std::function<void(const PGresult*)>& onRows,
                         std::int64_t* rowsAffected) {
  vqString name;
  int count = 0;
  DbStatus status = m_driver.PreparedName(m_sql, name, count);
  if (!status) return status;
  std::vector<const char*> values(m_values.size());
  std::vector<int> lengths(m_values.size()), formats(m_values.size());
  for (std::size_t i = 0; i < m_values.size(); ++i) {
    values[i] = m_values[i].isNull ? nullptr : m_values[i].bytes.data();
    lengths[i] = static_cast<int>(m_values[i].bytes.size());
    formats[i] = m_values[i].isBinary ? 1 : 0;
  }
  PGresult* result = PQexecPrepared(m_driver.Connection(), name.c_str(), static_cast<int>(values.size()),
                                    values.data(), lengths.data(), formats.data(), 0);
  if (result && PQresultStatus(result) == PGRES_TUPLES_OK && onRows) {
    try {
      onRows(result);
    } catch (...) {
      PQclear(result);
      throw;
    }
  }
  if (result && rowsAffected) *rowsAffected = std::strtoll(PQcmdTuples(result), nullptr, 10);
  return m_driver.Consume(result, vqString(what) + " \"" + m_sql + "\"");
}

DbStatus PgStatement::Execute(std::int64_t* rowsAffected) { return Run("execute", nullptr, rowsAffected); }

DbStatus PgStatement::Query(ResultSet& out) {
  out.Clear();
  return Run("query", [&](const PGresult* result) { CollectRows(result, out); }, nullptr);
}

namespace {

// One row of a query's result.
class PgRow final : public DbRow {
 public:
  PgRow(const PGresult* result, int row) : m_result(result), m_row(row) {}

  bool IsNull(std::size_t column) const override { return PQgetisnull(m_result, m_row, Column(column)) != 0; }
  std::int64_t GetInt64(std::size_t column) const override {
    std::int64_t value = 0;
    ResultValue(m_result, m_row, Column(column)).ToInt64(value);
    return value;
  }
  std::string_view GetText(std::size_t column) const override {
    return std::string_view(PQgetvalue(m_result, m_row, Column(column)),
                            static_cast<std::size_t>(PQgetlength(m_result, m_row, Column(column))));
  }
  vqVariant GetValue(std::size_t column) const override { return ResultValue(m_result, m_row, Column(column)); }

 private:
  static int Column(std::size_t column) { return static_cast<int>(column); }

  const PGresult* m_result;
  int m_row;
};

}  // namespace

DbStatus PgStatement::QueryEach(const std::function<void(const DbRow&)>& onRow) {
  return Run(
      "query",
      [&](const PGresult* result) {
        for (int r = 0; r < PQntuples(result); ++r) onRow(PgRow(result, r));
      },
      nullptr);
}

void CollectRows(const PGresult* result, ResultSet& out) {
  out.Clear();
  const int columns = PQnfields(result);
  vqStlVector<vqString> names;
  for (int c = 0; c < columns; ++c) names.push_back(PQfname(result, c));
  out.SetColumns(names);
  const int rows = PQntuples(result);
  for (int r = 0; r < rows; ++r) {
    vqStlVector<vqVariant> row;
    row.reserve(static_cast<std::size_t>(columns));
    for (int c = 0; c < columns; ++c) row.push_back(ResultValue(result, r, c));
    out.AddRow(std::move(row));
  }
}

}  // namespace vqlm::postgres
