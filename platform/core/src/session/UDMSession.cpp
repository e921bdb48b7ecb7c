#include <vqkudmrt/UDMSession.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <set>

#include <boost/make_shared.hpp>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMClassification.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMLogger.h>
#include <vqkudmrt/UDMPlugin.h>
#include <vqkudmrt/UDMRelation.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMSessionConfig.h>
#include <vqkudmrt/store/DatabaseOpener.h>
#include <vqlmosa/osaDirectory.h>
#include <vqutl/vqLMUtils.h>
#include <vqutl/vqUUID.h>

#include "../model/EntityColumns.h"
#include "../store/EntityStore.h"
#include "../vault/ContentVault.h"
#include "RepositoryLocation.h"

namespace vqkudm {

IUDMSession::~IUDMSession() = default;

namespace {

vqString OperatingSystemUser() {
  for (const char* variable : {"USER", "LOGNAME", "USERNAME"}) {
    const vqString value = vqLMUtils::UtilsGetEnv(variable);
    if (!value.empty()) return value;
  }
  return "unknown";
}

}  // namespace

UDMSession::UDMSession(const boost::shared_ptr<UDMSessionConfig>& config) : m_config(config) {
  vqlm::UUID id;
  id.Generate();
  m_sessionId = id.ToString();
  m_userName = config->GetUserName().empty() ? OperatingSystemUser() : config->GetUserName();
}

UDMSession::~UDMSession() {
  if (m_plugins) m_plugins->UnloadAll();
  // The vault may use the store: it goes first.
  m_vault.reset();
}

boost::shared_ptr<UDMSession> UDMSession::Open(const boost::shared_ptr<UDMSessionConfig>& config) {
  if (!config) ThrowNullArgument(UDM_FUNCSIG, "session configuration ");
  boost::shared_ptr<UDMSession> session(new UDMSession(config));
  session->m_schema = UDMConfiguration::Load(config->GetUDMConfigFile());
  const session::RepositoryLocation location = session::LocateRepository(*config);
  session->m_store.reset(
      new store::EntityStore(store::OpenRepositoryDatabase(location.driver, location.connection)));
  session->ApplyStoredDefinitions();
  session->m_vault = location.vaultDir.empty() ? vault::OpenDatabaseVault(*session->m_store)
                                               : vault::OpenDirectoryVault(location.vaultDir);
  session->m_workspaceDir = session::PrepareWorkspace(*config);
  session->m_plugins.reset(
      new UDMPluginMgr(session, UDMFramework::GetInstance()->GetInstallLayout().pluginDir));
  for (const UDMPluginEntry& entry : session->m_schema->GetPluginEntries()) {
    session->m_plugins->Register(entry.key, entry.library);
  }
  return session;
}

vqString UDMSession::Now() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  return FormatTime(system_clock::to_time_t(now),
                    static_cast<int>(duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000));
}

vqString UDMSession::FormatTime(std::int64_t secondsSinceEpoch, int millis) {
  const std::time_t seconds = static_cast<std::time_t>(secondsSinceEpoch);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, millis);
  return text;
}

void UDMSession::RegisterSlot(const boost::shared_ptr<IUDMSlot>& slot) {
  if (!slot) ThrowNullArgument(UDM_FUNCSIG, "slot ");
  m_slots.push_back(slot);
}

void UDMSession::UnregisterSlot(const boost::shared_ptr<IUDMSlot>& slot) {
  m_slots.erase(std::remove(m_slots.begin(), m_slots.end(), slot), m_slots.end());
}

