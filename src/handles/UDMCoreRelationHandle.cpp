#include <vqkudm/UDMCoreEntityHandle.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>

#include "../foundation/HandleText.h"
#include "../foundation/SignatureText.h"

namespace vqkudm {

#define VQ_RELATION_SIG(result, rest) VQ_SIG(result, "UDMCoreRelationHandle", rest)

bool UDMCoreRelationHandle::CreateInstance(boost::shared_ptr<IUDMRelationHandle>& out,
                                           const boost::shared_ptr<UDMRelation>& iRelPtr) {
  if (!iRelPtr) {
    ThrowUDMException(VQ_RELATION_SIG("bool", "CreateInstance(" VQ_T_SHARED("class vqkudm::IUDMRelationHandle") " &,const "
                                              VQ_T_SHARED("class vqkudm::UDMRelation") " &)"),
                      "Unable to instantiate UDMCoreRelationHandle with NULL iRelPtr", ExcCatState, ExcSubNull);
  }
  out = boost::shared_ptr<IUDMRelationHandle>(new UDMCoreRelationHandle(iRelPtr));
  return true;
}

UDMCoreRelationHandle::UDMCoreRelationHandle(const boost::shared_ptr<UDMRelation>& relation)
    : m_relation(relation), m_uid(relation->GetUID().ToString()), m_cdef(relation->GetContentDefinitionType()) {}

UDMCoreRelationHandle::~UDMCoreRelationHandle() = default;

vqString UDMCoreRelationHandle::ToString() const {
  return HandleText(m_uid, m_cdef, m_url);
}

boost::shared_ptr<UDMRelation> UDMCoreRelationHandle::_GetUDMRelationPtr() const {
  boost::shared_ptr<UDMRelation> relation = m_relation.lock();
  if (!relation) {
    ThrowUDMException(VQ_RELATION_SIG(VQ_T_SHARED("class vqkudm::UDMRelation"), "_GetUDMRelationPtr(void) const"),
                      "Relation ref NULL for handle " + ToString(), ExcCatState, ExcSubNull);
  }
  return relation;
}

boost::shared_ptr<UDMRelation> UDMCoreRelationHandle::Resolve(const char* signature) const {
  boost::shared_ptr<UDMRelation> relation = _GetUDMRelationPtr();
  if (!relation) ThrowUDMException(signature, "Null Entity Ptr for handle " + ToString(), ExcCatState, ExcSubNull);
  return relation;
}

vqString UDMCoreRelationHandle::GetUrl() const { return m_url; }
vqString UDMCoreRelationHandle::GetCdef() const { return m_cdef; }

vqString UDMCoreRelationHandle::GetUID(bool refresh) const {
  if (refresh) {
    const vqString current = Resolve(VQ_RELATION_SIG(VQ_T_STRING, "GetUID(bool) const"))->GetUID().ToString();
    if (current != m_uid) m_uid = current;
  }
  return m_uid;
}

int UDMCoreRelationHandle::GetRelationType() const {
  return Resolve(VQ_RELATION_SIG("int", "GetRelationType(void) const"))->GetRelationType();
}
UDMUID UDMCoreRelationHandle::GetLeftEntityId() const {
  return Resolve(VQ_RELATION_SIG("class vqkudm::UDMUID", "GetLeftEntityId(void) const"))->GetLeftEntityId();
}
UDMUID UDMCoreRelationHandle::GetRightEntityId() const {
  return Resolve(VQ_RELATION_SIG("class vqkudm::UDMUID", "GetRightEntityId(void) const"))->GetRightEntityId();
}
vqString UDMCoreRelationHandle::GetLeftEntityType() const {
  return Resolve(VQ_RELATION_SIG(VQ_T_STRING, "GetLeftEntityType(void) const"))->GetLeftEntityType();
}
vqString UDMCoreRelationHandle::GetRightEntityType() const {
  return Resolve(VQ_RELATION_SIG(VQ_T_STRING, "GetRightEntityType(void) const"))->GetRightEntityType();
}

// ---- the entity's side

void UDMCoreEntityHandle::GetRelations(vqStlVector<boost::shared_ptr<IUDMRelationHandle>>& out,
                                       RelationDirection direction) {
  vqStlVector<boost::shared_ptr<UDMRelation>> relations;
  Resolve(VQ_ENTITY_SIG("void", "GetRelations(" VQ_T_VECTOR_OF_TEMPLATE(VQ_T_SHARED("class vqkudm::IUDMRelationHandle")) " &,enum "
                                "vqkudm::RelationDirection)"))
      ->GetRelations(relations, direction, nullptr, nullptr, true);
  for (const boost::shared_ptr<UDMRelation>& relation : relations) {
    boost::shared_ptr<IUDMRelationHandle> handle;
    UDMCoreRelationHandle::CreateInstance(handle, relation);
    out.push_back(handle);
  }
}

void UDMCoreEntityHandle::UpdateRelations(RelationDirection direction) {
  vqStlVector<boost::shared_ptr<UDMRelation>> relations;
  Resolve(VQ_ENTITY_SIG("void", "UpdateRelations(enum vqkudm::RelationDirection)"))
      ->GetRelations(relations, direction, nullptr, nullptr, true);
  for (const boost::shared_ptr<UDMRelation>& relation : relations) {
    if (direction == 2) {
      relation->UpdateRightItem();
    } else {
      relation->UpdateLeftItem();
    }
  }
}

}  // namespace vqkudm
