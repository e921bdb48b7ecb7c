#include "EntityStore.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <thread>

#include <vqkudmrt/UDMException.h>

#include "RecordColumns.h"
#include "RecordReader.h"

namespace vqkudm::store {

namespace {

// List items joined by ';' with '\\' and ';' escaped, so any item survives.
vqString EncodeList(const vqStlVector<vqString>& items) {
  vqString text;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i) text += ';';
    for (char c : items[i]) {
      if (c == '\\' || c == ';') text += '\\';
      text += c;
    }
  }
  return text;
}

vqStlVector<vqString> DecodeList(const vqString& text) {
  vqStlVector<vqString> items;
  vqString item;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) {
      item += text[++i];
    } else if (text[i] == ';') {
      items.push_back(item);
      item.clear();
    } else {
      item += text[i];
    }
  }
  items.push_back(item);
  return items;
}

}  // namespace

void Fail(const vqString& what, const vqlm::DbStatus& status) {
  const int sub = status.GetKind() == vqlm::DbConstraint || status.GetKind() == vqlm::DbBusy ||
                          status.GetKind() == vqlm::DbSerialization
                      ? ExcSubConflict
                      : ExcSubDatabase;
  ThrowStateException(UDM_FUNCSIG, what + ": " + status.GetText(), sub);
}

std::int64_t ToInt64(const vqVariant& value) {
  std::int64_t number = 0;
  value.ToInt64(number);
  return number;
}

void EncodeAttribute(const vqVariant& value, std::int64_t& type, vqlm::DbParam& text,
                     vqlm::DbParam& number, vqString& scratch) {
  type = value.GetType();
  text = vqlm::DbParam();
  number = vqlm::DbParam();
  switch (value.GetType()) {
    case vqVariant::Empty: break;
    case vqVariant::Bool:
      scratch = value.ToString();
      text = vqlm::DbParam::Of(std::string_view(scratch));
      number = vqlm::DbParam::Of(*value.GetBool() ? 1.0 : 0.0);
      break;
    case vqVariant::Int:
    case vqVariant::Int64:
    case vqVariant::Double: {
      scratch = value.ToString();
      text = vqlm::DbParam::Of(std::string_view(scratch));
      double real = 0;
      // Past 2^53 the number only orders; the text keeps the exact value.
      if (!value.ToDouble(real)) real = static_cast<double>(*value.GetInt64());
      number = vqlm::DbParam::Of(real);
      break;
    }
    case vqVariant::String:
      text = vqlm::DbParam::Of(std::string_view(*value.GetString()));
      break;
    case vqVariant::StringList:
      // NULL for no items, so that one empty item reads back as such.
      if (!value.GetStringList()->empty()) {
        scratch = EncodeList(*value.GetStringList());
        text = vqlm::DbParam::Of(std::string_view(scratch));
      }
      break;
  }
}

void EncodeAttribute(const vqVariant& value, std::int64_t& type, vqVariant& text,
                     vqVariant& number) {
  vqlm::DbParam textColumn, numberColumn;
  vqString scratch;
  EncodeAttribute(value, type, textColumn, numberColumn, scratch);
  text =
      textColumn.kind == vqlm::DbParam::Text ? vqVariant(vqString(textColumn.text)) : vqVariant();
  number = numberColumn.kind == vqlm::DbParam::Real ? vqVariant(numberColumn.real) : vqVariant();
}

vqVariant DecodeAttribute(std::int64_t type, const vqVariant& text, const vqVariant& number) {
  const vqString stored = text.GetString() ? *text.GetString() : vqString();
  switch (static_cast<vqVariant::Type>(type)) {
    case vqVariant::Bool: return vqVariant(stored == "true");
    case vqVariant::Int: {
      int value = 0;
      stored.ToInt(value);
      return vqVariant(value);
    }
    case vqVariant::Int64: {
      std::int64_t value = 0;
      stored.ToInt64(value);
      return vqVariant(value);
    }
    case vqVariant::Double: {
      double value = 0;
      if (!stored.ToDouble(value)) number.ToDouble(value);
      return vqVariant(value);
    }
    case vqVariant::String: return vqVariant(stored);
    case vqVariant::StringList:
      return vqVariant(text.GetString() ? DecodeList(stored) : vqStlVector<vqString>());
    default: return vqVariant();
  }
}

