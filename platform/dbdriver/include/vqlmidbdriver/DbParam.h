#pragma once

// A value on its way into the database that views the caller's memory, so
// that bulk inserts copy nothing between the caller's objects and the
// driver.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include <vqlmidbdriver/vqlmidbdriverApi.h>
#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

namespace vqlm {

struct DbParam {
  enum Kind { Null, Integer, Real, Text };

  Kind kind = Null;
  std::int64_t integer = 0;
  double real = 0;
  std::string_view text;

  static DbParam Of(std::int64_t value) { return {Integer, value, 0, {}}; }
  static DbParam Of(double value) { return {Real, 0, value, {}}; }
  static DbParam Of(std::string_view value) { return {Text, 0, 0, value}; }
  // NULL for the empty text.
  static DbParam TextOrNull(std::string_view value) { return value.empty() ? DbParam() : Of(value); }
  // A value as the drivers bind it: booleans as 1 and 0, a string list as
  // its text form, which `scratch` keeps.
  VQLMIDBDRIVER_API static DbParam Of(const vqVariant& value, vqString& scratch);
};

// Gives row `row` its values, one per column, into `values`. Rows are asked
// for once each, in order; their values must stay valid until the next call
// or the end of the insert.
using DbRowFiller = std::function<void(std::size_t row, DbParam* values)>;

}  // namespace vqlm
