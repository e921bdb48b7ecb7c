#include <vqlmidbdriver/DbRow.h>

#include <vqlmidbdriver/ResultSet.h>

namespace vqlm {

DbRow::~DbRow() = default;

bool ResultSetRow::IsNull(std::size_t column) const { return m_rows.GetValue(m_row, column).IsEmpty(); }

std::int64_t ResultSetRow::GetInt64(std::size_t column) const {
  std::int64_t value = 0;
  m_rows.GetValue(m_row, column).ToInt64(value);
  return value;
}

std::string_view ResultSetRow::GetText(std::size_t column) const {
  const vqString* text = m_rows.GetValue(m_row, column).GetString();
  return text ? std::string_view(*text) : std::string_view();
}

vqVariant ResultSetRow::GetValue(std::size_t column) const { return m_rows.GetValue(m_row, column); }

}  // namespace vqlm