vqVariant DecodeAttribute(std::int64_t type, vqVariant&& text, const vqVariant& number) {
  if (type != vqVariant::String || !text.GetString()) return DecodeAttribute(type, text, number);
  return std::move(text);
}

namespace {
const char* const kChangeChannel = "udm_change";

const SqlDialect& DialectOf(const vqlm::iDbDriver& db) {
  const SqlDialect* dialect = SqlDialect::ForDriver(db.GetDriverName());
  if (!dialect) {
    ThrowInvalidArgException(UDM_FUNCSIG, "unknown database driver \"" + db.GetDriverName() + "\"",
                             ExcSubNotFound);
  }
  return *dialect;
}
}  // namespace

EntityStore::EntityStore(std::shared_ptr<vqlm::iDbDriver> db) : m_db(std::move(db)), m_dialect(DialectOf(*m_db)) {}

void EntityStore::Begin(const vqString& what) {
  const vqlm::DbStatus status = m_db->BeginTransaction();
  if (!status) Fail(what + ": cannot start a transaction", status);
}

void EntityStore::Commit(const vqString& what) {
  const vqlm::DbStatus status = m_db->Commit();
  if (!status) {
    RollbackQuietly();
    Fail(what + ": the repository refused the change", status);
  }
}

void EntityStore::RollbackQuietly() {
  if (m_db->IsInTransaction()) m_db->Rollback();
}

std::unique_ptr<vqlm::iDbStatement>& EntityStore::Statement(const char* sql) {
  for (auto& entry : m_statements) {
    if (entry.first == sql) return entry.second;
  }
  std::unique_ptr<vqlm::iDbStatement> statement;
  const vqlm::DbStatus status = m_db->Prepare(sql, statement);
  if (!status) Fail("cannot prepare a repository statement", status);
  m_statements.emplace_back(sql, std::move(statement));
  return m_statements.back().second;
}

vqlm::ResultSet EntityStore::Query(const char* sql, const vqStlVector<vqVariant>& params) {
  auto& statement = Statement(sql);
  vqlm::ResultSet rows;
  vqlm::DbStatus status = statement->BindAll(params);
  if (status) status = statement->Query(rows);
  if (!status) Fail("repository query failed", status);
  return rows;
}

std::int64_t EntityStore::Execute(const char* sql, const vqStlVector<vqVariant>& params) {
  auto& statement = Statement(sql);
  std::int64_t changed = 0;
  vqlm::DbStatus status = statement->BindAll(params);
  if (status) status = statement->Execute(&changed);
  if (!status) Fail("repository update failed", status);
  return changed;
}

void EntityStore::BulkInsert(const char* table, const vqStlVector<vqString>& columns,
                             const std::vector<vqStlVector<vqVariant>>& rows) {
  if (rows.empty()) return;
  const vqlm::DbStatus status = m_db->BulkInsert(table, columns, rows);
  if (!status) Fail(vqString("cannot write ") + table, status);
}

void EntityStore::BulkInsertEach(const char* table, const vqStlVector<vqString>& columns,
                                 std::size_t rowCount, const vqlm::DbRowFiller& fill) {
  const vqlm::DbStatus status = m_db->BulkInsertEach(table, columns, rowCount, fill);
  if (!status) Fail(vqString("cannot write ") + table, status);
}

