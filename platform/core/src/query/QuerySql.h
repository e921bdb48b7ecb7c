#pragma once

// Compiling a condition tree to one SQL statement with bound parameters.

#include <vqkudmrt/store/SqlDialect.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqVariant.h>

#include "QueryContext.h"

namespace vqkudm {
class UDMConfiguration;
class UDMQuerySettings;
}  // namespace vqkudm

namespace vqkudm::query {

struct Scope {
  bool allRevisions = false;   // every stored revision, not only the latest
  bool includeDeleted = false;
  bool searchInExcluded = false;
};

struct SqlStatement {
  vqString sql;
  vqStlVector<vqVariant> params;
};

// Whether the tree has a part only memory can decide.
bool NeedsMemory(const Node& node);

// "SELECT r.uid, e.cdef, r.name, e.deleted ..." for the rows `node` selects
// (null: all) in `scope`, ordered by `settings` (may be null) and then by
// identifier; with `countOnly` "SELECT count(*) ..." instead. A tree that
// NeedsMemory must not be given.
SqlStatement CompileSelect(const Node* node, const Scope& scope, const Options& options,
                           const UDMQuerySettings* settings, const UDMConfiguration& schema,
                           const store::SqlDialect& dialect, bool countOnly);

}  // namespace vqkudm::query
