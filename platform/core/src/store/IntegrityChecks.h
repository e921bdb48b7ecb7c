#pragma once

// The repository's invariants as SQL: each check lists the rows that break
// one. Read only.

#include <functional>
#include <vector>

#include <vqkudmrt/UDMIntegrity.h>

#include "EntityStore.h"

namespace vqkudm::store {

// The database's own check (SQLite's integrity and foreign-key checks;
// PostgreSQL checks its pages and keys itself), then the rows whose
// references lead nowhere: revisions, attributes, uses, references,
// classifications, relations, file records and locks.
std::vector<UDMIntegrityFinding> CheckRecords(EntityStore& store);

// One file record that keeps a content, with the revision it belongs to.
struct ContentUse {
  vqString key;
  std::int64_t size = 0;
  vqString uid;
  vqString name;
};
// Every file record that keeps a content, ordered by key.
std::vector<ContentUse> ContentUses(EntityStore& store);

// How many rows `from` (a table, with a condition) holds.
std::uint64_t CountRows(EntityStore& store, const char* from);

}  // namespace vqkudm::store
