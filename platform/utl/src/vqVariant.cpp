#include <vqutl/vqVariant.h>

#include <cmath>
#include <limits>

namespace {

// Doubles hold integers exactly only up to 2^53.
constexpr std::int64_t kExactIntLimit = std::int64_t(1) << 53;
constexpr double kExactDoubleLimit = static_cast<double>(kExactIntLimit);

bool DoubleToInt64(double value, std::int64_t& out) {
  if (!std::isfinite(value) || std::trunc(value) != value ||
      std::fabs(value) > kExactDoubleLimit) {
    return false;
  }
  out = static_cast<std::int64_t>(value);
  return true;
}

}  // namespace

const char* vqVariant::TypeName(Type type) {
  switch (type) {
    case Empty: return "empty";
    case Bool: return "bool";
    case Int: return "int";
    case Int64: return "int64";
    case Double: return "double";
    case String: return "string";
    case StringList: return "stringlist";
  }
  return "unknown";
}

bool vqVariant::ToBool(bool& out) const {
  if (auto b = GetBool()) { out = *b; return true; }
  std::int64_t number;
  if (GetType() != String && ToInt64(number) && (number == 0 || number == 1)) {
    out = number == 1;
    return true;
  }
  if (auto s = GetString()) {
    if (s->EqualsNoCase("true") || *s == "1") { out = true; return true; }
    if (s->EqualsNoCase("false") || *s == "0") { out = false; return true; }
  }
  return false;
}

bool vqVariant::ToInt64(std::int64_t& out) const {
  switch (GetType()) {
    case Int: out = *GetInt(); return true;
    case Int64: out = *GetInt64(); return true;
    case Double: return DoubleToInt64(*GetDouble(), out);
    case String: return GetString()->ToInt64(out);
    default: return false;
  }
}

bool vqVariant::ToInt(int& out) const {
  std::int64_t wide;
  if (!ToInt64(wide) || wide < std::numeric_limits<int>::min() ||
      wide > std::numeric_limits<int>::max()) {
    return false;
  }
  out = static_cast<int>(wide);
  return true;
}

bool vqVariant::ToDouble(double& out) const {
  switch (GetType()) {
    case Int: out = *GetInt(); return true;
    case Int64: {
      const std::int64_t value = *GetInt64();
      if (value > kExactIntLimit || value < -kExactIntLimit) return false;
      out = static_cast<double>(value);
      return true;
    }
    case Double: out = *GetDouble(); return true;
    case String: return GetString()->ToDouble(out);
    default: return false;
  }
}

vqString vqVariant::ToString() const {
  switch (GetType()) {
    case Empty: return vqString();
    case Bool: return *GetBool() ? "true" : "false";
    case Int: return vqString::FromInt(*GetInt());
    case Int64: return vqString::FromInt64(*GetInt64());
    case Double: return vqString::FromDouble(*GetDouble());
    case String: return *GetString();
    case StringList: return vqString::Join(*GetStringList(), ";");
  }
  return vqString();
}
