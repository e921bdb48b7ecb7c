#pragma once

// Text forms exchanged with the server: SQL with "?" placeholders in
// PostgreSQL's numbered form, parameter values, COPY rows and result values.

#include <vqlmidbdriver/DbParam.h>
#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

#include <libpq-fe.h>

namespace vqlm::postgres {

struct NumberedSql {
  vqString sql;        // "?" replaced by $1, $2, … outside literals and comments
  int parameterCount;  // how many placeholders there were
};
NumberedSql NumberPlaceholders(const vqString& sql);

// The text a value is sent as; false for NULL. Booleans travel as 1/0, as
// the schema stores them in integer columns on every database.
bool ParameterText(const vqVariant& value, vqString& out);

// Appends one value to a row of COPY's text format (tab-separated, "\N" for NULL).
void AppendCopyValue(const DbParam& value, vqString& row);

// A result cell as the driver's value: integers as int64, floating and
// numeric types as double, bytea as its raw bytes, everything else as text.
vqVariant ResultValue(const PGresult* result, int row, int column);

}  // namespace vqlm::postgres
