#include "PgText.h"

#include <charconv>

namespace vqlm::postgres {

namespace {

// Type OIDs of the built-in types (pg_type.h is a server header).
enum : Oid {
  kBoolOid = 16,
  kByteaOid = 17,
  kInt8Oid = 20,
  kInt2Oid = 21,
  kInt4Oid = 23,
  kOidOid = 26,
  kFloat4Oid = 700,
  kFloat8Oid = 701,
  kNumericOid = 1700,
};

}  // namespace

NumberedSql NumberPlaceholders(const vqString& sql) {
  NumberedSql out{vqString(), 0};
  out.sql.reserve(sql.size() + 16);
  for (std::size_t i = 0; i < sql.size(); ++i) {
    const char c = sql[i];
    if (c == '\'' || c == '"') {
      // A quoted literal or identifier; a doubled quote stays inside it.
      const std::size_t end = sql.find(c, i + 1);
      const std::size_t stop = end == vqString::npos ? sql.size() : end + 1;
      out.sql.append(sql, i, stop - i);
      i = stop - 1;
    } else if (c == '-' && i + 1 < sql.size() && sql[i + 1] == '-') {
      const std::size_t end = sql.find('\n', i);
      const std::size_t stop = end == vqString::npos ? sql.size() : end;
      out.sql.append(sql, i, stop - i);
      i = stop - 1;
    } else if (c == '?') {
      out.sql += "$" + std::to_string(++out.parameterCount);
    } else {
      out.sql += c;
    }
  }
  return out;
}

bool ParameterText(const vqVariant& value, vqString& out) {
  switch (value.GetType()) {
    case vqVariant::Empty: return false;
    case vqVariant::Bool: out = *value.GetBool() ? "1" : "0"; return true;
    default: out = value.ToString(); return true;
  }
}

void AppendCopyValue(const DbParam& value, vqString& row) {
  switch (value.kind) {
    case DbParam::Null:
      row += "\\N";
      return;
    case DbParam::Integer: {
      char digits[24];
      row.append(digits, std::to_chars(digits, digits + sizeof digits, value.integer).ptr);
      return;
    }
    // As a bound parameter travels, so that both ways store the same number.
    case DbParam::Real:
      row += vqString::FromDouble(value.real);
      return;
    case DbParam::Text:
      break;
  }
  for (char c : value.text) {
    switch (c) {
      case '\\': row += "\\\\"; break;
      case '\t': row += "\\t"; break;
      case '\n': row += "\\n"; break;
      case '\r': row += "\\r"; break;
      default: row += c;
    }
  }
}

vqVariant ResultValue(const PGresult* result, int row, int column) {
  if (PQgetisnull(result, row, column)) return vqVariant();
  const char* text = PQgetvalue(result, row, column);
  const int length = PQgetlength(result, row, column);
  switch (PQftype(result, column)) {
    case kInt2Oid:
    case kInt4Oid:
    case kInt8Oid:
    case kOidOid: {
      std::int64_t number = 0;
      std::from_chars(text, text + length, number);
      return vqVariant(number);
    }
    case kBoolOid: return vqVariant(static_cast<std::int64_t>(text[0] == 't' ? 1 : 0));
    case kFloat4Oid:
    case kFloat8Oid:
    case kNumericOid: {
      // from_chars ignores the process locale, which may use a decimal comma.
      double number = 0;
      std::from_chars(text, text + length, number);
      return vqVariant(number);
    }
    case kByteaOid: {
      std::size_t size = 0;
      unsigned char* bytes = PQunescapeBytea(reinterpret_cast<const unsigned char*>(text), &size);
      vqVariant value(vqString(reinterpret_cast<const char*>(bytes), size));
      PQfreemem(bytes);
      return value;
    }
    default: return vqVariant(vqString(text, static_cast<std::size_t>(length)));
  }
}

}  // namespace vqlm::postgres
