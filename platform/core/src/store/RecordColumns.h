#pragma once

// The columns and joins that read an entity with its latest revision and one
// attribute per row, for RecordReader. A statement selects three leading
// columns (a group, a number and a count) before them.

#define UDM_RECORD_COLUMNS                                                                     \
  " e.dmid, e.cdef, e.class, e.latest_rev, e.deleted, e.created_by, e.created_time,"          \
  " r.uid, r.name, r.modified_by, r.modified_time, r.comment,"                                 \
  " a.name, a.type, a.text_value, a.num_value, e.branch_from"
#define UDM_RECORD_JOINS                                                                       \
  " JOIN udm_revision r ON r.dmid = e.dmid AND r.revision = e.latest_rev AND r.state = 0"      \
  " LEFT JOIN udm_attribute a ON a.uid = r.uid"
