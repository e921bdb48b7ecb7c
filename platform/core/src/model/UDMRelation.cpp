#include <vqkudmrt/UDMRelation.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>

#include "../store/EntityStore.h"

namespace vqkudm {

UDMRelation::UDMRelation(const boost::shared_ptr<UDMSession>& session,
                         const boost::shared_ptr<UDMContentDefinition>& cdef, UDMUID uid)
    : UDMAbstractBaseEntity(session, cdef, std::move(uid)) {}

UDMRelation::~UDMRelation() = default;

UDMUID UDMRelation::CurrentEnd(const vqString& dmid, int revision) const {
  if (boost::shared_ptr<UDMSession> session = GetSession()) {
    if (UDMItemPtr end = session->FindLatest(dmid)) return end->GetUID();
  }
  return UDMUID(dmid + vqString::FromInt(revision));
}

UDMUID UDMRelation::GetLeftEntityId() const { return CurrentEnd(m_leftDmid, m_leftRevision); }
UDMUID UDMRelation::GetRightEntityId() const { return CurrentEnd(m_rightDmid, m_rightRevision); }

void UDMRelation::UpdateEnd(bool left) {
  // A relation not stored yet is stored with the revisions its ends have then.
  if (m_isNew) return;
  boost::shared_ptr<UDMSession> session = GetSession();
  if (!session) ThrowStateException(UDM_FUNCSIG, ToString("") + " has no session any more", ExcSubNull);
  int latest = 0;
  const vqString& dmid = left ? m_leftDmid : m_rightDmid;
  if (!session->Store().GetLatestRevision(dmid, latest)) {
    ThrowStateException(UDM_FUNCSIG,
                        "the " + vqString(left ? "left" : "right") + " end of " + ToString("") + " no longer exists",
                        ExcSubNotFound);
  }
  session->Store().InTransaction("updating " + ToString(""),
                                 [&] { session->Store().SetRelationEnd(m_uid, left, latest); });
  (left ? m_leftRevision : m_rightRevision) = latest;
}

void UDMRelation::UpdateLeftItem() { UpdateEnd(true); }
void UDMRelation::UpdateRightItem() { UpdateEnd(false); }

}  // namespace vqkudm
