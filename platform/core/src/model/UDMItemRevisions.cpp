// The revisions of an item and the branches between them.

#include <vqkudmrt/UDMItem.h>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMSession.h>

#include "../store/EntityStore.h"
#include "SessionOf.h"

namespace vqkudm {

using model::SessionOf;

vqStlVector<UDMItemPtr> UDMItem::GetAllRevisions() {
  UDMItemPtr self = boost::static_pointer_cast<UDMItem>(shared_from_this());
  if (m_isNew) return {self};
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  vqStlVector<UDMItemPtr> revisions;
  for (store::RevisionRecord& record : session->Store().GetRevisionRecords(m_uid.GetDmUid())) {
    // The identity map hands back this very object for its own revision.
    revisions.push_back(session->Adopt(std::move(record)));
  }
  return revisions;
}

UDMItemPtr UDMItem::GetBranchedFrom() {
  const vqVariant from = GetAttributeValue(kSmdBranchfrom);
  std::int64_t revision = 0;
  if (from.ToString().empty() || !GetAttributeValue(kSmdBranchfromver).ToInt64(revision)) return UDMItemPtr();
  return SessionOf(*this, UDM_FUNCSIG)->FindItemById(UDMUID(from.ToString() + std::to_string(revision)), true,
                                                     vqString());
}

vqStlVector<UDMItemPtr> UDMItem::GetBranchedTo() {
  vqStlVector<UDMItemPtr> branches;
  if (m_isNew) return branches;
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  for (const vqString& dmid : session->Store().GetBranchesFrom(m_uid)) {
    if (UDMItemPtr latest = session->FindLatest(dmid)) branches.push_back(latest);
  }
  return branches;
}

}  // namespace vqkudm