boost::shared_ptr<const UDMChangeRecord> UDMSession::Notify(SignalOption op,
                                                            const boost::shared_ptr<UDMItem>& entity,
                                                            const vqString& attributeName,
                                                            const vqVariant& attributeValue,
                                                            const boost::shared_ptr<UDMItem>& child,
                                                            const boost::shared_ptr<const UDMChangeRecord>& parent) {
  // Nobody listens: spare the record (bulk work makes many changes).
  if (m_slots.empty()) return boost::shared_ptr<const UDMChangeRecord>();
  auto record = boost::make_shared<UDMChangeRecord>();
  record->op = op;
  record->entity = entity;
  record->uid = entity ? entity->GetUID() : UDMUID();
  record->sessionId = m_sessionId;
  record->attributeName = attributeName;
  record->attributeValue = attributeValue;
  record->child = child;
  record->parent = parent;
  // A copy: slots may register or unregister while being told.
  const std::vector<boost::shared_ptr<IUDMSlot>> slots = m_slots;
  for (const auto& slot : slots) slot->update(UDMUpdateWrapper(record));
  return record;
}

void UDMSession::LogChange(SignalOption op, const UDMUID& uid, const UDMUID& child) {
  m_queryCache.clear();
  m_store->AppendChange(ChangeEntry(op, uid, child));
}

void UDMSession::LogChanges(SignalOption op, const std::vector<const UDMUID*>& uids) {
  m_queryCache.clear();
  if (uids.empty()) return;
  // One change, one time.
  std::vector<store::ChangeLogEntry> entries(uids.size(), ChangeEntry(op, UDMUID(), UDMUID()));
  for (std::size_t i = 0; i < uids.size(); ++i) entries[i].uid = uids[i]->ToString();
  m_store->AppendChanges(entries);
}

store::ChangeLogEntry UDMSession::ChangeEntry(SignalOption op, const UDMUID& uid, const UDMUID& child) const {
  store::ChangeLogEntry entry;
  entry.sessionId = m_sessionId;
  entry.op = op;
  entry.uid = uid.ToString();
  entry.childUid = child.ToString();
  entry.time = Now();
  return entry;
}

void UDMSession::ReadChangesOfOthers(std::int64_t afterSequence, vqStlVector<LoggedChange>& out) {
  for (const store::ChangeLogEntry& entry : m_store->ReadChanges(afterSequence, m_sessionId)) {
    out.push_back({entry.seq, entry.sessionId, static_cast<SignalOption>(entry.op), UDMUID(entry.uid),
                   entry.childUid, entry.time});
  }
}

void UDMSession::WaitForChangesOfOthers(std::int64_t afterSequence, int timeoutMs,
                                        vqStlVector<LoggedChange>& out) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  m_store->ListenForChanges();
  const std::size_t before = out.size();
  for (;;) {
    ReadChangesOfOthers(afterSequence, out);
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (out.size() > before || left.count() <= 0) return;
    m_store->WaitForChangeSignal(static_cast<int>(left.count()));
  }
}

std::int64_t UDMSession::LastChangeSequence() { return m_store->LastChangeSeq(); }

std::int64_t UDMSession::ChangeSequenceBefore(const vqString& time) { return m_store->ChangeSeqBefore(time); }

vqlm::iDbDriver& UDMSession::Database() { return m_store->Db(); }

boost::shared_ptr<UDMContentDefinition> UDMSession::GetContentDefinition(const vqString& type) const {
  return m_schema->GetContentDefinition(type);
}

boost::shared_ptr<UDMItem> UDMSession::Instantiate(
    const boost::shared_ptr<UDMContentDefinition>& cdef, UDMUID uid) {
  const vqString runtimeClass = cdef->GetUDMClassName();
  if (runtimeClass == kClassRelation) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "\"" + cdef->GetType() + "\" is a relation type; relations are created between two entities",
                             ExcSubWrongType);
  }
  boost::shared_ptr<UDMItem> item(
      runtimeClass == kClassClassification
          ? new UDMClassification(shared_from_this(), cdef, std::move(uid))
          : new UDMItem(shared_from_this(), cdef, std::move(uid)));
  SweepExpired();
  m_identityMap[item->GetUID().ToString()] = item;
  return item;
}

void UDMSession::SweepExpired() {
  if (m_identityMap.size() + m_newByDmid.size() < std::max(m_sweepAt, 2 * kCacheCapacity)) return;
  for (auto it = m_identityMap.begin(); it != m_identityMap.end();) {
    it = it->second.expired() ? m_identityMap.erase(it) : std::next(it);
  }
  for (auto it = m_newByDmid.begin(); it != m_newByDmid.end();) {
    const boost::shared_ptr<UDMItem> item = it->second.lock();
    it = item && item->IsNew() ? std::next(it) : m_newByDmid.erase(it);
  }
  m_sweepAt = 2 * (m_identityMap.size() + m_newByDmid.size());
}

