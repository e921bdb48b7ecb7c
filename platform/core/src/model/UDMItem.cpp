#include <vqkudmrt/UDMItem.h>

#include <algorithm>
#include <deque>
#include <set>

#include <vqkudm/UDMNames.h>
#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMChildGroup.h>
#include <vqkudmrt/UDMClassification.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMRelation.h>
#include <vqkudmrt/UDMSession.h>

#include "../store/EntityStore.h"
#include "EntityColumns.h"
#include "SessionOf.h"

namespace vqkudm {

UDMItem::UDMItem(const boost::shared_ptr<UDMSession>& session,
                 const boost::shared_ptr<UDMContentDefinition>& cdef, const UDMUID& uid)
    : UDMAbstractBaseEntity(session, cdef, uid) {}

UDMItem::~UDMItem() = default;

boost::shared_ptr<UDMSession> model::SessionOf(const UDMAbstractBaseEntity& entity, const char* signature) {
  boost::shared_ptr<UDMSession> session = entity.GetSession();
  if (!session) ThrowStateException(signature, entity.ToString("") + " has no session any more", ExcSubNull);
  return session;
}

using model::SessionOf;

bool UDMItem::IsPrototype() const { return m_cdef->GetMetaFlag(kMetaIsProto); }

bool UDMItem::IsOccurrence() const { return m_cdef->GetMetaFlag(kMetaIsProtoOcc); }

void UDMItem::LoadLinks() {
  if (m_linksLoaded) return;
  if (!m_isNew) {
    for (const store::LinkRecord& link :
         SessionOf(*this, UDM_FUNCSIG)->Store().GetChildrenAt(m_uid.GetDmUid(), GetRevision(), "")) {
      m_childLinks.push_back({link.group, link.childDmid});
      m_childKeys.insert(link.group + "/" + link.childDmid);
    }
  }
  m_linksLoaded = true;
}

UDMItemPtr UDMItem::Resolve(const vqString& dmid) const {
  return SessionOf(*this, UDM_FUNCSIG)->FindLatest(dmid);
}

bool UDMItem::IsAncestorOf(const UDMItem& item) {
  // Breadth-first over both stored links and links not stored yet.
  const vqString target = m_uid.GetDmUid();
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  std::set<vqString> seen;
  std::deque<UDMItemPtr> queue;
  auto visitParentsOf = [&](UDMItem& node) {
    for (const auto& weak : node.m_pendingParents) {
      if (UDMItemPtr parent = weak.lock()) queue.push_back(parent);
    }
    if (!node.m_isNew) {
      for (const store::AncestorRecord& a : session->Store().GetAncestors(node.m_uid.GetDmUid(), 1)) {
        if (UDMItemPtr parent = session->FindLatest(a.dmid)) queue.push_back(parent);
      }
    }
  };
  visitParentsOf(const_cast<UDMItem&>(item));
  while (!queue.empty()) {
    UDMItemPtr node = queue.front();
    queue.pop_front();
    const vqString dmid = node->m_uid.GetDmUid();
    if (dmid == target) return true;
    if (seen.insert(dmid).second) visitParentsOf(*node);
  }
  return false;
}

UDMItemPtr UDMItem::AddChild(const UDMItemPtr& child, const vqString& group) {
  if (!child) ThrowNullArgument(UDM_FUNCSIG, "child ");
  RequireEditable(UDM_FUNCSIG, "add a child");
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  boost::shared_ptr<UDMChildGroup> groupDef = m_cdef->GetUDMChildGroup(group);
  if (!groupDef) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "cannot add " + child->ToString("") + " to " + ToString("") + ": its definition has no child group \"" + group + "\"",
                             ExcSubNotFound);
  }
  if (!groupDef->Admits(child->GetContentDefinitionType(), *session->GetConfiguration())) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "group \"" + group + "\" of " + ToString("") + " does not admit " +
                                 child->ToString(""),
                             ExcSubWrongType);
  }
  if (child->m_uid.GetDmUid() == m_uid.GetDmUid() || child->IsAncestorOf(*this)) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "adding " + child->ToString("") + " under " + ToString("") +
                                 " would make a cycle in the structure",
                             ExcSubGeneral);
  }
  LoadLinks();
  if (m_childKeys.count(group + "/" + child->m_uid.GetDmUid())) return child;
  if (!child->GetContentDefinition()->IsMultipleParentsAllowed()) {
    UDMItemPtr existing = child->GetParent();
    if (existing && existing->m_uid.GetDmUid() != m_uid.GetDmUid()) {
      ThrowInvalidArgException(UDM_FUNCSIG,
                               child->ToString("") + " already has the parent " + existing->ToString("") +
                                   " and its definition allows only one",
                               ExcSubConflict);
    }
  }
  if (!groupDef->IsAllowedDuplicateNames()) {
    auto names = m_childNames.find(group);
    if (names == m_childNames.end()) {
      names = m_childNames.emplace(group, std::multiset<vqString>()).first;
      vqStlVector<UDMItemPtr> siblings;
      GetChildren(siblings, group);
      for (const UDMItemPtr& sibling : siblings) names->second.insert(sibling->GetName());
    }
    if (names->second.count(child->GetName())) {
      ThrowInvalidArgException(UDM_FUNCSIG,
                               "group \"" + group + "\" of " + ToString("") +
                                   " already holds an entity named \"" + child->GetName() + "\"",
                               ExcSubConflict);
    }
    names->second.insert(child->GetName());
  }
  m_childLinks.push_back({group, child->m_uid.GetDmUid()});
  m_childKeys.insert(group + "/" + child->m_uid.GetDmUid());
  child->m_pendingParents.push_back(boost::static_pointer_cast<UDMItem>(shared_from_this()));
  m_modified = true;
  UDMItemPtr self = boost::static_pointer_cast<UDMItem>(shared_from_this());
  session->Retain(self);
  session->Notify(SIGNAL_CHILD_ADDED, self, vqString(), vqVariant(), child);
  return child;
}

