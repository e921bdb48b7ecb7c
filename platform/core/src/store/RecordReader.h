#pragma once

// Records built from rows of a group, a number, a count and then
// UDM_RECORD_COLUMNS (see RecordColumns.h), one attribute per row, as the
// rows are read: the columns a record's rows repeat are read once.

#include <vector>

#include <vqlmidbdriver/DbRow.h>

#include "EntityStore.h"

namespace vqkudm::store {

class RecordReader {
 public:
  // Into `linked`, with the leading columns as group, level and uses, or else
  // into `records`.
  RecordReader(std::vector<LinkedRecord>* linked, std::vector<RevisionRecord>* records)
      : m_linked(linked), m_records(records) {}

  // The rows of one record are consecutive and share the group, the number
  // and the revision.
  void Add(const vqlm::DbRow& row);

 private:
  std::vector<LinkedRecord>* m_linked;
  std::vector<RevisionRecord>* m_records;
  RevisionRecord* m_current = nullptr;
};

}  // namespace vqkudm::store