void EntityStore::InsertNewEntities(const std::vector<const RevisionRecord*>& records) {
  using vqlm::DbParam;
  BulkInsertEach("udm_entity",
                 {"dmid", "cdef", "class", "latest_rev", "deleted", "created_by", "created_time",
                  "branch_from"},
                 records.size(), [&](std::size_t i, DbParam* row) {
                   const RevisionRecord& r = *records[i];
                   row[0] = DbParam::Of(std::string_view(r.uid.GetDmUid()));
                   row[1] = DbParam::Of(std::string_view(r.cdef));
                   row[2] = DbParam::Of(std::string_view(r.className));
                   row[3] = DbParam::Of(std::int64_t(r.uid.GetRevision()));
                   row[4] = DbParam::Of(std::int64_t(0));
                   row[5] = DbParam::Of(std::string_view(r.createdBy));
                   row[6] = DbParam::Of(std::string_view(r.createdTime));
                   row[7] = DbParam::TextOrNull(r.branchFrom);
                 });
  InsertRevisions(records);
}

bool EntityStore::LoadRevision(const UDMUID& uid, RevisionRecord& out) {
  // One statement, so one read of the database (one round trip to a server).
  std::vector<RevisionRecord> records = QueryRevisionRecords(
      *Statement("SELECT '' AS grp, 0 AS lvl, 0 AS uses," UDM_RECORD_COLUMNS
                 " FROM udm_revision r JOIN udm_entity e ON e.dmid = r.dmid"
                 " LEFT JOIN udm_attribute a ON a.uid = r.uid WHERE r.uid = ? AND r.state = 0"),
      {uid.ToString()});
  if (records.empty()) return false;
  out = std::move(records.front());
  return true;
}

vqlm::iDbStatement& EntityStore::BuiltStatement(const vqString& sql) {
  constexpr std::size_t kKept = 32;
  for (auto it = m_built.begin(); it != m_built.end(); ++it) {
    if (it->first != sql) continue;
    m_built.splice(m_built.begin(), m_built, it);
    return *m_built.front().second;
  }
  std::unique_ptr<vqlm::iDbStatement> statement;
  const vqlm::DbStatus status = m_db->Prepare(sql, statement);
  if (!status) Fail("repository query failed", status);
  if (m_built.size() >= kKept) m_built.pop_back();
  m_built.emplace_front(sql, std::move(statement));
  return *m_built.front().second;
}

vqlm::ResultSet EntityStore::Select(const vqString& sql, const vqStlVector<vqVariant>& params) {
  vqlm::iDbStatement& statement = BuiltStatement(sql);
  vqlm::ResultSet rows;
  vqlm::DbStatus status = statement.BindAll(params);
  if (status) status = statement.Query(rows);
  if (!status) Fail("repository query failed", status);
  return rows;
}

vqlm::ResultSet EntityStore::SelectIn(const vqString& before, const std::vector<vqString>& keys,
                                      const vqString& after) {
  constexpr std::size_t kBatch = 500;
  vqlm::ResultSet all;
  for (std::size_t at = 0; at < keys.size(); at += kBatch) {
    vqString sql = before + " (";
    vqStlVector<vqVariant> params;
    for (std::size_t i = at; i < std::min(keys.size(), at + kBatch); ++i) {
      sql += params.empty() ? "?" : ", ?";
      params.emplace_back(keys[i]);
    }
    vqlm::ResultSet rows = Select(sql + ")" + after, params);
    if (keys.size() <= kBatch) return rows;
    if (at == 0) {
      vqStlVector<vqString> columns;
      for (std::size_t c = 0; c < rows.GetColumnCount(); ++c) columns.push_back(rows.GetColumnName(c));
      all.SetColumns(columns);
    }
    for (std::size_t r = 0; r < rows.GetRowCount(); ++r) {
      vqStlVector<vqVariant> row = rows.GetRow(r);
      all.AddRow(std::move(row));
    }
  }
  return all;
}

std::map<vqString, vqStlMap<vqString, vqVariant>> EntityStore::GetAttributesOf(const std::vector<vqString>& uids) {
  std::map<vqString, vqStlMap<vqString, vqVariant>> out;
  const vqlm::ResultSet rows =
      SelectIn("SELECT uid, name, type, text_value, num_value FROM udm_attribute WHERE uid IN", uids, "");
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
    out[rows.GetValue(i, 0).ToString()][rows.GetValue(i, 1).ToString()] =
        DecodeAttribute(ToInt64(rows.GetValue(i, 2)), rows.GetValue(i, 3), rows.GetValue(i, 4));
  }
  return out;
}

