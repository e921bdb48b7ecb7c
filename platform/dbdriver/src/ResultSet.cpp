#include <vqlmidbdriver/ResultSet.h>

namespace vqlm {

void ResultSet::Clear() {
  m_columns.clear();
  m_rows.clear();
}

int ResultSet::GetColumnIndex(const vqString& name) const {
  for (std::size_t i = 0; i < m_columns.size(); ++i) {
    if (m_columns[i] == name) return static_cast<int>(i);
  }
  return -1;
}

vqStlVector<vqString> ResultSet::GetColumnTexts(std::size_t column) const {
  vqStlVector<vqString> texts;
  texts.reserve(m_rows.size());
  for (const auto& row : m_rows) texts.push_back(row.at(column).ToString());
  return texts;
}

const vqVariant& ResultSet::GetValue(std::size_t row, const vqString& column) const {
  static const vqVariant kNull;
  const int index = GetColumnIndex(column);
  return index < 0 ? kNull : GetValue(row, static_cast<std::size_t>(index));
}

}  // namespace vqlm
