#include <vqkudmrt/UDMItem.h>

#include <algorithm>
#include <set>

#include <vqnames/UDMNames.h>
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
                 const boost::shared_ptr<UDMContentDefinition>& cdef, UDMUID uid)
    : UDMAbstractBaseEntity(session, cdef, std::move(uid)) {}

UDMItem::~UDMItem() = default;

boost::shared_ptr<UDMSession> model::SessionOf(const UDMAbstractBaseEntity& entity, const char* signature) {
  boost::shared_ptr<UDMSession> session = entity.GetSession();
  if (!session) ThrowStateException(signature, entity.ToString("") + " has no session any more", ExcSubNull);
  return session;
}

using model::SessionOf;

bool UDMItem::IsPrototype() const { return m_cdef->GetMetaFlag(kMetaIsProto); }

bool UDMItem::IsOccurrence() const { return m_cdef->GetMetaFlag(kMetaIsProtoOcc); }

UDMItemPtr UDMItem::Resolve(const vqString& dmid) const {
  return SessionOf(*this, UDM_FUNCSIG)->FindLatest(dmid);
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
  RequireSameSession(UDM_FUNCSIG, *target);
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
  RequireSameSession(UDM_FUNCSIG, *category);
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
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  if (!m_isNew) {
    for (const UDMUID& uid : session->Store().GetRelationsOf(m_uid.GetDmUid(), direction)) {
      if (boost::shared_ptr<UDMRelation> relation = session->FindRelationById(uid)) out.push_back(relation);
    }
  }
  session->GetPendingRelations(out, m_uid.GetDmUid(), direction);
}

}  // namespace vqkudm
