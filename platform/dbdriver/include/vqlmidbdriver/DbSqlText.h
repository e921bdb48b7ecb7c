#pragma once

// SQL text helpers that every driver shares.

#include <vector>

#include <vqlmidbdriver/DbStatus.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqVariant.h>

namespace vqlm {

// `name` as a double-quoted SQL identifier.
VQLMIDBDRIVER_API vqString QuoteSqlIdentifier(const vqString& name);

// `"table" ("a","b",…)`, the target of a bulk insert; DbMisuse without columns.
VQLMIDBDRIVER_API DbStatus BulkTarget(const vqString& table, const vqStlVector<vqString>& columns, vqString& out);

// Checks before anything is written that every row of a bulk insert has one
// value per column (DbMisuse naming the row).
VQLMIDBDRIVER_API DbStatus CheckBulkRows(const vqString& table, const vqStlVector<vqString>& columns,
                                         const std::vector<vqStlVector<vqVariant>>& rows);

}  // namespace vqlm
