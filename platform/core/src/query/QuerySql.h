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

enum class Shape {
  Rows,     // "SELECT r.uid, e.cdef, r.name, e.deleted ..."
  Count,    // "SELECT count(*) ..."
  Records,  // every column of the revisions with one attribute per row, for EntityStore::SelectRecords
};

// The statement of `shape` for the revisions `node` selects (null: all) in
// `scope`, ordered by `settings` (may be null) and then by identifier. A tree
// that NeedsMemory must not be given.
SqlStatement CompileSelect(const Node* node, const Scope& scope, const Options& options,
                           const UDMQuerySettings* settings, const UDMConfiguration& schema,
                           const store::SqlDialect& dialect, Shape shape);

}  // namespace vqkudm::query