boost::shared_ptr<UDMItem> UDMSession::Materialise(const UDMUID& uid) {
  store::RevisionRecord record;
  if (!m_store->LoadRevision(uid, record)) return boost::shared_ptr<UDMItem>();
  return Adopt(std::move(record));
}

void UDMSession::ReleaseCache() {
  for (const auto& item : m_recent) item->m_inRecent = false;
  m_recent.clear();
}

void UDMSession::Touch(const boost::shared_ptr<UDMItem>& item) {
  if (item->m_inRecent) {
    m_recent.splice(m_recent.begin(), m_recent, item->m_recentPosition);
    return;
  }
  m_recent.push_front(item);
  item->m_recentPosition = m_recent.begin();
  item->m_inRecent = true;
  if (m_recent.size() > kCacheCapacity) {
    m_recent.back()->m_inRecent = false;
    m_recent.pop_back();
  }
}

boost::shared_ptr<UDMItem> UDMSession::Adopt(store::RevisionRecord&& record) {
  auto held = m_identityMap.find(record.uid.ToString());
  if (held != m_identityMap.end()) {
    if (boost::shared_ptr<UDMItem> item = held->second.lock()) {
      Touch(item);
      return item;
    }
  }
  boost::shared_ptr<UDMContentDefinition> cdef = m_schema->GetContentDefinition(record.cdef);
  if (!cdef) {
    ThrowStateException(UDM_FUNCSIG,
                        "entity " + record.uid.ToString() + " is of the content definition \"" + record.cdef +
                            "\", which this session's schema does not have",
                        ExcSubNotFound);
  }
  boost::shared_ptr<UDMItem> item = Instantiate(cdef, std::move(record.uid));
  model::TakeRecordAttributes(std::move(record), item->m_attributes);
  item->m_latestRevision = record.latestRevision;
  item->m_deleted = record.deleted;
  item->m_notify = true;
  Touch(item);
  return item;
}

boost::shared_ptr<UDMItem> UDMSession::FindItemById(const UDMUID& uid, bool load, const vqString& cdefType) {
  if (!uid.IsValid()) return boost::shared_ptr<UDMItem>();
  boost::shared_ptr<UDMItem> item;
  auto it = m_identityMap.find(uid.ToString());
  if (it != m_identityMap.end()) item = it->second.lock();
  if (item && !item->IsNew()) Touch(item);
  if (!item && load) item = Materialise(uid);
  if (item && !cdefType.empty() && item->GetContentDefinitionType() != cdefType) {
    return boost::shared_ptr<UDMItem>();
  }
  return item;
}

boost::shared_ptr<UDMItem> UDMSession::FindLatest(const vqString& dmid) {
  auto fresh = m_newByDmid.find(dmid);
  if (fresh != m_newByDmid.end()) {
    boost::shared_ptr<UDMItem> item = fresh->second.lock();
    if (item && item->IsNew()) return item;
    m_newByDmid.erase(fresh);
  }
  int revision = 0;
  if (m_store->GetLatestRevision(dmid, revision)) {
    return FindItemById(UDMUID(dmid + vqString::FromInt(revision)), true, vqString());
  }
  // Not stored yet: only this session's own new entity can be meant.
  return FindItemById(UDMUID(dmid + "0"), false, vqString());
}

void UDMSession::GetAllContentDefinitions(vqStlVector<boost::shared_ptr<UDMContentDefinition>>& out) const {
  const auto& all = m_schema->GetContentDefinitions();
  out.insert(out.end(), all.begin(), all.end());
}

vqString UDMSession::GetSessionName() const {
  return m_userName + "@" + m_config->GetRepositoryName() + " (" + m_sessionId + ")";
}

