#include <vqlmidbdriver/iDbDriver.h>

#include <vqlmidbdriver/DbSqlText.h>

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

DbStatus iDbStatement::QueryEach(const std::function<void(const DbRow&)>& onRow) {
  ResultSet rows;
  const DbStatus status = Query(rows);
  if (!status) return status;
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) onRow(ResultSetRow(rows, i));
  return status;
}

namespace {
DbStatus NoNotifications(const iDbDriver& driver) {
  return DbStatus::Failure(DbMisuse, "the " + driver.GetDriverName() + " driver has no notifications");
}
}  // namespace

bool iDbDriver::HasNotifications() const { return false; }
DbStatus iDbDriver::Listen(const vqString&) { return NoNotifications(*this); }
DbStatus iDbDriver::Notify(const vqString&, const vqString&) { return NoNotifications(*this); }
DbStatus iDbDriver::WaitForNotification(int, vqStlVector<vqString>&) { return NoNotifications(*this); }

DbParam DbParam::Of(const vqVariant& value, vqString& scratch) {
  switch (value.GetType()) {
    case vqVariant::Empty:
      return DbParam();
    case vqVariant::Bool:
      return Of(std::int64_t(*value.GetBool() ? 1 : 0));
    case vqVariant::Int:
      return Of(std::int64_t(*value.GetInt()));
    case vqVariant::Int64:
      return Of(*value.GetInt64());
    case vqVariant::Double:
      return Of(*value.GetDouble());
    case vqVariant::String:
      return Of(std::string_view(*value.GetString()));
    case vqVariant::StringList:
      scratch = value.ToString();
      return Of(std::string_view(scratch));
  }
  return DbParam();
}

DbStatus iDbDriver::BulkInsert(const vqString& table, const vqStlVector<vqString>& columns,
                               const std::vector<vqStlVector<vqVariant>>& rows) {
  const DbStatus status = CheckBulkRows(table, columns, rows);
  if (!status) return status;
  std::vector<vqString> scratch(columns.size());
  return BulkInsertEach(table, columns, rows.size(), [&](std::size_t row, DbParam* values) {
    for (std::size_t c = 0; c < columns.size(); ++c)
      values[c] = DbParam::Of(rows[row][c], scratch[c]);
  });
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