bool EntityStore::IsValueTaken(const vqString& name, const vqString& value, const vqString& exceptDmid) {
  if (!m_dialect.keyLock.empty()) Query(m_dialect.keyLock.c_str(), {name + "=" + value});
  return !Query("SELECT 1 FROM udm_attribute a JOIN udm_revision r ON r.uid = a.uid AND r.state = 0"
                " JOIN udm_entity e ON e.dmid = r.dmid AND e.latest_rev = r.revision"
                " WHERE a.name = ? AND a.text_value = ? AND r.dmid <> ?",
                {name, value, exceptDmid})
              .IsEmpty();
}

bool EntityStore::EntityExists(const vqString& dmid) {
  return !Query("SELECT 1 FROM udm_entity WHERE dmid = ?", {dmid}).IsEmpty();
}

void EntityStore::QueryEach(vqlm::iDbStatement& statement, const vqStlVector<vqVariant>& params,
                            const std::function<void(const vqlm::DbRow&)>& onRow) {
  vqlm::DbStatus status = statement.BindAll(params);
  if (status) status = statement.QueryEach(onRow);
  if (!status) Fail("repository query failed", status);
}

std::vector<LinkedRecord> EntityStore::QueryLinkedRecords(const char* sql, const vqStlVector<vqVariant>& params) {
  std::vector<LinkedRecord> linked;
  RecordReader reader(&linked, nullptr);
  QueryEach(*Statement(sql), params, [&](const vqlm::DbRow& row) { reader.Add(row); });
  return linked;
}

std::vector<RevisionRecord> EntityStore::QueryRevisionRecords(vqlm::iDbStatement& statement,
                                                              const vqStlVector<vqVariant>& params) {
  std::vector<RevisionRecord> records;
  RecordReader reader(nullptr, &records);
  QueryEach(statement, params, [&](const vqlm::DbRow& row) { reader.Add(row); });
  return records;
}

std::vector<RevisionRecord> EntityStore::SelectRecords(const vqString& sql, const vqStlVector<vqVariant>& params) {
  return QueryRevisionRecords(BuiltStatement(sql), params);
}

std::vector<RevisionRecord> EntityStore::LoadRevisions(const std::vector<vqString>& uids) {
  const vqlm::ResultSet rows = SelectIn(
      "SELECT '' AS grp, 0 AS lvl, 0 AS uses," UDM_RECORD_COLUMNS
      " FROM udm_revision r JOIN udm_entity e ON e.dmid = r.dmid"
      " LEFT JOIN udm_attribute a ON a.uid = r.uid WHERE r.state = 0 AND r.uid IN",
      uids, " ORDER BY r.uid");
  std::vector<RevisionRecord> records;
  RecordReader reader(nullptr, &records);
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) reader.Add(vqlm::ResultSetRow(rows, i));
  return records;
}

std::vector<RevisionRecord> EntityStore::GetRevisionRecords(const vqString& dmid) {
  return QueryRevisionRecords(*Statement("SELECT '' AS grp, 0 AS lvl, 0 AS uses," UDM_RECORD_COLUMNS
                                         " FROM udm_entity e JOIN udm_revision r ON r.dmid = e.dmid AND r.state = 0"
                                         " LEFT JOIN udm_attribute a ON a.uid = r.uid"
                                         " WHERE e.dmid = ? ORDER BY r.revision"),
                              {dmid});
}

bool EntityStore::GetLatestRevision(const vqString& dmid, int& revision) {
  const vqlm::ResultSet rows = Query("SELECT latest_rev FROM udm_entity WHERE dmid = ?", {dmid});
  if (rows.IsEmpty()) return false;
  revision = static_cast<int>(ToInt64(rows.GetValue(0, 0)));
  return true;
}

