#include <vqutl/vqString.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdlib>

#include <boost/locale/encoding.hpp>
#include <boost/locale/encoding_utf.hpp>
#include <boost/locale/utf.hpp>

namespace {

char AsciiLower(char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; }
char AsciiUpper(char c) { return (c >= 'a' && c <= 'z') ? char(c - 'a' + 'A') : c; }

template <class Int>
bool ParseWhole(const std::string& text, Int& out) {
  Int value{};
  const char* first = text.data();
  const char* last = first + text.size();
  if (first != last && *first == '+') ++first;  // from_chars refuses a leading '+'
  auto [end, ec] = std::from_chars(first, last, value);
  if (ec != std::errc() || end != last || first == last) return false;
  out = value;
  return true;
}

}  // namespace

vqString vqString::FromInt(int value) { return std::to_string(value); }

vqString vqString::FromInt64(std::int64_t value) { return std::to_string(value); }

vqString vqString::FromDouble(double value) {
  char buffer[64];
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return ec == std::errc() ? vqString(buffer, end) : vqString();
}

bool vqString::ToInt(int& out) const { return ParseWhole(*this, out); }

bool vqString::ToInt64(std::int64_t& out) const { return ParseWhole(*this, out); }

bool vqString::ToDouble(double& out) const {
  if (empty() || std::isspace(static_cast<unsigned char>(front()))) return false;
  // strtod rather than from_chars: it accepts the forms people type ("1e3", "+2", "inf").
  errno = 0;
  char* end = nullptr;
  double value = std::strtod(c_str(), &end);
  if (end != c_str() + size() || errno == ERANGE) return false;
  out = value;
  return true;
}

vqString vqString::ToLower() const {
  vqString result(*this);
  std::transform(result.begin(), result.end(), result.begin(), AsciiLower);
  return result;
}

vqString vqString::ToUpper() const {
  vqString result(*this);
  std::transform(result.begin(), result.end(), result.begin(), AsciiUpper);
  return result;
}

int vqString::CompareNoCase(const vqString& other) const {
  const size_t common = std::min(size(), other.size());
  for (size_t i = 0; i < common; ++i) {
    const unsigned char a = AsciiLower((*this)[i]);
    const unsigned char b = AsciiLower(other[i]);
    if (a != b) return a < b ? -1 : 1;
  }
  return size() == other.size() ? 0 : (size() < other.size() ? -1 : 1);
}

bool vqString::StartsWith(const vqString& prefix) const {
  return size() >= prefix.size() && compare(0, prefix.size(), prefix) == 0;
}

bool vqString::EndsWith(const vqString& suffix) const {
  return size() >= suffix.size() && compare(size() - suffix.size(), suffix.size(), suffix) == 0;
}

vqStlVector<vqString> vqString::Split(char separator) const {
  vqStlVector<vqString> parts;
  size_t start = 0;
  for (size_t pos; (pos = find(separator, start)) != npos; start = pos + 1) {
    parts.push_back(substr(start, pos - start));
  }
  parts.push_back(substr(start));
  return parts;
}

vqString vqString::Join(const vqStlVector<vqString>& parts, const vqString& separator) {
  vqString result;
  for (size_t i = 0; i < parts.size(); ++i) {
    if (i) result += separator;
    result += parts[i];
  }
  return result;
}

bool vqString::IsValidUtf8() const {
  // Decoding in place: every value set on an item is checked, and a
  // conversion would allocate a wide copy of each.
  using Utf8 = boost::locale::utf::utf_traits<char>;
  for (const_iterator p = begin(); p != end();) {
    const boost::locale::utf::code_point c = Utf8::decode(p, end());
    if (c == boost::locale::utf::illegal || c == boost::locale::utf::incomplete) return false;
  }
  return true;
}

bool vqString::ToWide(std::wstring& out) const {
  try {
    out = boost::locale::conv::utf_to_utf<wchar_t>(*this, boost::locale::conv::stop);
    return true;
  } catch (const boost::locale::conv::conversion_error&) {
    return false;
  }
}

bool vqString::FromWide(const std::wstring& wide, vqString& out) {
  try {
    out = boost::locale::conv::utf_to_utf<char>(wide, boost::locale::conv::stop);
    return true;
  } catch (const boost::locale::conv::conversion_error&) {
    return false;
  }
}

bool vqString::FromEncoding(const std::string& bytes, const char* charset, vqString& out) {
  if (!charset) return false;
  try {
    out = boost::locale::conv::to_utf<char>(bytes, charset, boost::locale::conv::stop);
    return true;
  } catch (const boost::locale::conv::conversion_error&) {
    return false;
  } catch (const boost::locale::conv::invalid_charset_error&) {
    return false;
  }
}
