// Structure: the uses of children, parents, roots and where-used.

#include <vqkudmrt/UDMItem.h>

#include <algorithm>
#include <set>
#include <vector>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMChildGroup.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMSession.h>

#include "../store/EntityStore.h"
#include "SessionOf.h"

namespace vqkudm {

using model::SessionOf;

namespace {

vqString UseKey(const vqString& group, const vqString& childDmid) { return group + "/" + childDmid; }

// The stored parents of each of `nodes`, in one query.
std::map<vqString, std::vector<vqString>> StoredParentsOf(UDMSession& session, const std::vector<UDMItemPtr>& nodes) {
  std::vector<vqString> stored;
  for (const UDMItemPtr& node : nodes) {
    if (!node->IsNew()) stored.push_back(node->GetUID().GetDmUid());
  }
  std::map<vqString, std::vector<vqString>> parents;
  if (stored.empty()) return parents;
  for (const auto& [child, parent] : session.Store().GetParentLinks(stored)) parents[child].push_back(parent);
  return parents;
}

}  // namespace

void UDMItem::LoadLinks() {
  if (m_linksLoaded) return;
  if (!m_isNew) {
    for (store::LinkRecord& link :
         SessionOf(*this, UDM_FUNCSIG)->Store().GetChildrenAt(m_uid.GetDmUid(), GetRevision(), "")) {
      ++m_useCounts[UseKey(link.group, link.childDmid)];
      m_nextPosition = std::max(m_nextPosition, link.position + 1);
      m_childLinks.push_back({link.group, link.childDmid, link.useId, link.position, std::move(link.attributes)});
    }
  }
  m_linksLoaded = true;
}

void UDMItem::RequireSameSession(const char* signature, const UDMAbstractBaseEntity& other) const {
  boost::shared_ptr<UDMSession> mine = SessionOf(*this, signature), theirs = SessionOf(other, signature);
  if (mine == theirs) return;
  ThrowInvalidArgException(signature,
                           other.ToString("") + " belongs to the session " + theirs->GetSessionName() + ", not to " +
                               mine->GetSessionName() + " of " + ToString("") +
                               "; find it again in this session first",
                           ExcSubWrongType);
}

bool UDMItem::IsAncestorOf(const UDMItem& item) {
  // Breadth-first over both stored links and links not stored yet; an item
  // without parents (the usual new one) allocates nothing.
  const vqString& target = m_uid.GetDmUid();
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  std::set<vqString> seen;
  std::vector<UDMItemPtr> queue;
  auto visitParentsOf = [&](UDMItem& node) {
    for (const auto& weak : node.m_pendingParents) {
      if (UDMItemPtr parent = weak.lock()) queue.push_back(parent);
    }
    if (node.m_isNew) return;
    for (const auto& link : session->Store().GetParentLinks({node.m_uid.GetDmUid()})) {
      if (UDMItemPtr parent = session->FindLatest(link.second)) queue.push_back(parent);
    }
  };
  visitParentsOf(const_cast<UDMItem&>(item));
  for (std::size_t next = 0; next < queue.size(); ++next) {
    const UDMItemPtr node = queue[next];
    const vqString& dmid = node->m_uid.GetDmUid();
    if (dmid == target) return true;
    if (seen.insert(dmid).second) visitParentsOf(*node);
  }
  return false;
}

UDMItemPtr UDMItem::AddChild(const UDMItemPtr& child, const vqString& group) {
  if (!child) ThrowNullArgument(UDM_FUNCSIG, "child ");
  AddUse(child, group, {});
  return child;
}

vqString UDMItem::AddUse(const UDMItemPtr& child, const vqString& group,
                         const vqStlMap<vqString, vqVariant>& attributes) {
  if (!child) ThrowNullArgument(UDM_FUNCSIG, "child ");
  RequireEditable(UDM_FUNCSIG, "add a child");
  RequireSameSession(UDM_FUNCSIG, *child);
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  boost::shared_ptr<UDMChildGroup> groupDef = m_cdef->GetUDMChildGroup(group);
  if (!groupDef) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "cannot add " + child->ToString("") + " to " + ToString("") +
                                 ": its definition has no child group \"" + group + "\"",
                             ExcSubNotFound);
  }
  if (!groupDef->Admits(child->GetContentDefinitionType(), *session->GetConfiguration())) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "group \"" + group + "\" of " + ToString("") + " does not admit " + child->ToString(""),
                             ExcSubWrongType);
  }
  if (child->m_uid.GetDmUid() == m_uid.GetDmUid() || child->IsAncestorOf(*this)) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "adding " + child->ToString("") + " under " + ToString("") +
                                 " would make a cycle in the structure: " + child->ToString("") +
                                 " is already above it",
                             ExcSubGeneral);
  }
  LoadLinks();
  const vqString key = UseKey(group, child->m_uid.GetDmUid());
  const bool used = m_useCounts.count(key) != 0;
  if (used && !groupDef->IsMultipleUses()) {
    for (const ChildLink& link : m_childLinks) {
      if (link.group == group && link.childDmid == child->m_uid.GetDmUid()) return link.useId;
    }
  }
  if (!child->GetContentDefinition()->IsMultipleParentsAllowed()) {
    UDMItemPtr existing = child->GetParent();
    if (existing && existing->m_uid.GetDmUid() != m_uid.GetDmUid()) {
      ThrowInvalidArgException(UDM_FUNCSIG,
                               child->ToString("") + " already has the parent " + existing->ToString("") +
                                   " and its definition allows only one",
                               ExcSubConflict);
    }
  }
  ChildLink use{group, child->m_uid.GetDmUid(), UDMUID::Generate(0).GetDmUid(), m_nextPosition, {}};
  for (const auto& definition : groupDef->GetUseAttributeDefinitions()) {
    if (definition->IsDefaultValueSet()) {
      use.attributes[definition->GetName()] = definition->CheckValue(
          vqVariant(definition->GetDefaultValue()), [this] { return ToString(""); });
    }
  }
  for (const auto& [name, value] : attributes) {
    boost::shared_ptr<UDMAttributeDefinition> definition = groupDef->GetUseAttributeDefinition(name);
    if (!definition) {
      ThrowInvalidArgException(UDM_FUNCSIG,
                               "cannot add " + child->ToString("") + " to " + ToString("") + ": group \"" + group +
                                   "\" declares no use attribute \"" + name + "\"",
                               ExcSubNotFound);
    }
    vqVariant checked = definition->CheckValue(
        value, [&] { return "a use of " + child->ToString("") + " in " + ToString(""); });
    if (checked.IsEmpty()) {
      use.attributes.erase(name);
    } else {
      use.attributes[name] = std::move(checked);
    }
  }
  // Another entity of the same name, not another use of the same one.
  if (!groupDef->IsAllowedDuplicateNames()) {
    auto names = m_childNames.find(group);
    if (names == m_childNames.end()) {
      names = m_childNames.emplace(group, std::multiset<vqString>()).first;
      vqStlVector<UDMItemPtr> siblings;
      GetChildren(siblings, group);
      for (const UDMItemPtr& sibling : siblings) names->second.insert(sibling->GetName());
    }
    if (!used && names->second.count(child->GetName())) {
      ThrowInvalidArgException(UDM_FUNCSIG,
                               "group \"" + group + "\" of " + ToString("") + " already holds an entity named \"" +
                                   child->GetName() + "\"",
                               ExcSubConflict);
    }
    names->second.insert(child->GetName());
  }
  ++m_nextPosition;
  ++m_useCounts[key];
  vqString useId = use.useId;
  m_childLinks.push_back(std::move(use));
  child->m_pendingParents.push_back(boost::static_pointer_cast<UDMItem>(shared_from_this()));
  m_modified = true;
  UDMItemPtr self = boost::static_pointer_cast<UDMItem>(shared_from_this());
  session->Retain(self);
  session->Notify(SIGNAL_CHILD_ADDED, self, vqString(), vqVariant(), child);
  return useId;
}