void EntityStore::SetDeleted(const vqString& dmid, bool deleted) {
  Execute("UPDATE udm_entity SET deleted = ? WHERE dmid = ?", {vqVariant(deleted ? 1 : 0), dmid});
}

void EntityStore::Obliterate(const vqString& dmid) {
  // Revisions, attributes, links, references and locks go by cascade.
  Execute("DELETE FROM udm_entity WHERE dmid = ?", {dmid});
}

vqlm::ResultSet EntityStore::GetDeletedContents() {
  return Query(
      "SELECT r.uid, e.cdef, r.name, e.deleted FROM udm_entity e JOIN udm_revision r"
      " ON r.dmid = e.dmid AND r.revision = e.latest_rev AND r.state = 0"
      " WHERE e.deleted = ? ORDER BY e.dmid",
      {vqVariant(1)});
}

std::int64_t EntityStore::CountDeletedContents() {
  return ToInt64(Query("SELECT count(*) FROM udm_entity WHERE deleted = ?", {vqVariant(1)}).GetValue(0, 0));
}

void EntityStore::InsertReferences(const vqString& sourceDmid, const std::vector<TargetRecord>& targets,
                                   int fromRevision) {
  if (targets.empty()) return;
  std::vector<vqStlVector<vqVariant>> rows;
  for (const TargetRecord& t : targets) rows.push_back({sourceDmid, t.name, t.targetDmid, vqVariant(fromRevision)});
  BulkInsert("udm_reference", {"source_dmid", "name", "target_dmid", "from_rev"}, rows);
}

void EntityStore::InsertClassifications(const vqString& itemDmid, const std::vector<TargetRecord>& categories,
                                        int fromRevision) {
  if (categories.empty()) return;
  std::vector<vqStlVector<vqVariant>> rows;
  for (const TargetRecord& c : categories) rows.push_back({itemDmid, c.targetDmid, vqVariant(fromRevision)});
  BulkInsert("udm_classified", {"item_dmid", "category_dmid", "from_rev"}, rows);
}

std::vector<TargetRecord> EntityStore::GetReferencesAt(const vqString& sourceDmid, int revision) {
  const vqlm::ResultSet rows = Query(
      "SELECT name, target_dmid FROM udm_reference WHERE source_dmid = ? AND from_rev <= ?"
      " AND (to_rev IS NULL OR to_rev > ?) ORDER BY name, target_dmid",
      {sourceDmid, vqVariant(revision), vqVariant(revision)});
  std::vector<TargetRecord> targets;
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
    targets.push_back({rows.GetValue(i, 0).ToString(), rows.GetValue(i, 1).ToString()});
  }
  return targets;
}

std::vector<TargetRecord> EntityStore::GetClassificationsAt(const vqString& itemDmid, int revision) {
  const vqlm::ResultSet rows = Query(
      "SELECT category_dmid FROM udm_classified WHERE item_dmid = ? AND from_rev <= ?"
      " AND (to_rev IS NULL OR to_rev > ?) ORDER BY category_dmid",
      {itemDmid, vqVariant(revision), vqVariant(revision)});
  std::vector<TargetRecord> categories;
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) categories.push_back({vqString(), rows.GetValue(i, 0).ToString()});
  return categories;
}

std::vector<TargetRecord> EntityStore::GetReferrers(const vqString& targetDmid) {
  const vqlm::ResultSet rows = Query(
      "SELECT source_dmid, name FROM udm_reference WHERE target_dmid = ? AND to_rev IS NULL"
      " ORDER BY source_dmid, name",
      {targetDmid});
  std::vector<TargetRecord> referrers;
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
    referrers.push_back({rows.GetValue(i, 1).ToString(), rows.GetValue(i, 0).ToString()});
  }
  return referrers;
}

void EntityStore::InsertRelation(const RevisionRecord& record, const RelationRecord& ends) {
  InsertNewEntities({&record});
  Execute("INSERT INTO udm_relation (uid, relation_type, left_dmid, left_rev, right_dmid, right_rev)"
          " VALUES (?, ?, ?, ?, ?, ?)",
          {record.uid.ToString(), vqVariant(ends.kind), ends.leftDmid, vqVariant(ends.leftRevision),
           ends.rightDmid, vqVariant(ends.rightRevision)});
}

