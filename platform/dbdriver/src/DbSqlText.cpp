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

DbStatus CheckBulkRows(const vqString& table, const vqStlVector<vqString>& columns,
                       const std::vector<vqStlVector<vqVariant>>& rows) {
  const vqString context = "bulk insert into " + table;
  if (columns.empty()) return DbStatus::Failure(DbMisuse, context + ": no columns");
  for (std::size_t r = 0; r < rows.size(); ++r) {
    if (rows[r].size() != columns.size()) {
      return DbStatus::Failure(DbMisuse, context + ": row " + std::to_string(r) + " has " +
                                             std::to_string(rows[r].size()) + " values for " +
                                             std::to_string(columns.size()) + " columns");
    }
  }
  return DbStatus();
}

}  // namespace vqlm
