#include <vqkudm/UDMCoreEntityHandle.h>

#include <vqkudmrt/UDMClassification.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

void UDMCoreEntityHandle::CreateUrlPath() {
  Resolve(VQ_ENTITY_SIG("void", "CreateUrlPath(void)"))->CreateUrlPath(false);
}

void UDMCoreEntityHandle::Persist(const vqString& comment, const bool keepCheckedOut, const bool recursive) {
  Resolve(VQ_ENTITY_SIG("void", "Persist(" VQ_T_STRING ",const bool,const bool)"))
      ->Persist(comment, recursive ? GDM_RECURSE_ALL : GDM_RECURSE_NONE, -1, keepCheckedOut, true);
}

void UDMCoreEntityHandle::Save(const vqString& comment, const bool recursive) {
  Resolve(VQ_ENTITY_SIG("void", "Save(" VQ_T_STRING ",const bool)"))
      ->Save(comment, recursive ? GDM_RECURSE_ALL : GDM_RECURSE_NONE, -1);
}

void UDMCoreEntityHandle::Checkout(const vqString& comment) {
  Resolve(VQ_ENTITY_SIG("void", "Checkout(" VQ_T_STRING ")"))->CheckOut(comment);
}

void UDMCoreEntityHandle::UndoCheckout() {
  Resolve(VQ_ENTITY_SIG("void", "UndoCheckout(void)"))->UndoCheckOut(-1, GDM_RECURSE_ALL);
}

namespace {

UDMClassification& AsClassification(const boost::shared_ptr<UDMItem>& item, const char* signature) {
  UDMClassification* category = dynamic_cast<UDMClassification*>(item.get());
  if (!category) {
    ThrowUDMException(signature,
                      "Operation supported only on classifications. Current entity is " + item->ToString(vqString()),
                      ExcCatInvalidArgument, ExcSubNull);
  }
  return *category;
}

}  // namespace

void UDMCoreEntityHandle::SetVault(const vqString& vault) {
  static const char* const kSignature = VQ_ENTITY_SIG("void", "SetVault(" VQ_T_STRING ")");
  AsClassification(Resolve(kSignature), kSignature).SetVault(vault);
}

void UDMCoreEntityHandle::SetIsMaster(bool master) {
  static const char* const kSignature = VQ_ENTITY_SIG("void", "SetIsMaster(bool)");
  AsClassification(Resolve(kSignature), kSignature).SetIsMaster(master);
}

}  // namespace vqkudm