std::vector<UDMItem::ChildLink>::iterator UDMItem::FindUse(const char* signature, const vqString& useId) {
  LoadLinks();
  auto it = std::find_if(m_childLinks.begin(), m_childLinks.end(),
                         [&](const ChildLink& link) { return link.useId == useId; });
  if (it == m_childLinks.end()) {
    ThrowInvalidArgException(signature, ToString("") + " has no use \"" + useId + "\"", ExcSubNotFound);
  }
  return it;
}

void UDMItem::DropUse(std::vector<ChildLink>::iterator use, const UDMItemPtr& child) {
  const vqString key = UseKey(use->group, use->childDmid);
  auto names = m_childNames.find(use->group);
  if (names != m_childNames.end() && child) {
    auto name = names->second.find(child->GetName());
    if (name != names->second.end()) names->second.erase(name);
  }
  if (--m_useCounts[key] == 0) m_useCounts.erase(key);
  const vqString dmid = use->childDmid;
  m_childLinks.erase(use);
  m_modified = true;
  const bool stillUsed = std::any_of(m_childLinks.begin(), m_childLinks.end(),
                                     [&](const ChildLink& link) { return link.childDmid == dmid; });
  if (child && !stillUsed) LeavePendingParentOf(*child);
  if (child) {
    SessionOf(*this, UDM_FUNCSIG)
        ->Notify(SIGNAL_CHILD_REMOVED, boost::static_pointer_cast<UDMItem>(shared_from_this()), vqString(),
                 vqVariant(), child);
  }
}

