#include <vqkudmrt/UDMSession.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <set>

#include <boost/make_shared.hpp>

#include <vqkudm/UDMNames.h>
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

void UDMSession::LogChanges(SignalOption op, const std::vector<UDMUID>& uids) {
  m_queryCache.clear();
  std::vector<store::ChangeLogEntry> entries;
  entries.reserve(uids.size());
  for (const UDMUID& uid : uids) entries.push_back(ChangeEntry(op, uid, UDMUID()));
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

vqlm::iDbDriver& UDMSession::Database() { return m_store->Db(); }

boost::shared_ptr<UDMContentDefinition> UDMSession::GetContentDefinition(const vqString& type) const {
  return m_schema->GetContentDefinition(type);
}

boost::shared_ptr<UDMItem> UDMSession::Instantiate(const boost::shared_ptr<UDMContentDefinition>& cdef,
                                                   const UDMUID& uid) {
  if (cdef->IsRelation()) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "\"" + cdef->GetType() + "\" is a relation type; relations are created between two entities",
                             ExcSubWrongType);
  }
  boost::shared_ptr<UDMItem> item(cdef->GetUDMClassName() == kClassClassification
                                      ? new UDMClassification(shared_from_this(), cdef, uid)
                                      : new UDMItem(shared_from_this(), cdef, uid));
  m_identityMap[uid.ToString()] = item;
  return item;
}

boost::shared_ptr<UDMItem> UDMSession::CreateEntity(const vqString& cdefType, const vqString& name,
                                                    const UDMUID& uid) {
  boost::shared_ptr<UDMContentDefinition> cdef = m_schema->GetContentDefinition(cdefType);
  if (!cdef) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "cannot create \"" + name + "\": there is no content definition \"" +
                                 cdefType + "\"",
                             ExcSubNotFound);
  }
  if (cdef->IsAbstract()) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "cannot create \"" + name + "\": the content definition \"" + cdefType +
                                 "\" is abstract",
                             ExcSubWrongType);
  }
  UDMUID id = uid;
  if (!id.IsValid()) {
    id = UDMUID::Generate(0);
  } else if (id.GetRevision() != 0 || m_store->EntityExists(id.GetDmUid()) ||
             m_identityMap.count(id.ToString())) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "cannot create \"" + name + "\" with identifier " + id.ToString() +
                                 ": a new entity needs an unused identifier at revision 0",
                             ExcSubConflict);
  }
  boost::shared_ptr<UDMItem> item = Instantiate(cdef, id);
  try {
    item->m_isNew = true;
    item->m_checkedOut = true;
    item->m_modified = true;
    vqStlVector<boost::shared_ptr<UDMAttributeDefinition>> definitions;
    cdef->GetAttributeDefinitions(definitions);
    for (const auto& definition : definitions) {
      if (definition->IsDefaultValueSet() && !definition->IsSystem()) {
        item->m_attributes[definition->GetName()] =
            definition->CheckValue(vqVariant(definition->GetDefaultValue()), item->ToString(""));
      }
    }
    item->SetAttribute(kSmdName, vqVariant(name));
  } catch (...) {
    m_identityMap.erase(id.ToString());
    throw;
  }
  const vqString now = Now();
  item->SetSystemAttribute(kSmdCreateduser, vqVariant(m_userName));
  item->SetSystemAttribute(kSmdCreatime, vqVariant(now));
  item->SetSystemAttribute(kSmdUser, vqVariant(m_userName));
  item->SetSystemAttribute(kSmdLstmodtime, vqVariant(now));
  m_newByDmid[id.GetDmUid()] = item;
  Retain(item);
  item->m_notify = true;
  Notify(SIGNAL_CREATED, item);
  return item;
}

boost::shared_ptr<UDMItem> UDMSession::Materialise(const UDMUID& uid) {
  store::RevisionRecord record;
  if (!m_store->LoadRevision(uid, record)) return boost::shared_ptr<UDMItem>();
  return Adopt(record);
}

void UDMSession::ReleaseCache() {
  m_recentIndex.clear();
  m_recent.clear();
}

void UDMSession::Touch(const boost::shared_ptr<UDMItem>& item) {
  auto it = m_recentIndex.find(item.get());
  if (it != m_recentIndex.end()) {
    m_recent.splice(m_recent.begin(), m_recent, it->second);
    return;
  }
  m_recent.push_front(item);
  m_recentIndex[item.get()] = m_recent.begin();
  if (m_recent.size() > kCacheCapacity) {
    m_recentIndex.erase(m_recent.back().get());
    m_recent.pop_back();
  }
}

