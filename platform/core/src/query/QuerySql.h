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
  // An index of the condition finds the candidates; see KeyPart.
  bool narrowed = false;
};

// Whether the tree has a part only memory can decide.
bool NeedsMemory(const Node& node);

enum class Shape {
  Rows,     // "SELECT r.uid, e.cdef, r.name, e.deleted ..."
  Count,    // "SELECT count(*) ..."
  Records,  // every column of the revisions with one attribute per row, for EntityStore::SelectRecords
};

// Revisions with the first sort key's attribute come first, in its order,
// then those without it. A page read in two parts, one per side, has the
// first part read from the attribute's index instead of sorting every match;
// worth it unless the condition is `narrowed`, when sorting the few matches
// costs less than walking that index past all that fail the condition.
enum class KeyPart { All, WithFirstKey, WithoutFirstKey };

// Whether `settings` sort first by an attribute, so that KeyPart applies.
bool FirstKeyIsAttribute(const UDMQuerySettings* settings);

// The statement of `shape` for the revisions `node` selects (null: all) in
// `scope` and `part`, ordered by `settings` (may be null) and then by
// identifier. A tree that NeedsMemory must not be given.
SqlStatement CompileSelect(const Node* node, const Scope& scope, const Options& options,
                           const UDMQuerySettings* settings, const UDMConfiguration& schema,
                           const store::SqlDialect& dialect, Shape shape, KeyPart part = KeyPart::All);

}  // namespace vqkudm::query
