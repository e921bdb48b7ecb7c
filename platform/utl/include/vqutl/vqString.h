#pragma once

// vqString: a UTF-8 string that is a std::string, so it converts to and from
// std::string and const char* freely and works with every standard algorithm.
// The members added here are the text operations the runtime needs often
// enough to want them in one place.

#include <cstdint>
#include <functional>
#include <string>

#include <vqutl/vqStl.h>
#include <vqutl/vqutlApi.h>

class VQUTL_API vqString : public std::string {
 public:
  using std::string::string;
  vqString() = default;
  // A null pointer gives the empty string rather than undefined behaviour.
  vqString(const char* text) : std::string(text ? text : "") {}
  vqString(const std::string& text) : std::string(text) {}
  vqString(std::string&& text) noexcept : std::string(std::move(text)) {}

  // The text as a std::string, for APIs that accept exactly that type
  // (std::filesystem::path does not take classes derived from it).
  const std::string& str() const { return *this; }

  // Decimal text of a number.
  static vqString FromInt(int value);
  static vqString FromInt64(std::int64_t value);
  // Shortest text that reads back to the same double.
  static vqString FromDouble(double value);

  // Whole-text decimal parses; false (and `out` untouched) on anything else,
  // including blanks, signs on their own and values out of range.
  bool ToInt(int& out) const;
  bool ToInt64(std::int64_t& out) const;
  bool ToDouble(double& out) const;

  // ASCII case folding; bytes of multi-byte UTF-8 sequences are left as they are.
  vqString ToLower() const;
  vqString ToUpper() const;
  // <0, 0, >0 like strcmp, ignoring ASCII case.
  int CompareNoCase(const vqString& other) const;
  bool EqualsNoCase(const vqString& other) const { return CompareNoCase(other) == 0; }

  bool StartsWith(const vqString& prefix) const;
  bool EndsWith(const vqString& suffix) const;
  // Pieces between separators, empty pieces included ("a,,b" gives three).
  vqStlVector<vqString> Split(char separator) const;
  static vqString Join(const vqStlVector<vqString>& parts, const vqString& separator);

  // UTF-8 conversions (Boost.Locale). Invalid input sequences are refused:
  // the functions return false and leave `out` untouched.
  bool IsValidUtf8() const;
  bool ToWide(std::wstring& out) const;
  static bool FromWide(const std::wstring& wide, vqString& out);
  // Text in a named legacy encoding ("ISO-8859-1", "windows-1252", ...) to UTF-8.
  static bool FromEncoding(const std::string& bytes, const char* charset, vqString& out);
};

namespace std {
template <>
struct hash<vqString> {
  size_t operator()(const vqString& text) const noexcept {
    return hash<string>()(text);
  }
};
}  // namespace std
