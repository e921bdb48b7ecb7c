#pragma once

// The repository's entity tables behind one interface; every statement takes
// its values as bound parameters and works on every supported database.

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include <vqkudmrt/UDMAttributeMap.h>
#include <vqkudmrt/UDMUID.h>
#include <vqkudmrt/store/SqlDialect.h>
#include <vqlmidbdriver/iDbDriver.h>
#include <vqutl/vqVariant.h>

namespace vqkudm::store {

// Raises the UDMException for a failed database call: a conflict for
// constraint, busy and serialization failures, a database error otherwise.
[[noreturn]] void Fail(const vqString& what, const vqlm::DbStatus& status);
// A result value as an integer; 0 when it is none.
std::int64_t ToInt64(const vqVariant& value);

struct RevisionRecord {
  UDMUID uid;
  vqString cdef;
  vqString className;
  vqString name;
  vqString createdBy;
  vqString createdTime;
  vqString modifiedBy;
  vqString modifiedTime;
  vqString comment;
  // The six texts above, which an entity holds among its attributes.
  static constexpr std::size_t kColumnTexts = 6;
  int latestRevision = 0;
  bool deleted = false;
  vqString branchFrom;  // identifier of the revision a branch started from; empty otherwise
  // The typed attributes, in the form an entity adopts them as its own.
  UDMAttributeMap::sequence_type attributes;
};

// One use of a child by a parent. The use identifier stays the same across
// the parent's revisions; the position orders the uses of a group.
struct LinkRecord {
  vqString parentDmid;
  vqString group;
  vqString childDmid;
  std::int64_t position = 0;
  vqString useId;
  vqStlMap<vqString, vqVariant> attributes;
};

struct RelationRecord {
  int kind = 0;
  vqString leftDmid, rightDmid;
  vqString leftType, rightType;
  int leftRevision = 0, rightRevision = 0;
};

// A named reference from an entity to another, or (with an empty name) a
// classification of an item under a category.
struct TargetRecord {
  vqString name;
  vqString targetDmid;
};

struct ChangeLogEntry {
  std::int64_t seq = 0;
  vqString sessionId;
  int op = 0;
  vqString uid;
  vqString url;
  vqString attributeName;
  vqString attributeValue;
  vqString childUid;
  vqString time;
};

// A stored entity reached through a link, with its latest revision:
// downwards the group and position of the use; upwards the group of the
// ancestor's links, its level (1 = direct parent) and how many uses it makes
// of the entities one level below.
struct LinkedRecord {
  vqString group;
  int level = 0;
  int uses = 0;
  RevisionRecord record;
};

// A file or preview image of a revision. `contentKey` is empty for an
// external file, which is recorded but not kept.
struct FileRecord {
  int kind = 0;  // 0 file, 1 preview image
  vqString name;
  vqString folder;
  vqString contentKey;
  std::int64_t size = 0;
  vqString modifiedTime;
  vqString addedTime;
  vqString sourcePath;
  int imageType = 0;
  vqString description;
  bool isDefault = false;
};

// Who holds the check-out of an entity.
struct LockRecord {
  vqString holder;
  vqString sessionId;
  vqString time;
  vqString comment;
};

// Saved work on a new entity: its definition and its state as JSON text.
struct DraftRecord {
  UDMUID uid;
  vqString cdef;
  vqString comment;
  vqString state;
};

class EntityStore {
 public:
  explicit EntityStore(std::shared_ptr<vqlm::iDbDriver> db);

  vqlm::iDbDriver& Db() { return *m_db; }
  const SqlDialect& Dialect() const { return m_dialect; }

  // Runs `work` in one transaction; rolls back and rethrows when it raises
  // or when the commit fails, so a failure leaves the repository as it was.
  template <class Work>
  void InTransaction(const vqString& what, Work&& work) {
    Begin(what);
    try {
      work();
    } catch (...) {
      RollbackQuietly();
      throw;
    }
    Commit(what);
  }

  // Writes a new entity whose first stored revision is `record.uid`.
  void InsertNewEntities(const std::vector<const RevisionRecord*>& records);

