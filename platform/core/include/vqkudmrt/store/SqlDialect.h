#pragma once

// The differences between the SQL of the databases the store runs on, kept
// in one small object so that the store's code paths are the same for all.

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqString.h>

namespace vqkudm::store {

struct VQKUDMRT_API SqlDialect {
  vqString name;               // "sqlite", "postgres"
  vqString bigintType;         // 64-bit integer column
  vqString realType;           // double column
  vqString blobType;           // bytes column
  vqString serialPrimaryKey;   // an auto-numbered 64-bit primary key column definition
  // Statement run first in a schema migration's transaction so that two
  // processes opening a new repository at once migrate it one after the other.
  vqString migrationLock;
  // Statement with one text parameter taking a lock on that key until the
  // transaction ends, so that concurrent writers checking the same unique
  // value go one after the other. Empty where writers never overlap.
  vqString keyLock;
  // Statement run before appending to the change log so that entries become
  // visible in the order of their sequence numbers. Empty where writers never overlap.
  vqString changeLogLock;
  // Appended to a text column so that comparisons and sorting follow byte
  // order, as they do in memory.
  vqString textCollation;
  // Around a text expression: folds ASCII letters to lower case, nothing else.
  vqString foldOpen, foldClose;
  // Wildcard matching of * and ?: GLOB (as is) or LIKE (translated to % and _).
  bool matchWithGlob = false;
  // Before an ORDER BY term to have the rows sorted rather than read in the
  // order of an index: without statistics SQLite would rather walk a whole
  // index than sort a few rows a narrower index finds.
  vqString sortOnly;

  static const SqlDialect& Sqlite();
  static const SqlDialect& Postgres();
  // The dialect of a driver by its name; null for an unknown driver.
  static const SqlDialect* ForDriver(const vqString& driverName);
};

}  // namespace vqkudm::store
