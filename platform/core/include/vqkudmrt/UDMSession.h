#pragma once

#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <vector>
#include <unordered_map>

#include <boost/enable_shared_from_this.hpp>
#include <boost/weak_ptr.hpp>

#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMIntegrity.h>
#include <vqkudmrt/UDMUpdateWrapper.h>

namespace vqlm {
class iDbDriver;
}

namespace vqkudm {

namespace vault {
class ContentVault;
}
namespace store {
class EntityStore;
struct ChangeLogEntry;
struct RevisionRecord;
}
class UDMExportCtrl;
class UDMImportCtrl;
class UDMPluginMgr;

class VQKUDMRT_API UDMSession : public IUDMSession, public boost::enable_shared_from_this<UDMSession> {
 public:
  // Opens (creating on first use) the repository the configuration names.
  // Use UDMFramework::CreateSession, which keeps the session alive.
  static boost::shared_ptr<UDMSession> Open(const boost::shared_ptr<UDMSessionConfig>& config);
  ~UDMSession() override;

  vqString GetSessionId() const override { return m_sessionId; }
  vqString GetUserName() const override { return m_userName; }
  vqString GetWorkspaceDir() const override { return m_workspaceDir; }
  void Lock() override { m_lock.lock(); }
  void Unlock() override { m_lock.unlock(); }
  vqString DumpSession() const override;

  boost::shared_ptr<UDMItem> FindItemById(const UDMUID& uid, bool load, const vqString& cdefType) override;
  boost::shared_ptr<UDMItem> FindItemByUrl(const vqString& url, bool includeDeleted) override;
  vqString GetDisplayUrl(const boost::shared_ptr<UDMItem>& item) override;
  // Runtime use: makes an entity findable by `url` in this session before it is stored.
  void IndexUrl(const vqString& url, const boost::shared_ptr<UDMItem>& item);
  boost::shared_ptr<UDMItem> CreateEntity(const vqString& cdefType, const vqString& name,
                                          const UDMUID& uid) override;
  void DeleteEntity(const UDMUID& uid) override;
  void UndeleteEntity(const UDMUID& uid) override;
  void ObliterateEntity(const UDMUID& uid, bool recursive) override;
  void ObliterateClassification(const boost::shared_ptr<UDMClassification>& category, bool recursive) override;
  void GetAllContentDefinitions(vqStlVector<boost::shared_ptr<UDMContentDefinition>>& out) const override;
  vqString GetSessionName() const override;
  unsigned long long GetDeletedContentsSize() override;
  void GetDeletedContents(vqStlVector<UDMQueryResultEntity>& out) override;
  bool UpdateContentDefinition(const vqString& path) override;
  // The session's export and import controllers (made on first use).
  boost::shared_ptr<UDMExportCtrl> GetExportCtrl();
  boost::shared_ptr<UDMImportCtrl> GetImportCtrl();
  boost::shared_ptr<UDMQuery> CreateQuery(const vqString& text, bool searchInExcluded, int reserved) override;
  void ExecuteQuery(const boost::shared_ptr<UDMQuery>& query, int mode, bool includeDeleted,
                    vqStlVector<boost::shared_ptr<UDMItem>>& out) override;
  void QueryCondition(const ICondition& condition, int mode, bool includeDeleted,
                      vqStlVector<boost::shared_ptr<UDMItem>>& out) override;
  void QueryPagedCached(UDMQueryResults& results, const vqString& text, int reserved, unsigned long long start,
                        unsigned long long count, const UDMQuerySettings& settings, bool allRevisions,
                        bool includeDeleted) override;
  void QueryPaged(UDMQueryResults& results, const vqString& text, unsigned long long start,
                  unsigned long long count, const UDMQuerySettings& settings, bool allRevisions, bool includeDeleted,
                  bool reserved) override;
  // How many results QueryPaged would page through, without fetching them.
  std::uint64_t CountQuery(const vqString& text, const UDMQuerySettings& settings, bool allRevisions,
                           bool includeDeleted);
  void LoadQueryResultContent(const boost::shared_ptr<UDMItem>& item, const UDMQueryResultEntity& row) override;
  void GetRootEntities(int kind, vqStlVector<boost::shared_ptr<UDMItem>>& out) override;
  boost::shared_ptr<UDMRelation> CreateRelation(const boost::shared_ptr<UDMItem>& source,
                                                const boost::shared_ptr<UDMItem>& target,
                                                const vqString& relationType, bool bidirectional) override;
  // Takes up the drafts this session's user saved (UDMItem::Save): each
  // becomes a new, checked-out entity of this session again, with its
  // attributes, children, references and classifications. Drafts this
  // session holds already are skipped. Appends the entities taken up; one
  // of a stored revision is modified when its draft's attributes (other than
  // system ones), structure, targets or files differ from that revision's.
  void ResumeDrafts(vqStlVector<boost::shared_ptr<UDMItem>>& out);

