#pragma once

// The SQL of the hand-written baselines that more than one benchmark runs.

// What makes an item, as the runtime reads it: its entity, its latest stored
// revision and one attribute per row.
#define RAW_ITEM_COLUMNS                                                                   \
  " e.dmid, e.cdef, e.class, e.latest_rev, e.deleted, e.created_by, e.created_time,"      \
  " e.branch_from, r.uid, r.name, r.modified_by, r.modified_time, r.comment,"             \
  " a.name, a.type, a.text_value, a.num_value"
#define RAW_ITEM_JOINS                                                                     \
  " JOIN udm_revision r ON r.dmid = e.dmid AND r.revision = e.latest_rev AND r.state = 0"  \
  " LEFT JOIN udm_attribute a ON a.uid = r.uid"

// Every ancestor of the entity bound first, once per level and group it is
// reached at, nearest first, with how many uses it makes of the level below
// and its item columns: what the runtime's where-used answers.
inline constexpr const char* kRawWhereUsed =
    "WITH RECURSIVE up (dmid, level) AS ("
    "  SELECT ?, 0"
    "  UNION"
    "  SELECT l.parent_dmid, up.level + 1 FROM udm_link l JOIN up ON l.child_dmid = up.dmid"
    "  WHERE l.to_rev IS NULL),"
    " counted (dmid, grp, level, uses) AS ("
    "  SELECT l.parent_dmid, l.grp, up.level + 1, count(*) FROM up"
    "  JOIN udm_link l ON l.child_dmid = up.dmid AND l.to_rev IS NULL"
    "  GROUP BY l.parent_dmid, l.grp, up.level)"
    " SELECT c.level, c.grp, c.uses," RAW_ITEM_COLUMNS
    " FROM counted c JOIN udm_entity e ON e.dmid = c.dmid" RAW_ITEM_JOINS
    " ORDER BY c.level, e.dmid, c.grp";