void UDMSession::ResumeDrafts(vqStlVector<boost::shared_ptr<UDMItem>>& out) {
  std::vector<boost::shared_ptr<UDMItem>> resumed;
  // The user's check-outs move to this session along with the saved work.
  m_store->AdoptLocks(m_userName, m_sessionId);
  for (const store::DraftRecord& draft : m_store->GetDrafts(m_userName)) {
    boost::shared_ptr<UDMItem> held = FindItemById(draft.uid, false, vqString());
    if (held && held->IsCheckedOut()) continue;
    store::RevisionRecord record;
    if (m_store->LoadRevision(draft.uid, record)) {
      // Work on a stored revision: the draft replaces its stored state.
      boost::shared_ptr<UDMItem> item = held ? held : Adopt(std::move(record));
      const bool modified = item->DraftDiffersFromStored(draft.state);
      item->RestoreDraft(draft.state);
      item->m_checkedOut = true;
      item->m_modified = modified;
      Retain(item);
      resumed.push_back(item);
      continue;
    }
    boost::shared_ptr<UDMContentDefinition> cdef = m_schema->GetContentDefinition(draft.cdef);
    if (!cdef) {
      ThrowStateException(UDM_FUNCSIG,
                          "the draft " + draft.uid.ToString() + " is of the content definition \"" + draft.cdef +
                              "\", which this session's schema does not have",
                          ExcSubNotFound);
    }
    boost::shared_ptr<UDMItem> item = Instantiate(cdef, draft.uid);
    item->RestoreDraft(draft.state);
    item->m_isNew = true;
    item->m_checkedOut = true;
    item->m_notify = true;
    m_newByDmid[draft.uid.GetDmUid()] = item;
    Retain(item);
    resumed.push_back(item);
  }
  // Links between resumed items are not stored yet: tell each child its parent.
  for (const boost::shared_ptr<UDMItem>& parent : resumed) {
    for (const UDMItem::ChildLink& link : parent->m_childLinks) {
      boost::shared_ptr<UDMItem> child = FindLatest(link.childDmid);
      if (child) child->m_pendingParents.push_back(parent);
    }
  }
  out.insert(out.end(), resumed.begin(), resumed.end());
}

void UDMSession::Retain(const boost::shared_ptr<UDMItem>& item) {
  m_retained[item->GetUID().ToString()] = item;
}

void UDMSession::Release(const UDMItem& item) {
  auto retained = m_retained.find(item.GetUID().ToString());
  if (retained == m_retained.end()) return;
  // Unmodified now: it joins the entities kept for reuse, so whoever works
  // with it next finds the same object.
  Touch(retained->second);
  m_retained.erase(retained);
}

void UDMSession::Rekey(const UDMUID& oldUid, const boost::shared_ptr<UDMItem>& item) {
  m_identityMap.erase(oldUid.ToString());
  m_identityMap[item->GetUID().ToString()] = item;
  auto retained = m_retained.find(oldUid.ToString());
  if (retained != m_retained.end()) {
    m_retained.erase(retained);
    m_retained[item->GetUID().ToString()] = item;
  }
}

vqString UDMSession::DumpSession() const {
  vqString text = "session " + m_sessionId + "\n  user: " + m_userName +
                  "\n  repository: " + m_config->GetRepositoryName() +
                  " (" + (m_config->IsLocalDataSource() ? vqString("local") : m_config->GetDataSource()) +
                  ")\n  workspace: " + m_workspaceDir + "\n  entities held: " +
                  vqString::FromInt(static_cast<int>(m_identityMap.size())) + ", with unsaved changes: " +
                  vqString::FromInt(static_cast<int>(m_retained.size())) + "\n";
  for (const auto& [key, weak] : m_identityMap) {
    if (boost::shared_ptr<UDMItem> item = weak.lock()) {
      text += item->ToString("    ");
      if (item->IsNew()) text += " [new]";
      if (item->IsCheckedOut()) text += " [checked out]";
      if (item->IsModified()) text += " [modified]";
      if (item->IsDeleted()) text += " [deleted]";
      text += "\n";
    }
  }
  return text;
}

}  // namespace vqkudm
