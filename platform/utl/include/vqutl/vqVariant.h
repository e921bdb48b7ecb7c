#pragma once

// vqVariant: one attribute or configuration value of one of the runtime's
// value types. Typed access never throws: the Get functions answer null for
// another type, the To functions convert where the conversion is exact.

#include <cstdint>
#include <variant>

#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>
#include <vqutl/vqutlApi.h>

class VQUTL_API vqVariant {
 public:
  enum Type { Empty, Bool, Int, Int64, Double, String, StringList };

  vqVariant() = default;
  vqVariant(bool value) : m_value(value) {}
  vqVariant(int value) : m_value(value) {}
  vqVariant(std::int64_t value) : m_value(value) {}
  vqVariant(double value) : m_value(value) {}
  vqVariant(const char* value) : m_value(vqString(value)) {}
  vqVariant(const std::string& value) : m_value(vqString(value)) {}
  vqVariant(const vqString& value) : m_value(value) {}
  vqVariant(vqString&& value) : m_value(std::move(value)) {}
  vqVariant(const vqStlVector<vqString>& value) : m_value(value) {}

  Type GetType() const { return static_cast<Type>(m_value.index()); }
  bool IsEmpty() const { return GetType() == Empty; }
  // Name of a type as used in messages: "empty", "bool", "int", "int64",
  // "double", "string", "stringlist".
  static const char* TypeName(Type type);

  // The held value if it is of exactly that type, else null.
  const bool* GetBool() const { return std::get_if<bool>(&m_value); }
  const int* GetInt() const { return std::get_if<int>(&m_value); }
  const std::int64_t* GetInt64() const { return std::get_if<std::int64_t>(&m_value); }
  const double* GetDouble() const { return std::get_if<double>(&m_value); }
  const vqString* GetString() const { return std::get_if<vqString>(&m_value); }
  const vqStlVector<vqString>* GetStringList() const {
    return std::get_if<vqStlVector<vqString>>(&m_value);
  }

  // Exact conversions: numbers between numeric types when no value is lost,
  // strings when their whole text parses ("true"/"false"/"1"/"0" for bool).
  // On failure they return false and leave `out` untouched.
  bool ToBool(bool& out) const;
  bool ToInt(int& out) const;
  bool ToInt64(std::int64_t& out) const;
  bool ToDouble(double& out) const;

  // Text form: "" for empty, "true"/"false", decimal numbers (doubles in their
  // shortest round-trip form), strings as they are, list items joined by ";".
  vqString ToString() const;

  // Equal when of the same type and value: 1 and 1.0 differ.
  friend bool operator==(const vqVariant& a, const vqVariant& b) { return a.m_value == b.m_value; }
  friend bool operator!=(const vqVariant& a, const vqVariant& b) { return !(a == b); }

 private:
  std::variant<std::monostate, bool, int, std::int64_t, double, vqString, vqStlVector<vqString>>
      m_value;
};