  // The stored revision of that identifier (drafts excluded).
  bool LoadRevision(const UDMUID& uid, RevisionRecord& out);
  // Whether another entity's latest revision holds `value` in attribute `name`.
  bool IsValueTaken(const vqString& name, const vqString& value, const vqString& exceptDmid);
  // Whether an entity of that data-model id exists (deleted or not).
  bool EntityExists(const vqString& dmid);
  // The latest stored revision of a data-model id; false when there is none.
  bool GetLatestRevision(const vqString& dmid, int& revision);

  // Structure (EntityStoreStructure.cpp).
  //
  void InsertLinks(const std::vector<LinkRecord>& links, int fromRevision);
  // Ends the entity's open links, references and classifications at `revision`.
  void EndOpenRows(const vqString& dmid, int revision);
  // Makes the current uses of `parentDmid` exactly `links` from `revision`
  // on: uses that stay as they are are kept, the others end at `revision`.
  void ReplaceLinks(const vqString& parentDmid, const std::vector<LinkRecord>& links, int revision);
  // Uses valid in that revision of the parent, in group and position order;
  // an empty group means all groups.
  std::vector<LinkRecord> GetChildrenAt(const vqString& parentDmid, int revision, const vqString& group);
  // The same children with their latest revisions, one record per use, in one query.
  std::vector<LinkedRecord> GetChildRecordsAt(const vqString& parentDmid, int revision, const vqString& group);
  // Where-used through current links: every ancestor once per level and
  // group it is reached at, up to `maxLevel` levels (<= 0: all), nearest
  // first, with its latest revision. One recursive query.
  std::vector<LinkedRecord> GetAncestorRecords(const vqString& childDmid, int maxLevel);
  // (child, parent) for every current parent of these entities, each pair once.
  std::vector<std::pair<vqString, vqString>> GetParentLinks(const std::vector<vqString>& childDmids);
  // Data-model ids of the current children of `parentDmid` that have no
  // other current parent.
  std::vector<vqString> GetOnlyChildren(const vqString& parentDmid);
  // Latest revisions of live entities of the given class that have no parent.
  std::vector<UDMUID> GetRootEntities(const vqString& className);

  void SetDeleted(const vqString& dmid, bool deleted);
  // Removes the entity, its revisions and every link to or from it.
  void Obliterate(const vqString& dmid);
  // Latest revisions of deleted entities: identifier and definition, oldest first.
  // Rows (uid, cdef, name, deleted), as queries give them.
  vqlm::ResultSet GetDeletedContents();
  // A statement built at run time (queries); values are bound, never spliced.
  vqlm::ResultSet Select(const vqString& sql, const vqStlVector<vqVariant>& params);
  // The revision records a statement of UDM_RECORD_COLUMNS reads, in its order.
  std::vector<RevisionRecord> SelectRecords(const vqString& sql, const vqStlVector<vqVariant>& params);
  // `before` + " (?, ?, ...)" + `after` over `keys`, in batches, rows appended
  // in batch order.
  vqlm::ResultSet SelectIn(const vqString& before, const std::vector<vqString>& keys, const vqString& after);
  // The stored attributes of each of these revisions, in few queries.
  std::map<vqString, vqStlMap<vqString, vqVariant>> GetAttributesOf(const std::vector<vqString>& uids);
  std::int64_t CountDeletedContents();
  void InsertReferences(const vqString& sourceDmid, const std::vector<TargetRecord>& targets, int fromRevision);
  void InsertClassifications(const vqString& itemDmid, const std::vector<TargetRecord>& categories,
                             int fromRevision);
  std::vector<TargetRecord> GetReferencesAt(const vqString& sourceDmid, int revision);
  std::vector<TargetRecord> GetClassificationsAt(const vqString& itemDmid, int revision);
  // Current references to `targetDmid`: (source id, reference name).
  std::vector<TargetRecord> GetReferrers(const vqString& targetDmid);