void UDMItem::RemoveChild(const UDMItemPtr& child) {
  if (!child) ThrowNullArgument(UDM_FUNCSIG, "child ");
  RequireEditable(UDM_FUNCSIG, "remove a child");
  LoadLinks();
  const vqString dmid = child->m_uid.GetDmUid();
  auto it = std::find_if(m_childLinks.begin(), m_childLinks.end(),
                         [&](const ChildLink& link) { return link.childDmid == dmid; });
  if (it == m_childLinks.end()) {
    ThrowInvalidArgException(UDM_FUNCSIG, child->ToString("") + " is not a child of " + ToString(""),
                             ExcSubNotFound);
  }
  auto names = m_childNames.find(it->group);
  if (names != m_childNames.end()) {
    auto name = names->second.find(child->GetName());
    if (name != names->second.end()) names->second.erase(name);
  }
  m_childKeys.erase(it->group + "/" + dmid);
  m_childLinks.erase(it);
  auto& parents = child->m_pendingParents;
  parents.erase(std::remove_if(parents.begin(), parents.end(),
                               [this](const boost::weak_ptr<UDMItem>& p) {
                                 UDMItemPtr parent = p.lock();
                                 return !parent || parent.get() == this;
                               }),
                parents.end());
  m_modified = true;
  SessionOf(*this, UDM_FUNCSIG)
      ->Notify(SIGNAL_CHILD_REMOVED, boost::static_pointer_cast<UDMItem>(shared_from_this()), vqString(),
               vqVariant(), child);
}

void UDMItem::GetChildren(vqStlVector<UDMItemPtr>& out, const vqString& group) {
  if (!m_isNew && !m_modified) {
    // Stored links only: the children and their attributes in one query.
    boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
    for (const store::LinkedRecord& linked :
         session->Store().GetChildRecordsAt(m_uid.GetDmUid(), GetRevision(), group)) {
      out.push_back(session->Adopt(linked.record));
    }
    return;
  }
  LoadLinks();
  for (const ChildLink& link : m_childLinks) {
    if (!group.empty() && link.group != group) continue;
    if (UDMItemPtr child = Resolve(link.childDmid)) out.push_back(child);
  }
}

vqString UDMItem::GetChildGroup(const UDMItemPtr& child) {
  LoadLinks();
  for (const ChildLink& link : m_childLinks) {
    if (child && link.childDmid == child->m_uid.GetDmUid()) return link.group;
  }
  return vqString();
}