bool EntityStore::LoadRelation(const UDMUID& uid, RevisionRecord& record, RelationRecord& ends) {
  if (!LoadRevision(uid, record)) return false;
  const vqlm::ResultSet rows = Query(
      "SELECT r.relation_type, r.left_dmid, r.left_rev, l.cdef, r.right_dmid, r.right_rev, g.cdef"
      " FROM udm_relation r JOIN udm_entity l ON l.dmid = r.left_dmid JOIN udm_entity g ON g.dmid = r.right_dmid"
      " WHERE r.uid = ?",
      {uid.ToString()});
  if (rows.IsEmpty()) return false;
  ends.kind = static_cast<int>(ToInt64(rows.GetValue(0, 0)));
  ends.leftDmid = rows.GetValue(0, 1).ToString();
  ends.leftRevision = static_cast<int>(ToInt64(rows.GetValue(0, 2)));
  ends.leftType = rows.GetValue(0, 3).ToString();
  ends.rightDmid = rows.GetValue(0, 4).ToString();
  ends.rightRevision = static_cast<int>(ToInt64(rows.GetValue(0, 5)));
  ends.rightType = rows.GetValue(0, 6).ToString();
  return true;
}

std::vector<UDMUID> EntityStore::GetRelationsOf(const vqString& dmid, int direction) {
  const bool left = direction != 1, right = direction != 2;
  const vqlm::ResultSet rows = Query(
      "SELECT r.uid FROM udm_relation r JOIN udm_revision v ON v.uid = r.uid"
      " JOIN udm_entity e ON e.dmid = v.dmid AND e.latest_rev = v.revision"
      " WHERE e.deleted = 0 AND ((? = 1 AND r.left_dmid = ?) OR (? = 1 AND r.right_dmid = ?))"
      " ORDER BY e.dmid",
      {vqVariant(left ? 1 : 0), dmid, vqVariant(right ? 1 : 0), dmid});
  const vqStlVector<vqString> uids = rows.GetColumnTexts(0);
  return std::vector<UDMUID>(uids.begin(), uids.end());
}

void EntityStore::SetRelationEnd(const UDMUID& relation, bool left, int revision) {
  if (left) {
    Execute("UPDATE udm_relation SET left_rev = ? WHERE uid = ?", {vqVariant(revision), relation.ToString()});
  } else {
    Execute("UPDATE udm_relation SET right_rev = ? WHERE uid = ?", {vqVariant(revision), relation.ToString()});
  }
}

void EntityStore::SaveDraft(const DraftRecord& draft, const vqString& holder, const vqString& sessionId,
                            const vqString& time) {
  DeleteDraft(draft.uid);
  Execute("INSERT INTO udm_draft (uid, cdef, holder, session_id, saved_time, comment, state)"
          " VALUES (?, ?, ?, ?, ?, ?, ?)",
          {draft.uid.ToString(), draft.cdef, holder, sessionId, time, draft.comment, draft.state});
}

void EntityStore::DeleteDraft(const UDMUID& uid) {
  Execute("DELETE FROM udm_draft WHERE uid = ?", {uid.ToString()});
}

void EntityStore::DeleteDrafts(const std::vector<const UDMUID*>& uids) {
  const vqlm::ResultSet drafts = Query("SELECT uid FROM udm_draft", {});
  if (drafts.IsEmpty()) return;
  std::set<vqString> wanted;
  for (const UDMUID* uid : uids) wanted.insert(uid->ToString());
  for (std::size_t i = 0; i < drafts.GetRowCount(); ++i) {
    const vqString uid = drafts.GetValue(i, 0).ToString();
    if (wanted.count(uid)) Execute("DELETE FROM udm_draft WHERE uid = ?", {uid});
  }
}