  // The session's plug-ins, registered from the data-model configuration.
  boost::shared_ptr<UDMPluginMgr> GetPluginMgr() const { return m_plugins; }

  // The relation of that identifier, or null.
  boost::shared_ptr<UDMRelation> FindRelationById(const UDMUID& uid);
  // Removes relations. Each comes with its options ("deleteallversions",
  // "cascade", "recurseoption"); a relation has one revision and owns
  // nothing, so every option leads to the same removal.
  void DeleteRelations(
      const vqStlVector<std::pair<boost::shared_ptr<UDMRelation>, vqStlMap<vqString, vqVariant>>>& relations);

  void RegisterSlot(const boost::shared_ptr<IUDMSlot>& slot) override;
  void UnregisterSlot(const boost::shared_ptr<IUDMSlot>& slot) override;

  // A change made by another session or process, from the repository's log.
  struct LoggedChange {
    std::int64_t sequence = 0;
    vqString sessionId;
    SignalOption op = SIGNAL_NONE;
    UDMUID uid;
    vqString childUid;
    vqString time;
  };
  // Checks every invariant of the repository: the database's own check,
  // every row's references, every file record's content (present, of its
  // size and hash), the schema version. Changes nothing, except that with
  // `pruneContents` the contents nothing refers to are removed.
  UDMIntegrityReport VerifyRepository(bool pruneContents);
  // The changes other sessions stored after `afterSequence`, oldest first.
  void ReadChangesOfOthers(std::int64_t afterSequence, vqStlVector<LoggedChange>& out);
  // Like ReadChangesOfOthers, but when there are none yet waits up to
  // `timeoutMs` for another session to store some. On a server that sends
  // notifications the wait costs nothing until a change is committed.
  void WaitForChangesOfOthers(std::int64_t afterSequence, int timeoutMs, vqStlVector<LoggedChange>& out);
  // The sequence number of the newest change in the log, 0 while it is
  // empty: reading after it yields only what comes next.
  std::int64_t LastChangeSequence();
  // The sequence number to read after for the changes logged later than
  // `time` (in Now()'s form): just before the first of them, else the
  // newest change's.
  std::int64_t ChangeSequenceBefore(const vqString& time);

  boost::shared_ptr<UDMSessionConfig> GetSessionConfig() const override { return m_config; }
  boost::shared_ptr<UDMConfiguration> GetConfiguration() const override { return m_schema; }
  boost::shared_ptr<UDMContentDefinition> GetContentDefinition(const vqString& type) const override;

  // Runtime use.
  store::EntityStore& Store() { return *m_store; }
  vault::ContentVault& Vault() { return *m_vault; }
  // The repository database, for diagnostics and tools.
  vqlm::iDbDriver& Database();
  // The current revision of a data-model id: the session's own object when
  // it holds a new or edited one, else the latest stored revision.
  boost::shared_ptr<UDMItem> FindLatest(const vqString& dmid);
  // The session's object for a stored revision read in bulk: the one it
  // already holds, else a new one made from the record.
  boost::shared_ptr<UDMItem> Adopt(store::RevisionRecord&& record);
  // Lets go of the unmodified entities kept for reuse, as a long-running
  // application does to bound its memory. Entities still held elsewhere or
  // with unsaved changes stay; the others are loaded again when next asked for.
  void ReleaseCache();
  // Keeps an entity alive while it has unsaved changes, or returns it to the
  // entities kept for reuse.
  void Retain(const boost::shared_ptr<UDMItem>& item);
  void Release(const UDMItem& item);
  // Makes a change record, delivers it to the registered slots and returns
  // it; null when no slot is registered.
  boost::shared_ptr<const UDMChangeRecord> Notify(SignalOption op, const boost::shared_ptr<UDMItem>& entity,
                                                  const vqString& attributeName = vqString(),
                                                  const vqVariant& attributeValue = vqVariant(),
                                                  const boost::shared_ptr<UDMItem>& child = nullptr,
                                                  const boost::shared_ptr<const UDMChangeRecord>& parent = nullptr);
  // Appends a stored change to the repository's log (inside its transaction).
  void LogChange(SignalOption op, const UDMUID& uid, const UDMUID& child = UDMUID());
  void LogChanges(SignalOption op, const std::vector<const UDMUID*>& uids);
  // Moves an entity in the identity map after its identifier changed.
  void Rekey(const UDMUID& oldUid, const boost::shared_ptr<UDMItem>& item);
  // Forgets every object of a data-model id (obliterated or discarded) and
  // what waits for it; holders see their objects deleted.
  void Forget(const vqString& dmid);

