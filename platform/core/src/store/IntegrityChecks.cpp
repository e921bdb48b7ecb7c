#include "IntegrityChecks.h"

#include <vqkudmrt/store/SqlDialect.h>

namespace vqkudm::store {

namespace {

struct OrphanCheck {
  const char* check;
  // Selects (subject, detail) for every row that breaks the invariant.
  const char* sql;
  const char* message;  // followed by the detail
};

// Foreign keys declare most of these, but SQLite enforces them only on
// connections that ask, and a file edited by other tools asks nothing.
const OrphanCheck kOrphans[] = {
    {"revision",
     "SELECT r.uid, r.dmid FROM udm_revision r WHERE NOT EXISTS (SELECT 1 FROM udm_entity e WHERE e.dmid = r.dmid)",
     "the revision belongs to no entity: "},
    {"revision",
     "SELECT e.dmid, e.latest_rev FROM udm_entity e WHERE NOT EXISTS (SELECT 1 FROM udm_revision r"
     " WHERE r.dmid = e.dmid AND r.revision = e.latest_rev AND r.state = 0)",
     "the latest revision is not stored: revision "},
    {"revision",
     "SELECT r.uid, e.latest_rev FROM udm_revision r JOIN udm_entity e ON e.dmid = r.dmid"
     " WHERE r.state = 0 AND r.revision > e.latest_rev",
     "a stored revision is newer than the entity's latest: "},
    {"attribute",
     "SELECT a.uid, a.name FROM udm_attribute a WHERE NOT EXISTS (SELECT 1 FROM udm_revision r WHERE r.uid = a.uid)",
     "an attribute of no revision: "},
    {"link",
     "SELECT l.parent_dmid, l.child_dmid FROM udm_link l"
     " WHERE NOT EXISTS (SELECT 1 FROM udm_entity e WHERE e.dmid = l.parent_dmid)"
     " OR NOT EXISTS (SELECT 1 FROM udm_entity e WHERE e.dmid = l.child_dmid)",
     "a use between entities one of which does not exist, of the child "},
    {"link",
     "SELECT l.parent_dmid, l.use_id FROM udm_link l WHERE l.to_rev IS NOT NULL AND l.to_rev <= l.from_rev",
     "a use that ends before it starts: "},
    {"reference",
     "SELECT r.source_dmid, r.target_dmid FROM udm_reference r"
     " WHERE NOT EXISTS (SELECT 1 FROM udm_entity e WHERE e.dmid = r.source_dmid)"
     " OR NOT EXISTS (SELECT 1 FROM udm_entity e WHERE e.dmid = r.target_dmid)",
     "a reference from or to an entity that does not exist, to "},
    {"classification",
     "SELECT c.item_dmid, c.category_dmid FROM udm_classified c"
     " WHERE NOT EXISTS (SELECT 1 FROM udm_entity e WHERE e.dmid = c.item_dmid)"
     " OR NOT EXISTS (SELECT 1 FROM udm_entity e WHERE e.dmid = c.category_dmid)",
     "a classification of or under an entity that does not exist, under "},
    {"relation",
     "SELECT r.uid, r.left_dmid || ' ' || r.right_dmid FROM udm_relation r"
     " WHERE NOT EXISTS (SELECT 1 FROM udm_revision v WHERE v.uid = r.uid)"
     " OR NOT EXISTS (SELECT 1 FROM udm_entity e WHERE e.dmid = r.left_dmid)"
     " OR NOT EXISTS (SELECT 1 FROM udm_entity e WHERE e.dmid = r.right_dmid)",
     "a relation whose revision or an end does not exist, between "},
    {"file",
     "SELECT f.uid, f.name FROM udm_file f WHERE NOT EXISTS (SELECT 1 FROM udm_revision r WHERE r.uid = f.uid)",
     "a file record of no revision: "},
    {"lock",
     "SELECT l.dmid, l.holder FROM udm_lock l WHERE NOT EXISTS (SELECT 1 FROM udm_entity e WHERE e.dmid = l.dmid)",
     "a check-out of an entity that does not exist, held by "},
};

void DatabaseCheck(EntityStore& store, std::vector<UDMIntegrityFinding>& out) {
  if (store.Dialect().name != SqlDialect::Sqlite().name) return;
  const vqlm::ResultSet pages = store.Select("PRAGMA integrity_check", {});
  for (std::size_t i = 0; i < pages.GetRowCount(); ++i) {
    const vqString text = pages.GetValue(i, 0).ToString();
    if (text != "ok") out.push_back({"database", "repository database", text});
  }
  const vqlm::ResultSet keys = store.Select("PRAGMA foreign_key_check", {});
  for (std::size_t i = 0; i < keys.GetRowCount(); ++i) {
    out.push_back({"database", keys.GetValue(i, 0).ToString(),
                   "row " + keys.GetValue(i, 1).ToString() + " refers to a missing row of " +
                       keys.GetValue(i, 2).ToString()});
  }
}

}  // namespace

std::vector<UDMIntegrityFinding> CheckRecords(EntityStore& store) {
  std::vector<UDMIntegrityFinding> findings;
  DatabaseCheck(store, findings);
  for (const OrphanCheck& orphan : kOrphans) {
    const vqlm::ResultSet rows = store.Select(orphan.sql, {});
    for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
      findings.push_back({orphan.check, rows.GetValue(i, 0).ToString(),
                          vqString(orphan.message) + rows.GetValue(i, 1).ToString()});
    }
  }
  return findings;
}

std::vector<ContentUse> ContentUses(EntityStore& store) {
  const vqlm::ResultSet rows = store.Select(
      "SELECT content_key, size, uid, name FROM udm_file WHERE content_key IS NOT NULL AND content_key <> ''"
      " ORDER BY content_key, uid, name",
      {});
  std::vector<ContentUse> out;
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
    ContentUse use;
    use.key = rows.GetValue(i, 0).ToString();
    rows.GetValue(i, 1).ToInt64(use.size);
    use.uid = rows.GetValue(i, 2).ToString();
    use.name = rows.GetValue(i, 3).ToString();
    out.push_back(use);
  }
  return out;
}

std::uint64_t CountRows(EntityStore& store, const char* from) {
  std::int64_t count = 0;
  store.Select(vqString("SELECT count(*) FROM ") + from, {}).GetValue(0, 0).ToInt64(count);
  return static_cast<std::uint64_t>(count);
}

}  // namespace vqkudm::store
