#include <vqkudm/UDMCoreEntityHandle.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

namespace {

#define VQ_T_ATTRIBUTE_MAP_CREF "const " VQ_T_MAP(VQ_T_STRING, VQ_T_VARIANT) " &"

boost::shared_ptr<IUDMEntityHandle> HandleOf(const boost::shared_ptr<UDMItem>& entity) {
  boost::shared_ptr<IUDMEntityHandle> handle;
  UDMCoreEntityHandle::CreateInstance(handle, entity);
  return handle;
}

}  // namespace

vqString UDMCoreEntityHandle::AddUse(const boost::shared_ptr<UDMCoreEntityHandle>& child, const vqString& group,
                                     const vqStlMap<vqString, vqVariant>& attributes) {
  static const char* const kSignature = VQ_ENTITY_SIG(
      VQ_T_STRING, "AddUse(const " VQ_T_SHARED("class vqkudm::UDMCoreEntityHandle") " &," VQ_T_STRING_CREF
                   "," VQ_T_ATTRIBUTE_MAP_CREF ")");
  boost::shared_ptr<UDMItem> item = Resolve(kSignature);
  if (!child) ThrowUDMException(kSignature, "iChildHandlePtr is NULL", ExcCatInvalidArgument, ExcSubNull);
  return item->AddUse(child->Resolve(kSignature), group, attributes);
}

void UDMCoreEntityHandle::GetUses(vqStlVector<UDMUseInfo>& out, const vqString& group) const {
  static const char* const kSignature =
      VQ_ENTITY_SIG("void", "GetUses(" VQ_T_VECTOR("struct vqkudm::UDMUseInfo") " &," VQ_T_STRING_CREF ") const");
  vqStlVector<UDMChildUse> uses;
  Resolve(kSignature)->GetUses(uses, group);
  for (const UDMChildUse& use : uses) out.push_back({use.useId, use.group, HandleOf(use.child), use.attributes});
}

void UDMCoreEntityHandle::SetUseAttribute(const vqString& useId, const vqString& name, const vqVariant& value) {
  Resolve(VQ_ENTITY_SIG("void", "SetUseAttribute(" VQ_T_STRING_CREF "," VQ_T_STRING_CREF "," VQ_T_VARIANT_CREF ")"))
      ->SetUseAttribute(useId, name, value);
}

void UDMCoreEntityHandle::RemoveUse(const vqString& useId) {
  Resolve(VQ_ENTITY_SIG("void", "RemoveUse(" VQ_T_STRING_CREF ")"))->RemoveUse(useId);
}

void UDMCoreEntityHandle::GetWhereUsed(vqStlVector<UDMWhereUsedInfo>& out, int level) const {
  static const char* const kSignature =
      VQ_ENTITY_SIG("void", "GetWhereUsed(" VQ_T_VECTOR("struct vqkudm::UDMWhereUsedInfo") " &,int) const");
  vqStlVector<UDMWhereUsed> users;
  Resolve(kSignature)->GetWhereUsed(users, level);
  for (const UDMWhereUsed& user : users) out.push_back({HandleOf(user.parent), user.level, user.group, user.uses});
}

}  // namespace vqkudm
