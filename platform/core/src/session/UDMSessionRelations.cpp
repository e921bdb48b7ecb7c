// Relations, and the relations and classifications that wait in the session
// until their ends are stored.

#include <vqkudmrt/UDMSession.h>

#include <algorithm>

#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMLogger.h>
#include <vqkudmrt/UDMRelation.h>

#include "../model/EntityColumns.h"
#include "../store/EntityStore.h"

namespace vqkudm {

struct UDMSession::PendingRelation {
  boost::shared_ptr<UDMRelation> relation;
  store::RevisionRecord record;
  store::RelationRecord ends;
};

boost::shared_ptr<UDMRelation> UDMSession::CreateRelation(const boost::shared_ptr<UDMItem>& source,
                                                          const boost::shared_ptr<UDMItem>& target,
                                                          const vqString& relationType, bool bidirectional) {
  auto refuse = [&](const vqString& reason) {
    UDMFramework::GetInstance()->GetLogger()->LogMessage(
        "no relation \"" + relationType + "\" made: " + reason, UDMLogger::LevelInfo);
    return boost::shared_ptr<UDMRelation>();
  };
  if (!source || !target) return refuse("an end is missing");
  if (source->GetSession().get() != this || target->GetSession().get() != this) {
    return refuse("an end belongs to another session");
  }
  if (source->GetUID().GetDmUid() == target->GetUID().GetDmUid()) return refuse("both ends are the same item");
  boost::shared_ptr<UDMContentDefinition> cdef = m_schema->GetContentDefinition(relationType);
  if (!cdef || !cdef->IsRelation() || cdef->IsAbstract()) {
    return refuse("it is not a concrete relation definition");
  }
  auto pending = std::make_shared<PendingRelation>();
  boost::shared_ptr<UDMRelation> relation(new UDMRelation(shared_from_this(), cdef, UDMUID::Generate(0)));
  relation->m_kind = bidirectional ? RelationBidirectional : RelationDirected;
  relation->m_leftDmid = source->GetUID().GetDmUid();
  relation->m_leftRevision = source->GetRevision();
  relation->m_leftType = source->GetContentDefinitionType();
  relation->m_rightDmid = target->GetUID().GetDmUid();
  relation->m_rightRevision = target->GetRevision();
  relation->m_rightType = target->GetContentDefinitionType();
  store::RevisionRecord& record = pending->record;
  record.uid = relation->GetUID();
  record.cdef = relationType;
  record.className = cdef->GetUDMClassName();
  record.name = source->GetName() + " -> " + target->GetName();
  record.createdBy = record.modifiedBy = m_userName;
  record.createdTime = record.modifiedTime = Now();
  pending->ends = {relation->m_kind,          relation->m_leftDmid,     relation->m_rightDmid,
                   relation->m_leftType,      relation->m_rightType,    relation->m_leftRevision,
                   relation->m_rightRevision};
  pending->relation = relation;
  model::ApplyColumnAttributes(record, relation->m_attributes);
  if (source->IsNew() || target->IsNew()) {
    // Stored by the check-in that stores its last new end.
    relation->m_isNew = true;
    m_pending.relations.push_back(pending);
  } else {
    m_store->InTransaction("relating " + source->ToString("") + " to " + target->ToString(""), [&] {
      m_store->InsertRelation(record, pending->ends);
      LogChange(SIGNAL_CREATED, record.uid);
    });
  }
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
  model::TakeRecordAttributes(std::move(record), relation->m_attributes);
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
  for (const auto& entry : relations) {
    if (!entry.first) ThrowNullArgument(UDM_FUNCSIG, "relation ");
  }
  m_store->InTransaction("removing relations", [&] {
    for (const auto& entry : relations) {
      if (entry.first->IsNew()) continue;  // never stored
      m_store->Obliterate(entry.first->GetUID().GetDmUid());
      LogChange(SIGNAL_OBLITERATED, entry.first->GetUID());
    }
  });
  for (const auto& entry : relations) {
    const boost::shared_ptr<UDMRelation>& relation = entry.first;
    relation->m_deleted = true;
    m_relations.erase(relation->GetUID().ToString());
    auto& waiting = m_pending.relations;
    waiting.erase(std::remove_if(waiting.begin(), waiting.end(),
                                 [&](const std::shared_ptr<PendingRelation>& p) { return p->relation == relation; }),
                  waiting.end());
  }
}

void UDMSession::GetPendingRelations(vqStlVector<boost::shared_ptr<UDMRelation>>& out, const vqString& dmid,
                                     int direction) const {
  const bool left = direction != RelationIncoming, right = direction != RelationOutgoing;
  for (const auto& pending : m_pending.relations) {
    const UDMRelation& relation = *pending->relation;
    if ((left && relation.m_leftDmid == dmid) || (right && relation.m_rightDmid == dmid)) {
      out.push_back(pending->relation);
    }
  }
}

UDMSession::PendingLinks UDMSession::StorePending(const std::map<vqString, std::vector<vqString>>& waiting) {
  PendingLinks left;
  for (const auto& pending : m_pending.relations) {
    const store::RelationRecord& ends = pending->ends;
    if (m_store->EntityExists(ends.leftDmid) && m_store->EntityExists(ends.rightDmid)) {
      m_store->InsertRelation(pending->record, ends);
      LogChange(SIGNAL_CREATED, pending->record.uid);
    } else {
      left.relations.push_back(pending);
    }
  }
  // The items of this check-in wait for exactly the categories they name now.
  std::vector<std::pair<vqString, vqString>> classifications;
  for (const auto& entry : m_pending.classifications) {
    if (!waiting.count(entry.first)) classifications.push_back(entry);
  }
  for (const auto& [item, categories] : waiting) {
    for (const vqString& category : categories) classifications.emplace_back(item, category);
  }
  for (const auto& [item, category] : classifications) {
    int revision = 0;
    if (!m_store->EntityExists(category) || !m_store->GetLatestRevision(item, revision)) {
      left.classifications.emplace_back(item, category);
      continue;
    }
    // The item's latest revision names the category from now on.
    std::vector<store::TargetRecord> current = m_store->GetClassificationsAt(item, revision);
    // An init-capture: C++17 lambdas cannot capture a structured binding, and clang refuses to.
    const bool there = std::any_of(
        current.begin(), current.end(),
        [&category = category](const store::TargetRecord& t) { return t.targetDmid == category; });
    if (!there) m_store->InsertClassifications(item, {{vqString(), category}}, revision);
  }
  return left;
}

void UDMSession::SettlePending(PendingLinks left) {
  for (const auto& pending : m_pending.relations) {
    if (std::find(left.relations.begin(), left.relations.end(), pending) == left.relations.end()) {
      pending->relation->m_isNew = false;
    }
  }
  m_pending = std::move(left);
}

void UDMSession::DropPendingOf(const vqString& dmid) {
  auto& relations = m_pending.relations;
  for (const auto& pending : relations) {
    if (pending->ends.leftDmid == dmid || pending->ends.rightDmid == dmid) {
      pending->relation->m_deleted = true;
      m_relations.erase(pending->record.uid.ToString());
    }
  }
  relations.erase(std::remove_if(relations.begin(), relations.end(),
                                 [&](const std::shared_ptr<PendingRelation>& p) {
                                   return p->ends.leftDmid == dmid || p->ends.rightDmid == dmid;
                                 }),
                  relations.end());
  auto& classifications = m_pending.classifications;
  classifications.erase(std::remove_if(classifications.begin(), classifications.end(),
                                       [&](const std::pair<vqString, vqString>& c) {
                                         return c.first == dmid || c.second == dmid;
                                       }),
                        classifications.end());
}

}  // namespace vqkudm
