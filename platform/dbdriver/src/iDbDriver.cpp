#include <vqlmidbdriver/iDbDriver.h>

namespace vqlm {

iDbStatement::~iDbStatement() = default;
iDbDriver::~iDbDriver() = default;

DbStatus iDbStatement::BindAll(const vqStlVector<vqVariant>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    DbStatus status = Bind(static_cast<int>(i + 1), values[i]);
    if (!status) return status;
  }
  return DbStatus();
}

DbStatus iDbDriver::ExecSqlQuery(const vqString& sql, const vqStlVector<vqVariant>& params,
                                 ResultSet& out) {
  std::unique_ptr<iDbStatement> statement;
  DbStatus status = Prepare(sql, statement);
  if (status) status = statement->BindAll(params);
  if (status) status = statement->Query(out);
  return status;
}

DbStatus iDbDriver::ExecSqlStatement(const vqString& sql, const vqStlVector<vqVariant>& params,
                                     std::int64_t* rowsAffected) {
  std::unique_ptr<iDbStatement> statement;
  DbStatus status = Prepare(sql, statement);
  if (status) status = statement->BindAll(params);
  if (status) status = statement->Execute(rowsAffected);
  return status;
}

}  // namespace vqlm
