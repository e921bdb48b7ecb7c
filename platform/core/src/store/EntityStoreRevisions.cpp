// Check-out locks, further revisions and the versioning of references and classifications.

#include <algorithm>
#include <set>

#include <vqkudmrt/UDMException.h>

#include "EntityStore.h"

namespace vqkudm::store {

LockRecord EntityStore::TakeLock(const vqString& dmid, const LockRecord& wanted) {
  Execute("INSERT INTO udm_lock (dmid, holder, session_id, locked_time, comment) VALUES (?, ?, ?, ?, ?)"
          " ON CONFLICT (dmid) DO NOTHING",
          {dmid, wanted.holder, wanted.sessionId, wanted.time, wanted.comment});
  LockRecord held;
  if (!GetLock(dmid, held)) {
    ThrowStateException(UDM_FUNCSIG, "the check-out lock of " + dmid + " vanished while it was taken",
                        ExcSubConflict);
  }
  return held;
}

bool EntityStore::GetLock(const vqString& dmid, LockRecord& out) {
  const vqlm::ResultSet rows =
      Query("SELECT holder, session_id, locked_time, comment FROM udm_lock WHERE dmid = ?", {dmid});
  if (rows.IsEmpty()) return false;
  out = {rows.GetValue(0, 0).ToString(), rows.GetValue(0, 1).ToString(), rows.GetValue(0, 2).ToString(),
         rows.GetValue(0, 3).ToString()};
  return true;
}

void EntityStore::ReleaseLock(const vqString& dmid) { Execute("DELETE FROM udm_lock WHERE dmid = ?", {dmid}); }

void EntityStore::AdoptLocks(const vqString& holder, const vqString& sessionId) {
  Execute("UPDATE udm_lock SET session_id = ? WHERE holder = ?", {sessionId, holder});
}

bool EntityStore::AdvanceLatestRevision(const vqString& dmid, int expected, int next) {
  return Execute("UPDATE udm_entity SET latest_rev = ? WHERE dmid = ? AND latest_rev = ?",
                 {vqVariant(next), dmid, vqVariant(expected)}) == 1;
}

void EntityStore::RaiseLatestRevision(const vqString& dmid, int revision) {
  Execute("UPDATE udm_entity SET latest_rev = ? WHERE dmid = ? AND latest_rev < ?",
          {vqVariant(revision), dmid, vqVariant(revision)});
}

void EntityStore::InsertRevisions(const std::vector<const RevisionRecord*>& records) {
  using vqlm::DbParam;
  BulkInsertEach("udm_revision",
                 {"uid", "dmid", "revision", "name", "modified_by", "modified_time", "comment"},
                 records.size(), [&](std::size_t i, DbParam* row) {
                   const RevisionRecord& r = *records[i];
                   row[0] = DbParam::Of(std::string_view(r.uid.ToString()));
                   row[1] = DbParam::Of(std::string_view(r.uid.GetDmUid()));
                   row[2] = DbParam::Of(std::int64_t(r.uid.GetRevision()));
                   row[3] = DbParam::Of(std::string_view(r.name));
                   row[4] = DbParam::Of(std::string_view(r.modifiedBy));
                   row[5] = DbParam::Of(std::string_view(r.modifiedTime));
                   row[6] = DbParam::Of(std::string_view(r.comment));
                 });
  std::size_t attributes = 0;
  for (const RevisionRecord* r : records) attributes += r->attributes.size();
  // Rows are asked for in order: the next attribute, of this record or of the next with any.
  std::size_t record = 0, attribute = 0;
  vqString scratch;
  BulkInsertEach("udm_attribute", {"uid", "name", "type", "text_value", "num_value"}, attributes,
                 [&](std::size_t, DbParam* row) {
                   while (attribute == records[record]->attributes.size()) {
                     ++record;
                     attribute = 0;
                   }
                   const RevisionRecord& r = *records[record];
                   const auto& [name, value] = r.attributes[attribute++];
                   std::int64_t type;
                   EncodeAttribute(value, type, row[3], row[4], scratch);
                   row[0] = DbParam::Of(std::string_view(r.uid.ToString()));
                   row[1] = DbParam::Of(std::string_view(name));
                   row[2] = DbParam::Of(type);
                 });
}

void EntityStore::ReplaceTargets(const char* table, const char* ownerColumn, const char* targetColumn,
                                 bool named, const vqString& ownerDmid, const std::vector<TargetRecord>& targets,
                                 int revision) {
  // Table and column names come from the callers below, never from input.
  const vqString where = vqString(" WHERE ") + ownerColumn + " = ? AND to_rev IS NULL";
  const vqString select = vqString("SELECT ") + (named ? "name, " : "'' AS name, ") + targetColumn + " FROM " +
                          table + where;
  std::set<std::pair<vqString, vqString>> wanted, kept;
  for (const TargetRecord& t : targets) wanted.insert({t.name, t.targetDmid});
  vqlm::ResultSet open;
  vqlm::DbStatus status = m_db->ExecSqlQuery(select, {ownerDmid}, open);
  if (!status) Fail(vqString("cannot read ") + table, status);
  for (std::size_t i = 0; i < open.GetRowCount(); ++i) {
    const std::pair<vqString, vqString> key{open.GetValue(i, 0).ToString(), open.GetValue(i, 1).ToString()};
    if (wanted.count(key)) {
      kept.insert(key);
      continue;
    }
    const vqString close = vqString("UPDATE ") + table + " SET to_rev = ?" + where + " AND " + targetColumn +
                           " = ?" + (named ? " AND name = ?" : "");
    vqStlVector<vqVariant> params{vqVariant(revision), ownerDmid, key.second};
    if (named) params.push_back(key.first);
    status = m_db->ExecSqlStatement(close, params);
    if (!status) Fail(vqString("cannot update ") + table, status);
  }
  std::vector<TargetRecord> added;
  for (const TargetRecord& t : targets) {
    if (!kept.count({t.name, t.targetDmid})) added.push_back(t);
  }
  if (named) {
    InsertReferences(ownerDmid, added, revision);
  } else {
    InsertClassifications(ownerDmid, added, revision);
  }
}

void EntityStore::ReplaceReferences(const vqString& sourceDmid, const std::vector<TargetRecord>& targets,
                                    int revision) {
  ReplaceTargets("udm_reference", "source_dmid", "target_dmid", true, sourceDmid, targets, revision);
}

void EntityStore::ReplaceClassifications(const vqString& itemDmid, const std::vector<TargetRecord>& categories,
                                         int revision) {
  ReplaceTargets("udm_classified", "item_dmid", "category_dmid", false, itemDmid, categories, revision);
}

std::vector<UDMUID> EntityStore::FindRootRevisions(const vqString& name, int revision) {
  const vqlm::ResultSet rows = Query(
      "SELECT r.uid FROM udm_revision r WHERE r.name = ? AND r.revision = ? AND r.state = 0"
      " AND NOT EXISTS (SELECT 1 FROM udm_link l WHERE l.child_dmid = r.dmid AND l.to_rev IS NULL)"
      " ORDER BY r.dmid",
      {name, vqVariant(revision)});
  const vqStlVector<vqString> uids = rows.GetColumnTexts(0);
  return std::vector<UDMUID>(uids.begin(), uids.end());
}

std::vector<vqString> EntityStore::GetBranchesFrom(const UDMUID& sourceUid) {
  return Query("SELECT dmid FROM udm_entity WHERE branch_from = ? ORDER BY dmid", {sourceUid.ToString()})
      .GetColumnTexts(0);
}

}  // namespace vqkudm::store