  void InsertRelation(const RevisionRecord& record, const RelationRecord& ends);
  bool LoadRelation(const UDMUID& uid, RevisionRecord& record, RelationRecord& ends);
  // Identifiers of the relations with `dmid` at the right end (direction 1),
  // the left end (2) or either (anything else), oldest first.
  std::vector<UDMUID> GetRelationsOf(const vqString& dmid, int direction);
  void SetRelationEnd(const UDMUID& relation, bool left, int revision);

  // Check-out locks and revisions (EntityStoreRevisions.cpp).
  //
  // Takes the check-out lock of `dmid` for `wanted` unless another holds it,
  // and returns whoever holds it afterwards: one row per id, so of two
  // concurrent callers exactly one wins.
  LockRecord TakeLock(const vqString& dmid, const LockRecord& wanted);
  bool GetLock(const vqString& dmid, LockRecord& out);
  void ReleaseLock(const vqString& dmid);
  // Hands the locks `holder` has in any session to `sessionId`.
  void AdoptLocks(const vqString& holder, const vqString& sessionId);
  // Moves the latest revision of `dmid` from `expected` to `next`; false when
  // another writer moved it first.
  bool AdvanceLatestRevision(const vqString& dmid, int expected, int next);
  // Writes further revisions of existing entities with their attributes.
  void InsertRevisions(const std::vector<const RevisionRecord*>& records);
  void ReplaceReferences(const vqString& sourceDmid, const std::vector<TargetRecord>& targets, int revision);
  void ReplaceClassifications(const vqString& itemDmid, const std::vector<TargetRecord>& categories,
                              int revision);
  // The stored revisions of these identifiers with their attributes, in few queries.
  std::vector<RevisionRecord> LoadRevisions(const std::vector<vqString>& uids);
  // Every stored revision of `dmid`, oldest first, with attributes: one query.
  std::vector<RevisionRecord> GetRevisionRecords(const vqString& dmid);
  // Revisions named `name` with that revision number whose entity is a root
  // (has no current parent), oldest entity first.
  std::vector<UDMUID> FindRootRevisions(const vqString& name, int revision);
  // Data-model ids of the branches started from revision `sourceUid`, oldest first.
  std::vector<vqString> GetBranchesFrom(const UDMUID& sourceUid);

  // Files and contents (EntityStoreFiles.cpp).
  //
  // Records the files of revision `uid`, in order.
  void InsertFiles(const UDMUID& uid, const std::vector<FileRecord>& files);
  std::vector<FileRecord> GetFiles(const UDMUID& uid);
  // The content keys used by any revision of `dmid`.
  std::vector<vqString> GetContentKeysOf(const vqString& dmid);
  bool IsContentReferenced(const vqString& key);
  // Takes the lock that orders the writers and removers of one content.
  void LockContent(const vqString& key);
  // Contents kept in the database: chunks written under an upload name, then
  // the content row naming the upload.
  void InsertContentChunk(const vqString& upload, std::int64_t seq, const char* data, std::size_t size);
  bool ContentExists(const vqString& key);
  void InsertContent(const vqString& key, std::int64_t size, const vqString& upload);
  void DeleteUpload(const vqString& upload);
  void DeleteContent(const vqString& key);
  // The chunks of a content in order, each handed to `piece`; false when the content is missing.
  bool ReadContent(const vqString& key, const std::function<void(const vqString&)>& piece);

  // Rows as they are, for the importer.
  void BulkInsertRows(const char* table, const vqStlVector<vqString>& columns,
                      const std::vector<vqStlVector<vqVariant>>& rows) {
    BulkInsert(table, columns, rows);
  }
  // Makes `revision` the latest of `dmid` if it is newer than the latest.
  void RaiseLatestRevision(const vqString& dmid, int revision);

  // Definitions changed at run time (EntityStoreFiles.cpp).
  void StoreDefinition(const vqString& type, const vqString& xml, const vqString& time);
  // (type, xml) of every stored definition.
  std::vector<std::pair<vqString, vqString>> GetStoredDefinitions();
  bool HasEntitiesOf(const vqString& cdef);
  bool HasStoredValues(const vqString& cdef, const vqString& attribute);