  // Relations and classifications made before their ends were stored wait
  // here until the check-in that stores their last end.
  struct PendingRelation;
  struct PendingLinks {
    std::vector<std::shared_ptr<PendingRelation>> relations;
    std::vector<std::pair<vqString, vqString>> classifications;  // (item, category)
  };
  // The waiting relations with `dmid` at the end `direction` names.
  void GetPendingRelations(vqStlVector<boost::shared_ptr<UDMRelation>>& out, const vqString& dmid,
                           int direction) const;
  // Check-in, inside its transaction: stores what waits and has all its ends
  // stored now; `waiting` gives the categories each checked-in item waits
  // for instead of what it waited for before. Returns what still waits, for
  // SettlePending once the transaction committed.
  PendingLinks StorePending(const std::map<vqString, std::vector<vqString>>& waiting);
  void SettlePending(PendingLinks left);
  // The current time as stored in the repository (ISO-8601, UTC, ms).
  static vqString Now();
  // A time in the same form as Now(), from seconds since 1970 (UTC).
  static vqString FormatTime(std::int64_t secondsSinceEpoch, int millis = 0);

 private:
  UDMSession(const boost::shared_ptr<UDMSessionConfig>& config);
  boost::shared_ptr<UDMItem> Materialise(const UDMUID& uid);
  boost::shared_ptr<UDMItem> Instantiate(const boost::shared_ptr<UDMContentDefinition>& cdef, UDMUID uid);
  boost::shared_ptr<UDMItem> RequireItem(const char* signature, const UDMUID& uid);
  // The revision of the root entity in a versioned URL: the number after the
  // first "~v", up to the next "/".
  int _GetProjectVersion(const vqString& url) const;
  // The rows of a query, filtered in memory where the condition needs it
  // (callbacks); `page` (start, count; count 0: all) limits them in the database.
  struct QueryRun;
  vqStlVector<UDMQueryResultEntity> RunQuery(const QueryRun& run, std::uint64_t* total,
                                             std::pair<std::uint64_t, std::uint64_t> page);
  std::uint64_t CountMatches(const QueryRun& run);
  // The run of a paged query: its text and the settings' filter, sorting
  // and case.
  QueryRun PagedRun(const vqString& text, const UDMQuerySettings& settings, bool allRevisions,
                    bool includeDeleted) const;
  void AddContent(vqStlVector<UDMQueryResultEntity>& rows);
  // Installs the definitions stored in the repository over the configured ones.
  void ApplyStoredDefinitions();
  store::ChangeLogEntry ChangeEntry(SignalOption op, const UDMUID& uid, const UDMUID& child) const;
  // Refuses to `what` an item that parents other than `alsoGoing` still use,
  // naming every one of them.
  void RefuseIfUsed(const char* signature, const vqString& what, UDMItem& item,
                    const std::set<vqString>& alsoGoing);
  void DropPendingOf(const vqString& dmid);

  boost::shared_ptr<UDMSessionConfig> m_config;
  boost::shared_ptr<UDMConfiguration> m_schema;
  std::unique_ptr<store::EntityStore> m_store;
  std::unique_ptr<vault::ContentVault> m_vault;
  std::map<vqString, boost::weak_ptr<UDMItem>> m_urlIndex;
  boost::shared_ptr<UDMExportCtrl> m_exportCtrl;
  boost::shared_ptr<UDMImportCtrl> m_importCtrl;
  // Ordered results of cached paged queries, until this session changes the repository.
  std::map<vqString, vqStlVector<UDMQueryResultEntity>> m_queryCache;
  vqString m_sessionId;
  vqString m_userName;
  vqString m_workspaceDir;
  std::recursive_mutex m_lock;
  // Every entity object of the session by identifier text, while it lives.
  std::unordered_map<vqString, boost::weak_ptr<UDMItem>> m_identityMap;
  // New entities by data-model id, so links to them resolve without a query.
  std::unordered_map<vqString, boost::weak_ptr<UDMItem>> m_newByDmid;
  // Both maps keep an entry after its entity is gone: swept whenever they
  // have doubled, so a long session's memory follows what it holds.
  std::size_t m_sweepAt = 0;
  void SweepExpired();
  // Entities with unsaved changes, held until persisted or undone.
  std::unordered_map<vqString, boost::shared_ptr<UDMItem>> m_retained;
  // The most recently used unmodified entities, held so that lookups in a
  // row do not reload them; the oldest are dropped beyond the capacity.
  static constexpr std::size_t kCacheCapacity = 20000;
  std::list<boost::shared_ptr<UDMItem>> m_recent;
  void Touch(const boost::shared_ptr<UDMItem>& item);
  std::vector<boost::shared_ptr<IUDMSlot>> m_slots;
  boost::shared_ptr<UDMPluginMgr> m_plugins;
  // Relations live as long as the session, so handles never lose them.
  std::unordered_map<vqString, boost::shared_ptr<UDMRelation>> m_relations;
  PendingLinks m_pending;
};

}  // namespace vqkudm
