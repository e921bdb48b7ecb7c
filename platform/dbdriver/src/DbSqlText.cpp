#include <vqlmidbdriver/DbSqlText.h>

namespace vqlm {

vqString QuoteSqlIdentifier(const vqString& name) {
  vqString quoted = "\"";
  for (char c : name) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + "\"";
}

DbStatus BulkTarget(const vqString& table, const vqStlVector<vqString>& columns, vqString& out) {
  if (columns.empty())
    return DbStatus::Failure(DbMisuse, "bulk insert into " + table + ": no columns");
  out = QuoteSqlIdentifier(table) + " (";
  for (std::size_t i = 0; i < columns.size(); ++i)
    out += (i ? "," : "") + QuoteSqlIdentifier(columns[i]);
  out += ")";
  return DbStatus();
}

DbStatus CheckBulkRows(const vqString& table, const vqStlVector<vqString>& columns,
                       const std::vector<vqStlVector<vqVariant>>& rows) {
  for (std::size_t r = 0; r < rows.size(); ++r) {
    if (rows[r].size() != columns.size()) {
      return DbStatus::Failure(DbMisuse, "bulk insert into " + table + ": row " +
                                             std::to_string(r) + " has " +
                                             std::to_string(rows[r].size()) + " values for " +
                                             std::to_string(columns.size()) + " columns");
    }
  }
  return DbStatus();
}

}  // namespace vqlm
