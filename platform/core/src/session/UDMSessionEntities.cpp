// Creating, deleting, restoring and obliterating entities; root entities.

#include <vqkudmrt/UDMSession.h>

#include <algorithm>
#include <set>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMClassification.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>

#include "../store/EntityStore.h"
#include "../vault/ContentVault.h"

namespace vqkudm {

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
  boost::shared_ptr<UDMItem> item = Instantiate(cdef, std::move(id));
  try {
    item->m_isNew = true;
    item->m_checkedOut = true;
    item->m_modified = true;
    vqStlVector<boost::shared_ptr<UDMAttributeDefinition>> definitions;
    cdef->GetAttributeDefinitions(definitions);
    auto defaulted = [](const auto& definition) {
      return definition->IsDefaultValueSet() && !definition->IsSystem();
    };
    // The defaults and the texts the repository keeps in columns (name, who,
    // when and the check-in's comment).
    item->m_attributes.reserve(
        static_cast<std::size_t>(std::count_if(definitions.begin(), definitions.end(), defaulted)) +
        store::RevisionRecord::kColumnTexts);
    for (const auto& definition : definitions) {
      if (defaulted(definition)) {
        item->m_attributes[definition->GetName()] = definition->CheckValue(
            vqVariant(definition->GetDefaultValue()), [&] { return item->ToString(""); });
      }
    }
    item->SetAttribute(kSmdName, vqVariant(name));
  } catch (...) {
    m_identityMap.erase(item->GetUID().ToString());
    throw;
  }
  const vqString now = Now();
  item->SetSystemAttribute(kSmdCreateduser, vqVariant(m_userName));
  item->SetSystemAttribute(kSmdCreatime, vqVariant(now));
  item->SetSystemAttribute(kSmdUser, vqVariant(m_userName));
  item->SetSystemAttribute(kSmdLstmodtime, vqVariant(now));
  m_newByDmid[item->GetUID().GetDmUid()] = item;
  Retain(item);
  item->m_notify = true;
  Notify(SIGNAL_CREATED, item);
  return item;
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
  RefuseIfUsed(UDM_FUNCSIG, "delete", *item, {uid.GetDmUid()});
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
  if (item->IsNew()) {
    RefuseIfUsed(UDM_FUNCSIG, "obliterate", *item, {uid.GetDmUid()});
    item->Discard(recursive ? GDM_RECURSE_ALL : GDM_RECURSE_NONE);
    return;
  }
  for (std::size_t i = 0; recursive && i < doomed.size(); ++i) {
    for (const vqString& child : m_store->GetOnlyChildren(doomed[i])) doomed.push_back(child);
  }
  RefuseIfUsed(UDM_FUNCSIG, "obliterate", *item, std::set<vqString>(doomed.begin(), doomed.end()));
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
  Notify(SIGNAL_OBLITERATED, item);
  for (const vqString& dmid : doomed) Forget(dmid);
}

void UDMSession::RefuseIfUsed(const char* signature, const vqString& what, UDMItem& item,
                              const std::set<vqString>& alsoGoing) {
  // Stored uses by the latest revisions of their parents, and uses this
  // session has not stored yet.
  std::set<vqString> users;
  vqString text;
  auto add = [&](const vqString& dmid, const vqString& description) {
    if (alsoGoing.count(dmid) || !users.insert(dmid).second) return;
    text += (text.empty() ? "" : ", ") + description;
  };
  for (const auto& weak : item.m_pendingParents) {
    if (boost::shared_ptr<UDMItem> parent = weak.lock()) add(parent->GetUID().GetDmUid(), parent->ToString(""));
  }
  if (!item.IsNew()) {
    for (const store::LinkedRecord& user : m_store->GetAncestorRecords(item.GetUID().GetDmUid(), 1)) {
      const store::RevisionRecord& r = user.record;
      add(r.uid.GetDmUid(), r.cdef + " '" + r.name + "' (" + r.uid.ToString() + ")" + (r.deleted ? " [deleted]" : ""));
    }
  }
  if (users.empty()) return;
  ThrowStateException(signature,
                      "cannot " + what + " " + item.ToString("") + ": it is still used by " + text +
                          "; remove it from them first",
                      ExcSubGeneral);
}

void UDMSession::Forget(const vqString& dmid) {
  // Holders of the objects see them deleted; the session no longer knows them.
  for (auto it = m_identityMap.begin(); it != m_identityMap.end();) {
    if (it->first.compare(0, UDMUID::kDmUidLength, dmid) != 0) {
      ++it;
      continue;
    }
    if (boost::shared_ptr<UDMItem> held = it->second.lock()) {
      held->m_deleted = true;
      if (held->m_inRecent) {
        held->m_inRecent = false;
        m_recent.erase(held->m_recentPosition);
      }
    }
    m_retained.erase(it->first);
    it = m_identityMap.erase(it);
  }
  m_newByDmid.erase(dmid);
  DropPendingOf(dmid);
}

void UDMSession::ObliterateClassification(const boost::shared_ptr<UDMClassification>& category, bool recursive) {
  if (!category) ThrowNullArgument(UDM_FUNCSIG, "classification ");
  ObliterateEntity(category->GetUID(), recursive);
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

}  // namespace vqkudm