  // Replaces the draft of `draft.uid`.
  void SaveDraft(const DraftRecord& draft, const vqString& holder, const vqString& sessionId, const vqString& time);
  void DeleteDraft(const UDMUID& uid);
  // Removes whichever of `uids` have drafts; one query when none has.
  void DeleteDrafts(const std::vector<const UDMUID*>& uids);
  // The drafts `holder` saved, oldest identifier first.
  std::vector<DraftRecord> GetDrafts(const vqString& holder);

  // Appends to the change log; call inside the change's transaction.
  void AppendChange(const ChangeLogEntry& entry);
  void AppendChanges(const std::vector<ChangeLogEntry>& entries);
  // Log entries after `afterSeq`, oldest first, except those of `excludeSession`.
  std::vector<ChangeLogEntry> ReadChanges(std::int64_t afterSeq, const vqString& excludeSession);
  // The newest entry's sequence number; 0 while the log is empty.
  std::int64_t LastChangeSeq();
  // The sequence number just before the first entry logged later than
  // `time` (in the log's form), else the newest entry's; one snapshot.
  std::int64_t ChangeSeqBefore(const vqString& time);
  // Waits up to `timeoutMs` for a sign that the change log grew: a
  // notification where the database sends them (call ListenForChanges before
  // reading the log, so nothing slips between the read and the wait), a short
  // sleep otherwise. The caller reads the log again either way.
  void ListenForChanges();
  void WaitForChangeSignal(int timeoutMs);

 private:
  void Begin(const vqString& what);
  void Commit(const vqString& what);
  void RollbackQuietly();

  std::unique_ptr<vqlm::iDbStatement>& Statement(const char* sql);
  vqlm::iDbStatement& BuiltStatement(const vqString& sql);
  vqlm::ResultSet Query(const char* sql, const vqStlVector<vqVariant>& params);
  // Returns the number of rows changed.
  std::int64_t Execute(const char* sql, const vqStlVector<vqVariant>& params);
  void ReplaceTargets(const char* table, const char* ownerColumn, const char* targetColumn, bool named,
                      const vqString& ownerDmid, const std::vector<TargetRecord>& targets, int revision);
  // Runs `statement` with `params`, handing each row to `onRow` as it is read.
  void QueryEach(vqlm::iDbStatement& statement, const vqStlVector<vqVariant>& params,
                 const std::function<void(const vqlm::DbRow&)>& onRow);
  // The records of a statement of RecordColumns.h.
  std::vector<LinkedRecord> QueryLinkedRecords(const char* sql, const vqStlVector<vqVariant>& params);
  std::vector<RevisionRecord> QueryRevisionRecords(vqlm::iDbStatement& statement,
                                                   const vqStlVector<vqVariant>& params);
  void BulkInsert(const char* table, const vqStlVector<vqString>& columns,
                  const std::vector<vqStlVector<vqVariant>>& rows);
  void BulkInsertEach(const char* table, const vqStlVector<vqString>& columns, std::size_t rowCount,
                      const vqlm::DbRowFiller& fill);

  std::shared_ptr<vqlm::iDbDriver> m_db;
  const SqlDialect& m_dialect;
  bool m_listening = false;
  std::vector<std::pair<const char*, std::unique_ptr<vqlm::iDbStatement>>> m_statements;
  // Statements built at run time (queries), the most recently used first:
  // preparing one can cost more than running it.
  std::list<std::pair<vqString, std::unique_ptr<vqlm::iDbStatement>>> m_built;
};

// Attribute values are stored with their type so they read back as written.
// The text views the value, or `scratch` where it has to be made.
void EncodeAttribute(const vqVariant& value, std::int64_t& type, vqlm::DbParam& text, vqlm::DbParam& number,
                     vqString& scratch);
void EncodeAttribute(const vqVariant& value, std::int64_t& type, vqVariant& text, vqVariant& number);
vqVariant DecodeAttribute(std::int64_t type, const vqVariant& text, const vqVariant& number);
// The same, moving a stored text into the value.
vqVariant DecodeAttribute(std::int64_t type, vqVariant&& text, const vqVariant& number);

}  // namespace vqkudm::store