UDMItemPtr UDMItem::GetParent() {
  for (const auto& weak : m_pendingParents) {
    if (UDMItemPtr parent = weak.lock()) return parent;
  }
  if (m_isNew) return UDMItemPtr();
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  for (const store::AncestorRecord& a : session->Store().GetAncestors(m_uid.GetDmUid(), 1)) {
    if (UDMItemPtr parent = session->FindLatest(a.dmid)) return parent;
  }
  return UDMItemPtr();
}

bool UDMItem::HasParent() {
  for (const auto& weak : m_pendingParents) {
    if (!weak.expired()) return true;
  }
  if (m_isNew) return false;
  // A stored link is enough: the parent itself need not be loaded.
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  return !session->Store().GetAncestors(m_uid.GetDmUid(), 1).empty();
}

bool UDMItem::IsRootEntity() { return !HasParent(); }

void UDMItem::GetParents(vqStlVector<UDMItemPtr>& out, int level) {
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  // Level by level, nearest first, each ancestor once.
  std::set<vqString> seen;
  std::vector<UDMItemPtr> current{boost::static_pointer_cast<UDMItem>(shared_from_this())};
  for (int depth = 1; !current.empty() && (level <= 0 || depth <= level); ++depth) {
    std::vector<UDMItemPtr> next;
    for (const UDMItemPtr& node : current) {
      std::vector<UDMItemPtr> parents;
      for (const auto& weak : node->m_pendingParents) {
        if (UDMItemPtr parent = weak.lock()) parents.push_back(parent);
      }
      if (!node->m_isNew) {
        for (const store::AncestorRecord& a : session->Store().GetAncestors(node->m_uid.GetDmUid(), 1)) {
          if (UDMItemPtr parent = session->FindLatest(a.dmid)) parents.push_back(parent);
        }
      }
      for (const UDMItemPtr& parent : parents) {
        if (seen.insert(parent->m_uid.GetDmUid()).second) {
          out.push_back(parent);
          next.push_back(parent);
        }
      }
    }
    current.swap(next);
  }
}

void UDMItem::GetParentsFromDB(
    std::map<int, vqStlVector<std::pair<boost::weak_ptr<UDMItem>, vqString>>>& out, int level,
    int /*reserved*/) {
  if (m_isNew) return;
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  for (const store::LinkedRecord& linked : session->Store().GetAncestorRecords(m_uid.GetDmUid(), level)) {
    out[linked.level].push_back({session->Adopt(linked.record), linked.group});
  }
}

UDMItemPtr UDMItem::GetFolder() {
  vqStlVector<UDMItemPtr> ancestors;
  GetParents(ancestors, 0);
  for (const UDMItemPtr& ancestor : ancestors) {
    const auto& cdef = ancestor->GetContentDefinition();
    if (cdef->GetType() == kClassLMFoldertype || cdef->DerivesFrom(kClassLMFoldertype)) return ancestor;
  }
  return UDMItemPtr();
}

UDMItemPtr UDMItem::GetRootEntity(bool /*followFirstParent*/) {
  UDMItemPtr node = boost::static_pointer_cast<UDMItem>(shared_from_this());
  std::set<vqString> seen{m_uid.GetDmUid()};
  while (UDMItemPtr parent = node->GetParent()) {
    if (!seen.insert(parent->m_uid.GetDmUid()).second) break;
    node = parent;
  }
  return node;
}

void UDMItem::LoadTargets() {
  if (m_targetsLoaded) return;
  if (!m_isNew) {
    store::EntityStore& db = SessionOf(*this, UDM_FUNCSIG)->Store();
    for (const store::TargetRecord& r : db.GetReferencesAt(m_uid.GetDmUid(), GetRevision())) {
      m_references.push_back({r.name, r.targetDmid});
    }
    for (const store::TargetRecord& c : db.GetClassificationsAt(m_uid.GetDmUid(), GetRevision())) {
      m_categories.push_back(c.targetDmid);
    }
  }
  m_targetsLoaded = true;
}

void UDMItem::AddReference(const UDMItemPtr& target, const vqString& name) {
  if (!target) ThrowNullArgument(UDM_FUNCSIG, "referenced item ");
  if (name.empty()) ThrowEmptyArgument(UDM_FUNCSIG, "reference name ");
  RequireEditable(UDM_FUNCSIG, "add a reference");
  LoadTargets();
  for (const NamedTarget& r : m_references) {
    if (r.name == name && r.dmid == target->m_uid.GetDmUid()) return;
  }
  m_references.push_back({name, target->m_uid.GetDmUid()});
  m_modified = true;
  SessionOf(*this, UDM_FUNCSIG)->Retain(boost::static_pointer_cast<UDMItem>(shared_from_this()));
}

