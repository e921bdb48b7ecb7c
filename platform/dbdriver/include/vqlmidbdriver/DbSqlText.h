#pragma once

// SQL text helpers that every driver shares.

#include <vector>

#include <vqlmidbdriver/DbStatus.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqVariant.h>

namespace vqlm {

// `name` as a double-quoted SQL identifier.
VQLMIDBDRIVER_API vqString QuoteSqlIdentifier(const vqString& name);

// Checks the shape of a bulk insert before anything is written: at least one
// column and one value per column in every row (DbMisuse naming the row).
VQLMIDBDRIVER_API DbStatus CheckBulkRows(const vqString& table, const vqStlVector<vqString>& columns,
                                         const std::vector<vqStlVector<vqVariant>>& rows);

}  // namespace vqlm
