#pragma once

#include <cstddef>

#include <vqlmidbdriver/vqlmidbdriverApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

namespace vqlm {

// The rows of one query, held in memory. SQL NULL is an empty vqVariant;
// integers are 64-bit, reals doubles, text and blobs strings (blobs hold
// their raw bytes).
class VQLMIDBDRIVER_API ResultSet {
 public:
  void SetColumns(const vqStlVector<vqString>& names) { m_columns = names; }
  void AddRow(vqStlVector<vqVariant>&& row) { m_rows.push_back(std::move(row)); }
  void Clear();

  std::size_t GetColumnCount() const { return m_columns.size(); }
  std::size_t GetRowCount() const { return m_rows.size(); }
  bool IsEmpty() const { return m_rows.empty(); }
  const vqString& GetColumnName(std::size_t column) const { return m_columns.at(column); }
  // Index of a column by exact name, or -1.
  int GetColumnIndex(const vqString& name) const;

  const vqStlVector<vqVariant>& GetRow(std::size_t row) const { return m_rows.at(row); }
  const vqVariant& GetValue(std::size_t row, std::size_t column) const { return m_rows.at(row).at(column); }
  // Every row's value in `column` as text (NULL as ""), in row order.
  vqStlVector<vqString> GetColumnTexts(std::size_t column) const;
  // The value in the named column; an empty variant when there is no such column.
  const vqVariant& GetValue(std::size_t row, const vqString& column) const;

 private:
  vqStlVector<vqString> m_columns;
  vqStlVector<vqStlVector<vqVariant>> m_rows;
};

}  // namespace vqlm