void UDMItem::LeavePendingParentOf(UDMItem& child) const {
  auto& parents = child.m_pendingParents;
  parents.erase(std::remove_if(parents.begin(), parents.end(),
                               [this](const boost::weak_ptr<UDMItem>& p) {
                                 UDMItemPtr parent = p.lock();
                                 return !parent || parent.get() == this;
                               }),
                parents.end());
}

void UDMItem::RemoveChild(const UDMItemPtr& child) {
  if (!child) ThrowNullArgument(UDM_FUNCSIG, "child ");
  RequireEditable(UDM_FUNCSIG, "remove a child");
  LoadLinks();
  const vqString dmid = child->m_uid.GetDmUid();
  auto last = std::find_if(m_childLinks.rbegin(), m_childLinks.rend(),
                           [&](const ChildLink& link) { return link.childDmid == dmid; });
  if (last == m_childLinks.rend()) {
    ThrowInvalidArgException(UDM_FUNCSIG, child->ToString("") + " is not a child of " + ToString(""),
                             ExcSubNotFound);
  }
  DropUse(std::prev(last.base()), child);
}

void UDMItem::RemoveUse(const vqString& useId) {
  RequireEditable(UDM_FUNCSIG, "remove a use");
  auto use = FindUse(UDM_FUNCSIG, useId);
  DropUse(use, Resolve(use->childDmid));
}

void UDMItem::SetUseAttribute(const vqString& useId, const vqString& name, const vqVariant& value) {
  RequireEditable(UDM_FUNCSIG, "set attribute \"" + name + "\" of a use");
  auto use = FindUse(UDM_FUNCSIG, useId);
  boost::shared_ptr<UDMChildGroup> group = m_cdef->GetUDMChildGroup(use->group);
  boost::shared_ptr<UDMAttributeDefinition> definition = group ? group->GetUseAttributeDefinition(name) : nullptr;
  if (!definition) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "group \"" + use->group + "\" of " + ToString("") + " declares no use attribute \"" +
                                 name + "\"",
                             ExcSubNotFound);
  }
  const vqVariant checked =
      definition->CheckValue(value, [&] { return "use " + useId + " of " + ToString(""); });
  if (checked.IsEmpty()) {
    use->attributes.erase(name);
  } else {
    use->attributes[name] = checked;
  }
  m_modified = true;
  UDMItemPtr self = boost::static_pointer_cast<UDMItem>(shared_from_this());
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  session->Retain(self);
  session->Notify(SIGNAL_ATTRIBUTE_SET, self, name, checked, Resolve(use->childDmid));
}

