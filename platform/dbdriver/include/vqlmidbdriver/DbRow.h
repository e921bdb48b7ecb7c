#pragma once

// One row of a query as it is read, for readers that build their own objects
// from the columns rather than keep a ResultSet: no value is copied until
// the reader asks for it.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <vqlmidbdriver/vqlmidbdriverApi.h>
#include <vqutl/vqVariant.h>

namespace vqlm {

class ResultSet;

// Valid only while the reader is called with it. Columns count from 0.
class VQLMIDBDRIVER_API DbRow {
 public:
  virtual ~DbRow();

  virtual bool IsNull(std::size_t column) const = 0;
  // 0 for NULL.
  virtual std::int64_t GetInt64(std::size_t column) const = 0;
  // The text of a text column, "" for NULL; valid until the next row.
  virtual std::string_view GetText(std::size_t column) const = 0;
  // The value as a ResultSet holds it.
  virtual vqVariant GetValue(std::size_t column) const = 0;
};

// A row of a ResultSet seen as a DbRow.
class VQLMIDBDRIVER_API ResultSetRow final : public DbRow {
 public:
  ResultSetRow(const ResultSet& rows, std::size_t row) : m_rows(rows), m_row(row) {}

  bool IsNull(std::size_t column) const override;
  std::int64_t GetInt64(std::size_t column) const override;
  std::string_view GetText(std::size_t column) const override;
  vqVariant GetValue(std::size_t column) const override;

 private:
  const ResultSet& m_rows;
  std::size_t m_row;
};

}  // namespace vqlm