void UDMItem::GetReferences(vqStlVector<UDMItemPtr>& out, const vqString& name) {
  LoadTargets();
  for (const NamedTarget& r : m_references) {
    if (!name.empty() && r.name != name) continue;
    if (UDMItemPtr target = Resolve(r.dmid)) out.push_back(target);
  }
}

void UDMItem::RemoveReference(const UDMItemPtr& target) {
  if (!target) ThrowNullArgument(UDM_FUNCSIG, "referenced item ");
  RequireEditable(UDM_FUNCSIG, "remove a reference");
  LoadTargets();
  const auto before = m_references.size();
  m_references.erase(std::remove_if(m_references.begin(), m_references.end(),
                                    [&](const NamedTarget& r) { return r.dmid == target->m_uid.GetDmUid(); }),
                     m_references.end());
  if (m_references.size() == before) {
    ThrowInvalidArgException(UDM_FUNCSIG, ToString("") + " does not reference " + target->ToString(""),
                             ExcSubNotFound);
  }
  m_modified = true;
}

void UDMItem::GetReferredBy(vqStlVector<UDMItemPtr>& items, vqStlVector<vqString>& names) {
  if (m_isNew) return;
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  for (const store::TargetRecord& r : session->Store().GetReferrers(m_uid.GetDmUid())) {
    if (UDMItemPtr source = session->FindLatest(r.targetDmid)) {
      items.push_back(source);
      names.push_back(r.name);
    }
  }
}

void UDMItem::AddClassification(const boost::shared_ptr<UDMClassification>& category) {
  if (!category) ThrowNullArgument(UDM_FUNCSIG, "classification ");
  RequireEditable(UDM_FUNCSIG, "classify");
  if (category->IsNew()) {
    ThrowStateException(UDM_FUNCSIG,
                        "cannot classify " + ToString("") + " under " + category->ToString("") +
                            ": persist the category first",
                        ExcSubGeneral);
  }
  LoadTargets();
  const vqString dmid = category->m_uid.GetDmUid();
  if (std::find(m_categories.begin(), m_categories.end(), dmid) != m_categories.end()) return;
  m_categories.push_back(dmid);
  m_modified = true;
  SessionOf(*this, UDM_FUNCSIG)->Retain(boost::static_pointer_cast<UDMItem>(shared_from_this()));
}

void UDMItem::RemoveClassification(const boost::shared_ptr<UDMClassification>& category) {
  if (!category) ThrowNullArgument(UDM_FUNCSIG, "classification ");
  RequireEditable(UDM_FUNCSIG, "remove a classification");
  LoadTargets();
  auto it = std::find(m_categories.begin(), m_categories.end(), category->m_uid.GetDmUid());
  if (it == m_categories.end()) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             ToString("") + " is not classified under " + category->ToString(""), ExcSubNotFound);
  }
  m_categories.erase(it);
  m_modified = true;
}

void UDMItem::GetClassifications(vqStlVector<boost::shared_ptr<UDMClassification>>& out, bool withParents) {
  LoadTargets();
  std::set<vqString> seen;
  for (const vqString& dmid : m_categories) {
    auto category = boost::dynamic_pointer_cast<UDMClassification>(Resolve(dmid));
    if (!category || !seen.insert(dmid).second) continue;
    out.push_back(category);
    if (!withParents) continue;
    vqStlVector<UDMItemPtr> parents;
    category->GetParents(parents, 0);
    for (const UDMItemPtr& parent : parents) {
      auto above = boost::dynamic_pointer_cast<UDMClassification>(parent);
      if (above && seen.insert(above->m_uid.GetDmUid()).second) out.push_back(above);
    }
  }
}

void UDMItem::GetRelations(vqStlVector<boost::shared_ptr<UDMRelation>>& out, int direction) {
  if (m_isNew) return;
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  for (const UDMUID& uid : session->Store().GetRelationsOf(m_uid.GetDmUid(), direction)) {
    if (boost::shared_ptr<UDMRelation> relation = session->FindRelationById(uid)) out.push_back(relation);
  }
}

}  // namespace vqkudm