std::vector<DraftRecord> EntityStore::GetDrafts(const vqString& holder) {
  const vqlm::ResultSet rows =
      Query("SELECT uid, cdef, comment, state FROM udm_draft WHERE holder = ? ORDER BY uid", {holder});
  std::vector<DraftRecord> drafts;
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
    drafts.push_back({UDMUID(rows.GetValue(i, 0).ToString()), rows.GetValue(i, 1).ToString(),
                      rows.GetValue(i, 2).ToString(), rows.GetValue(i, 3).ToString()});
  }
  return drafts;
}

void EntityStore::AppendChange(const ChangeLogEntry& entry) { AppendChanges({entry}); }

void EntityStore::AppendChanges(const std::vector<ChangeLogEntry>& entries) {
  using vqlm::DbParam;
  if (entries.empty()) return;
  if (!m_dialect.changeLogLock.empty()) Query(m_dialect.changeLogLock.c_str(), {});
  BulkInsertEach(
      "udm_change",
      {"session_id", "op", "uid", "url", "attr_name", "attr_value", "child_uid", "change_time"},
      entries.size(), [&](std::size_t i, DbParam* row) {
        const ChangeLogEntry& e = entries[i];
        row[0] = DbParam::Of(std::string_view(e.sessionId));
        row[1] = DbParam::Of(std::int64_t(e.op));
        row[2] = DbParam::TextOrNull(e.uid);
        row[3] = DbParam::TextOrNull(e.url);
        row[4] = DbParam::TextOrNull(e.attributeName);
        row[5] = DbParam::TextOrNull(e.attributeValue);
        row[6] = DbParam::TextOrNull(e.childUid);
        row[7] = DbParam::Of(std::string_view(e.time));
      });
  if (m_db->HasNotifications()) {
    const vqlm::DbStatus status = m_db->Notify(kChangeChannel, entries.front().sessionId);
    if (!status) Fail("cannot signal a change", status);
  }
}

void EntityStore::ListenForChanges() {
  if (m_listening || !m_db->HasNotifications()) return;
  const vqlm::DbStatus status = m_db->Listen(kChangeChannel);
  if (!status) Fail("cannot listen for changes", status);
  m_listening = true;
}

void EntityStore::WaitForChangeSignal(int timeoutMs) {
  if (!m_listening) {
    // Without notifications, look again soon.
    std::this_thread::sleep_for(std::chrono::milliseconds(std::min(timeoutMs, 25)));
    return;
  }
  vqStlVector<vqString> payloads;
  const vqlm::DbStatus status = m_db->WaitForNotification(timeoutMs, payloads);
  if (!status) Fail("waiting for changes failed", status);
}

std::int64_t EntityStore::LastChangeSeq() {
  return ToInt64(Query("SELECT COALESCE(MAX(seq), 0) FROM udm_change", {}).GetValue(0, 0));
}

std::int64_t EntityStore::ChangeSeqBefore(const vqString& time) {
  return ToInt64(Query("SELECT COALESCE(MIN(seq) - 1, (SELECT COALESCE(MAX(seq), 0) FROM udm_change))"
                       " FROM udm_change WHERE change_time > ?",
                       {time})
                     .GetValue(0, 0));
}

std::vector<ChangeLogEntry> EntityStore::ReadChanges(std::int64_t afterSeq, const vqString& excludeSession) {
  const vqlm::ResultSet rows = Query(
      "SELECT seq, session_id, op, uid, url, attr_name, attr_value, child_uid, change_time"
      " FROM udm_change WHERE seq > ? AND session_id <> ? ORDER BY seq",
      {vqVariant(afterSeq), excludeSession});
  std::vector<ChangeLogEntry> entries;
  for (std::size_t i = 0; i < rows.GetRowCount(); ++i) {
    auto text = [&](std::size_t column) { return rows.GetValue(i, column).ToString(); };
    entries.push_back({ToInt64(rows.GetValue(i, 0)), text(1), static_cast<int>(ToInt64(rows.GetValue(i, 2))),
                       text(3), text(4), text(5), text(6), text(7), text(8)});
  }
  return entries;
}

}  // namespace vqkudm::store
