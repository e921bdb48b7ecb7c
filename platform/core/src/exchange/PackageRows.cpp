#include "PackageRows.h"

#include <algorithm>

#include "../store/EntityStore.h"

namespace vqkudm::exchange {

vqlm::ResultSet SelectIn(store::EntityStore& store, const vqString& before, const std::vector<vqString>& keys,
                         const vqString& after) {
  constexpr std::size_t kBatch = 500;
  vqlm::ResultSet all;
  for (std::size_t at = 0; at < keys.size(); at += kBatch) {
    vqString sql = before + " (";
    vqStlVector<vqVariant> params;
    for (std::size_t i = at; i < std::min(keys.size(), at + kBatch); ++i) {
      sql += params.empty() ? "?" : ", ?";
      params.emplace_back(keys[i]);
    }
    vqlm::ResultSet rows = store.Select(sql + ")" + after, params);
    if (at == 0) {
      vqStlVector<vqString> columns;
      for (std::size_t c = 0; c < rows.GetColumnCount(); ++c) columns.push_back(rows.GetColumnName(c));
      all.SetColumns(columns);
    }
    for (std::size_t r = 0; r < rows.GetRowCount(); ++r) {
      vqStlVector<vqVariant> row = rows.GetRow(r);
      all.AddRow(std::move(row));
    }
  }
  return all;
}

}  // namespace vqkudm::exchange