boost::shared_ptr<UDMItem> UDMSession::Adopt(const store::RevisionRecord& record) {
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
  boost::shared_ptr<UDMItem> item = Instantiate(cdef, record.uid);
  for (const auto& [name, value] : record.attributes) item->m_attributes[name] = value;
  model::ApplyColumnAttributes(record, item->m_attributes);
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

boost::shared_ptr<UDMItem> UDMSession::RequireItem(const char* signature, const UDMUID& uid) {
  boost::shared_ptr<UDMItem> item = FindItemById(uid, true, vqString());
  if (!item) {
    ThrowInvalidArgException(signature, "no entity has the identifier \"" + uid.ToString() + "\"",
                             ExcSubNotFound);
  }
  return item;
}

void UDMSession::DeleteEntity(const UDMUID& uid) {
  boost::shared_ptr<UDMItem> item = RequireItem(UDM_FUNCSIG, uid);
  if (item->IsNew()) {
    ThrowStateException(UDM_FUNCSIG,
                        "cannot delete " + item->ToString("") + ": it is not persisted; obliterate it instead",
                        ExcSubGeneral);
  }
  if (!item->IsLatestVersion()) {
    ThrowStateException(UDM_FUNCSIG,
                        "cannot delete " + item->ToString("") + ": it is not the latest revision",
                        ExcSubGeneral);
  }
  m_store->InTransaction("deleting " + item->ToString(""), [&] {
    m_store->SetDeleted(uid.GetDmUid(), true);
    LogChange(SIGNAL_DELETED, uid);
  });
  item->m_deleted = true;
  Notify(SIGNAL_DELETED, item);
}

void UDMSession::UndeleteEntity(const UDMUID& uid) {
  boost::shared_ptr<UDMItem> item = RequireItem(UDM_FUNCSIG, uid);
  if (!item->IsDeleted()) {
    ThrowStateException(UDM_FUNCSIG, "cannot restore " + item->ToString("") + ": it is not deleted",
                        ExcSubGeneral);
  }
  m_store->InTransaction("restoring " + item->ToString(""), [&] {
    m_store->SetDeleted(uid.GetDmUid(), false);
    LogChange(SIGNAL_UNDELETED, uid);
  });
  item->m_deleted = false;
  Notify(SIGNAL_UNDELETED, item);
}

void UDMSession::ObliterateEntity(const UDMUID& uid, bool recursive) {
  boost::shared_ptr<UDMItem> item = RequireItem(UDM_FUNCSIG, uid);
  std::vector<vqString> doomed{uid.GetDmUid()};
  if (!item->IsNew()) {
    for (std::size_t i = 0; recursive && i < doomed.size(); ++i) {
      for (const vqString& child : m_store->GetOnlyChildren(doomed[i])) doomed.push_back(child);
    }
    try {
      m_store->InTransaction("obliterating " + item->ToString(""), [&] {
        std::set<vqString> contents;
        for (const vqString& dmid : doomed) {
          for (const vqString& key : m_store->GetContentKeysOf(dmid)) contents.insert(key);
          m_store->Obliterate(dmid);
        }
        // Contents no other revision uses leave the vault with the entity.
        for (const vqString& key : contents) {
          m_store->LockContent(key);
          if (!m_store->IsContentReferenced(key)) m_vault->Discard(key);
        }
        LogChange(SIGNAL_OBLITERATED, uid);
      });
    } catch (...) {
      m_vault->FinishDiscards(false);
      throw;
    }
    m_vault->FinishDiscards(true);
  }
  Notify(SIGNAL_OBLITERATED, item);
  // Forget every object of the obliterated entities; holders see them deleted.
  for (const vqString& dmid : doomed) {
    for (auto it = m_identityMap.begin(); it != m_identityMap.end();) {
      if (it->first.compare(0, UDMUID::kDmUidLength, dmid) == 0) {
        if (boost::shared_ptr<UDMItem> held = it->second.lock()) {
          held->m_deleted = true;
          auto recent = m_recentIndex.find(held.get());
          if (recent != m_recentIndex.end()) {
            m_recent.erase(recent->second);
            m_recentIndex.erase(recent);
          }
        }
        m_retained.erase(it->first);
        m_newByDmid.erase(dmid);
        it = m_identityMap.erase(it);
      } else {
        ++it;
      }
    }
  }
}

void UDMSession::ObliterateClassification(const boost::shared_ptr<UDMClassification>& category, bool recursive) {
  if (!category) ThrowNullArgument(UDM_FUNCSIG, "classification ");
  ObliterateEntity(category->GetUID(), recursive);
}

void UDMSession::GetAllContentDefinitions(vqStlVector<boost::shared_ptr<UDMContentDefinition>>& out) const {
  const auto& all = m_schema->GetContentDefinitions();
  out.insert(out.end(), all.begin(), all.end());
}

vqString UDMSession::GetSessionName() const {
  return m_userName + "@" + m_config->GetRepositoryName() + " (" + m_sessionId + ")";
}

unsigned long long UDMSession::GetDeletedContentsSize() {
  return static_cast<unsigned long long>(m_store->CountDeletedContents());
}


void UDMSession::GetRootEntities(int kind, vqStlVector<boost::shared_ptr<UDMItem>>& out) {
  vqString className;
  switch (kind) {
    case RootEntityItems: className = kClassItem; break;
    case RootEntityClassifications: className = kClassClassification; break;
    default:
      ThrowInvalidArgException(UDM_FUNCSIG, "unknown root entity kind " + vqString::FromInt(kind),
                               ExcSubOutOfRange);
  }
  for (const UDMUID& uid : m_store->GetRootEntities(className)) {
    if (boost::shared_ptr<UDMItem> item = FindItemById(uid, true, vqString())) out.push_back(item);
  }
}

boost::shared_ptr<UDMRelation> UDMSession::CreateRelation(const boost::shared_ptr<UDMItem>& source,
                                                          const boost::shared_ptr<UDMItem>& target,
                                                          const vqString& relationType, bool bidirectional) {
  auto refuse = [&](const vqString& reason) {
    UDMFramework::GetInstance()->GetLogger()->LogMessage(
        "no relation \"" + relationType + "\" made: " + reason, UDMLogger::LevelInfo);
    return boost::shared_ptr<UDMRelation>();
  };
  if (!source || !target) return refuse("an end is missing");
  if (source->IsNew() || target->IsNew()) return refuse("both ends must be persisted first");
  if (source->GetUID().GetDmUid() == target->GetUID().GetDmUid()) return refuse("both ends are the same item");
  boost::shared_ptr<UDMContentDefinition> cdef = m_schema->GetContentDefinition(relationType);
  if (!cdef || !cdef->IsRelation() || cdef->IsAbstract()) {
    return refuse("it is not a concrete relation definition");
  }
  boost::shared_ptr<UDMRelation> relation(new UDMRelation(shared_from_this(), cdef, UDMUID::Generate(0)));
  relation->m_kind = bidirectional ? RelationBidirectional : RelationDirected;
  relation->m_leftDmid = source->GetUID().GetDmUid();
  relation->m_leftRevision = source->GetRevision();
  relation->m_leftType = source->GetContentDefinitionType();
  relation->m_rightDmid = target->GetUID().GetDmUid();
  relation->m_rightRevision = target->GetRevision();
  relation->m_rightType = target->GetContentDefinitionType();
  const vqString name = source->GetName() + " -> " + target->GetName();
  store::RevisionRecord record;
  record.uid = relation->GetUID();
  record.cdef = relationType;
  record.className = cdef->GetUDMClassName();
  record.name = name;
  record.createdBy = record.modifiedBy = m_userName;
  record.createdTime = record.modifiedTime = Now();
  store::RelationRecord ends{relation->m_kind, relation->m_leftDmid, relation->m_rightDmid,
                             relation->m_leftType, relation->m_rightType, relation->m_leftRevision,
                             relation->m_rightRevision};
  m_store->InTransaction("relating " + source->ToString("") + " to " + target->ToString(""), [&] {
    m_store->InsertRelation(record, ends);
    LogChange(SIGNAL_CREATED, record.uid);
  });
  model::ApplyColumnAttributes(record, relation->m_attributes);
  m_relations[record.uid.ToString()] = relation;
  // The source gained a relation to the target.
  Notify(SIGNAL_MODIFIED, source, vqString(), vqVariant(), target);
  return relation;
}

boost::shared_ptr<UDMRelation> UDMSession::FindRelationById(const UDMUID& uid) {
  if (!uid.IsValid()) return boost::shared_ptr<UDMRelation>();
  auto it = m_relations.find(uid.ToString());
  if (it != m_relations.end()) return it->second;
  store::RevisionRecord record;
  store::RelationRecord ends;
  if (!m_store->LoadRelation(uid, record, ends)) return boost::shared_ptr<UDMRelation>();
  boost::shared_ptr<UDMContentDefinition> cdef = m_schema->GetContentDefinition(record.cdef);
  if (!cdef) return boost::shared_ptr<UDMRelation>();
  boost::shared_ptr<UDMRelation> relation(new UDMRelation(shared_from_this(), cdef, uid));
  for (const auto& [name, value] : record.attributes) relation->m_attributes[name] = value;
  model::ApplyColumnAttributes(record, relation->m_attributes);
  relation->m_kind = ends.kind;
  relation->m_leftDmid = ends.leftDmid;
  relation->m_rightDmid = ends.rightDmid;
  relation->m_leftType = ends.leftType;
  relation->m_rightType = ends.rightType;
  relation->m_leftRevision = ends.leftRevision;
  relation->m_rightRevision = ends.rightRevision;
  relation->m_latestRevision = record.latestRevision;
  m_relations[uid.ToString()] = relation;
  return relation;
}

void UDMSession::DeleteRelations(
    const vqStlVector<std::pair<boost::shared_ptr<UDMRelation>, vqStlMap<vqString, vqVariant>>>& relations) {
  m_store->InTransaction("removing relations", [&] {
    for (const auto& entry : relations) {
      if (!entry.first) ThrowNullArgument(UDM_FUNCSIG, "relation ");
      m_store->Obliterate(entry.first->GetUID().GetDmUid());
      LogChange(SIGNAL_OBLITERATED, entry.first->GetUID());
    }
  });
  for (const auto& entry : relations) {
    entry.first->m_deleted = true;
    m_relations.erase(entry.first->GetUID().ToString());
  }
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
      boost::shared_ptr<UDMItem> item = held ? held : Adopt(record);
      item->RestoreDraft(draft.state);
      item->m_checkedOut = true;
      item->m_modified = true;
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
