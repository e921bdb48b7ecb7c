// Creating, deleting and restoring entities, and the parent/child structure.

#include <vqkudm/UDMCoreEntityHandle.h>
#include <vqkudm/UDMCoreProfile.h>
#include <vqkudm/UDMNames.h>

#include <vqkudmrt/UDMClassification.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

UDMItemHandle UDMCoreProfile::CreateEntity(const vqString& className, const vqString& name) {
  boost::shared_ptr<IUDMSession> session = Session();
  boost::shared_ptr<UDMItem> item = session->CreateEntity(className, name, UDMUID());
  return GetUDMItemHandle(item->GetUID().ToString());
}

UDMItemHandle UDMCoreProfile::CreateAndAdd(const vqString& className, const vqString& name,
                                           const UDMItemHandle& parent, const vqString& group) {
  static const char* const kSignature = VQ_PROFILE_SIG(
      VQ_T_ITEM, "CreateAndAdd(" VQ_T_STRING_CREF "," VQ_T_STRING_CREF "," VQ_T_ITEM_CREF "," VQ_T_STRING_CREF ")");
  // Held so that the session outlives both steps.
  boost::shared_ptr<IUDMSession> session = Session();
  UDMItemHandle child = CreateEntity(className, name);
  boost::shared_ptr<UDMCoreEntityHandle> parentCore = ResolveEntity(kSignature, parent);
  boost::shared_ptr<UDMCoreEntityHandle> childCore = ResolveEntity(kSignature, child);
  parentCore->AddChild(childCore, group);
  return child;
}

void UDMCoreProfile::DeleteRootEntity(UDMItemHandle& entity, const bool, const bool) {
  const bool latest = entity.IsLatestRevision();
  boost::shared_ptr<IUDMSession> session = Session();
  if (!latest) {
    ThrowInvalidArgException(VQ_PROFILE_SIG("void", "DeleteRootEntity(" VQ_T_ITEM_REF ",const bool,const bool)"),
                             "Cannot delete outdated entity " + entity.ToString(), ExcSubGeneral);
  }
  session->DeleteEntity(UDMUID(entity.GetUID()));
}

void UDMCoreProfile::Obliterate(const UDMItemHandle& entity, const bool recursive) {
  boost::shared_ptr<IUDMSession> session = Session();
  boost::shared_ptr<UDMItem> item =
      ResolveItem(VQ_PROFILE_SIG("void", "Obliterate(" VQ_T_ITEM_CREF ",const bool)"), entity);
  if (entity.GetCdef() == kFolderKindCategories) {
    session->ObliterateClassification(boost::dynamic_pointer_cast<UDMClassification>(item), recursive);
    return;
  }
  session->ObliterateEntity(UDMUID(entity.GetUID()), recursive);
}

void UDMCoreProfile::UnDeleteEntity(const UDMItemHandle& entity) {
  Session()->UndeleteEntity(UDMUID(entity.GetUID()));
}

unsigned long long UDMCoreProfile::GetDeletedContentsSize() {
  return Session()->GetDeletedContentsSize();
}

void UDMCoreProfile::GetDeletedContents(vqStlVector<UDMItemHandle>& out) {
  boost::shared_ptr<IUDMSession> session = Session();
  vqStlVector<UDMQueryResultEntity> deleted;
  session->GetDeletedContents(deleted);
  const boost::shared_ptr<IUDMProfile> self = GetThisPtr();
  for (UDMQueryResultEntity& row : deleted) {
    out.push_back(UDMCoreProfileUtils::GetUDMItemHandleForQueryEntity(row, self, true));
  }
}

void UDMCoreProfile::AddChild(const UDMItemHandle& parent, const UDMItemHandle& child, const vqString& group) {
  static const char* const kSignature =
      VQ_PROFILE_SIG("void", "AddChild(" VQ_T_ITEM_CREF "," VQ_T_ITEM_CREF "," VQ_T_STRING_CREF ")");
  boost::shared_ptr<UDMCoreEntityHandle> parentCore = ResolveEntity(kSignature, parent);
  parentCore->AddChild(ResolveEntity(kSignature, child), group);
}

void UDMCoreProfile::RemoveChildFromParent(UDMItemHandle& parent, UDMItemHandle& child) {
  static const char* const kSignature =
      VQ_PROFILE_SIG("void", "RemoveChildFromParent(" VQ_T_ITEM_REF "," VQ_T_ITEM_REF ")");
  boost::shared_ptr<UDMCoreEntityHandle> parentCore = ResolveEntity(kSignature, parent);
  parentCore->RemoveChild(ResolveEntity(kSignature, child));
}

void UDMCoreProfile::GetChildren(vqStlVector<UDMItemHandle>& out, const UDMItemHandle& parent,
                                 const vqString& group, const vqString&) {
  vqStlVector<boost::shared_ptr<IUDMEntityHandle>> children;
  ResolveEntity(VQ_PROFILE_SIG("void", "GetChildren(" VQ_T_VECTOR(VQ_T_ITEM) " &," VQ_T_ITEM_CREF
                                       "," VQ_T_STRING_CREF "," VQ_T_STRING_CREF ")"),
                parent)
      ->GetChildren(children, group);
  AppendItemHandles(out, children);
}

unsigned long long UDMCoreProfile::GetNChildren(const UDMItemHandle& parent, const vqString& group,
                                                const vqString& unused) {
  vqStlVector<UDMItemHandle> children;
  GetChildren(children, parent, group, unused);
  return children.size();
}

UDMItemHandle UDMCoreProfile::GetRootEntityHandle(const UDMItemHandle& entity) {
  return UDMItemHandle(
      ResolveEntity(VQ_PROFILE_SIG(VQ_T_ITEM, "GetRootEntityHandle(" VQ_T_ITEM_CREF ")"), entity)->GetRootEntity(),
      GetThisPtr());
}

}  // namespace vqkudm