std::map<vqString, UDMItemPtr> UDMItem::StoredChildren(const vqString& group) {
  std::map<vqString, UDMItemPtr> children;
  if (m_isNew) return children;
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  for (store::LinkedRecord& linked : session->Store().GetChildRecordsAt(m_uid.GetDmUid(), GetRevision(), group)) {
    const vqString dmid = linked.record.uid.GetDmUid();
    children.emplace(dmid, session->Adopt(std::move(linked.record)));
  }
  return children;
}

void UDMItem::GetChildren(vqStlVector<UDMItemPtr>& out, const vqString& group) {
  if (!m_isNew && !m_modified) {
    // Stored links only: the children and their attributes in one query.
    boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
    for (store::LinkedRecord& linked : session->Store().GetChildRecordsAt(m_uid.GetDmUid(), GetRevision(), group)) {
      out.push_back(session->Adopt(std::move(linked.record)));
    }
    return;
  }
  vqStlVector<UDMChildUse> uses;
  GetUses(uses, group);
  for (const UDMChildUse& use : uses) out.push_back(use.child);
}

void UDMItem::GetUses(vqStlVector<UDMChildUse>& out, const vqString& group) {
  LoadLinks();
  // Children not edited in this session come from one query, not one each.
  const std::map<vqString, UDMItemPtr> stored = StoredChildren(group);
  for (const ChildLink& link : m_childLinks) {
    if (!group.empty() && link.group != group) continue;
    auto known = stored.find(link.childDmid);
    UDMItemPtr child = known != stored.end() ? known->second : Resolve(link.childDmid);
    if (child) out.push_back({link.useId, link.group, child, link.attributes});
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
  for (const auto& link : session->Store().GetParentLinks({m_uid.GetDmUid()})) {
    if (UDMItemPtr parent = session->FindLatest(link.second)) return parent;
  }
  return UDMItemPtr();
}

bool UDMItem::HasParent() {
  for (const auto& weak : m_pendingParents) {
    if (!weak.expired()) return true;
  }
  if (m_isNew) return false;
  // A stored link is enough: the parent itself need not be loaded.
  return !SessionOf(*this, UDM_FUNCSIG)->Store().GetParentLinks({m_uid.GetDmUid()}).empty();
}

bool UDMItem::IsRootEntity() { return !HasParent(); }

void UDMItem::GetParents(vqStlVector<UDMItemPtr>& out, int level) {
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  // Level by level, nearest first, each ancestor once; one query per level.
  std::set<vqString> seen;
  std::vector<UDMItemPtr> current{boost::static_pointer_cast<UDMItem>(shared_from_this())};
  for (int depth = 1; !current.empty() && (level <= 0 || depth <= level); ++depth) {
    const std::map<vqString, std::vector<vqString>> stored = StoredParentsOf(*session, current);
    std::vector<UDMItemPtr> next;
    auto visit = [&](const UDMItemPtr& parent) {
      if (parent && seen.insert(parent->m_uid.GetDmUid()).second) {
        out.push_back(parent);
        next.push_back(parent);
      }
    };
    for (const UDMItemPtr& node : current) {
      for (const auto& weak : node->m_pendingParents) visit(weak.lock());
      auto parents = stored.find(node->m_uid.GetDmUid());
      if (parents == stored.end()) continue;
      for (const vqString& dmid : parents->second) {
        if (!seen.count(dmid)) visit(session->FindLatest(dmid));
      }
    }
    current.swap(next);
  }
}

void UDMItem::GetParentsFromDB(
    std::map<int, vqStlVector<std::pair<boost::weak_ptr<UDMItem>, vqString>>>& out, int level,
    int /*reserved*/) {
  vqStlVector<UDMWhereUsed> users;
  GetWhereUsed(users, level);
  for (const UDMWhereUsed& user : users) out[user.level].push_back({user.parent, user.group});
}

void UDMItem::GetWhereUsed(vqStlVector<UDMWhereUsed>& out, int level) {
  if (m_isNew) return;
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  for (store::LinkedRecord& linked : session->Store().GetAncestorRecords(m_uid.GetDmUid(), level)) {
    out.push_back({session->Adopt(std::move(linked.record)), linked.level, linked.group, linked.uses});
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

}  // namespace vqkudm
