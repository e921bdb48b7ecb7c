#include <vqkudm/UDMCoreEntityHandle.h>
#include <vqkudm/UDMNames.h>

#include <vqkudmrt/UDMClassification.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

namespace {

#define VQ_T_CORE_HANDLE_CREF "const " VQ_T_SHARED("class vqkudm::UDMCoreEntityHandle") " &"
#define VQ_T_HANDLE_LIST_REF VQ_T_VECTOR_OF_TEMPLATE(VQ_T_SHARED("class vqkudm::IUDMEntityHandle")) " &"

// A handle for each entity, appended in order.
template <class Entity>
void AppendHandles(vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& out,
                   const vqStlVector<boost::shared_ptr<Entity>>& entities) {
  for (const boost::shared_ptr<Entity>& entity : entities) {
    boost::shared_ptr<IUDMEntityHandle> handle;
    UDMCoreEntityHandle::CreateInstance(handle, entity);
    out.push_back(handle);
  }
}

boost::shared_ptr<IUDMEntityHandle> HandleOf(const boost::shared_ptr<UDMItem>& entity) {
  boost::shared_ptr<IUDMEntityHandle> handle;
  UDMCoreEntityHandle::CreateInstance(handle, entity);
  return handle;
}

}  // namespace

// The entity of an argument handle, which must not be null.
#define VQ_ARGUMENT_ENTITY(signature, argument)                                                       \
  ([&]() {                                                                                            \
    if (!(argument)) ThrowUDMException(signature, "iChildHandlePtr is NULL", ExcCatInvalidArgument, ExcSubNull); \
    return (argument)->Resolve(signature);                                                            \
  }())

void UDMCoreEntityHandle::AddChild(const boost::shared_ptr<UDMCoreEntityHandle>& child, const vqString& group) {
  static const char* const kSignature = VQ_ENTITY_SIG(
      "void", "AddChild(const " VQ_T_SHARED("class vqkudm::UDMCoreEntityHandle") " &," VQ_T_STRING ")");
  boost::shared_ptr<UDMItem> item = Resolve(kSignature);
  item->AddChild(VQ_ARGUMENT_ENTITY(kSignature, child), group);
}

void UDMCoreEntityHandle::RemoveChild(const boost::shared_ptr<UDMCoreEntityHandle>& child) {
  static const char* const kSignature = VQ_ENTITY_SIG("void", "RemoveChild(" VQ_T_CORE_HANDLE_CREF ")");
  boost::shared_ptr<UDMItem> item = Resolve(kSignature);
  item->RemoveChild(VQ_ARGUMENT_ENTITY(kSignature, child));
}

void UDMCoreEntityHandle::GetChildren(vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& out,
                                      const vqString& group) const {
  static const char* const kSignature =
      VQ_ENTITY_SIG("void", "GetChildren(" VQ_T_HANDLE_LIST_REF "," VQ_T_STRING_CREF ") const");
  boost::shared_ptr<UDMItem> item = Resolve(kSignature);
  if (GetCdef() != kFolderKindCategories) {
    vqStlVector<boost::shared_ptr<UDMItem>> children;
    item->GetChildren(children, group);
    AppendHandles(out, children);
    return;
  }
  boost::shared_ptr<UDMClassification> category = boost::dynamic_pointer_cast<UDMClassification>(item);
  if (!category) {
    ThrowUDMException(kSignature, FormatArgumentMessage(kSignature, kArgNullPattern, "Classification Ptr "),
                      ExcCatState, ExcSubNull);
  }
  vqStlVector<boost::shared_ptr<UDMClassification>> children;
  category->GetChildClassifications(children, 5);
  AppendHandles(out, children);
}

void UDMCoreEntityHandle::GetParents(vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& out, int level,
                                     const bool fromStore) const {
  static const char* const kSignature =
      VQ_ENTITY_SIG("void", "GetParents(" VQ_T_HANDLE_LIST_REF ",int,const bool) const");
  boost::shared_ptr<UDMItem> item = Resolve(kSignature);
  if (!fromStore) {
    vqStlVector<boost::shared_ptr<UDMItem>> parents;
    item->GetParents(parents, level);
    for (const boost::shared_ptr<UDMItem>& parent : parents) {
      if (!parent) {
        ThrowUDMException(kSignature, "Parent ptr NULL for entity " + ToString(), ExcCatState, ExcSubNull);
      }
      out.push_back(HandleOf(parent));
    }
    return;
  }
  std::map<int, vqStlVector<std::pair<boost::weak_ptr<UDMItem>, vqString>>> byLevel;
  item->GetParentsFromDB(byLevel, 0, 0);
  for (const auto& [depth, parents] : byLevel) {
    for (const auto& [parentRef, group] : parents) {
      if (boost::shared_ptr<UDMItem> parent = parentRef.lock()) out.push_back(HandleOf(parent));
    }
  }
}

boost::shared_ptr<IUDMEntityHandle> UDMCoreEntityHandle::GetRootEntity() const {
  return HandleOf(Resolve(VQ_ENTITY_SIG(VQ_T_SHARED("class vqkudm::IUDMEntityHandle"), "GetRootEntity(void) const"))
                      ->GetRootEntity(true));
}

boost::shared_ptr<IUDMEntityHandle> UDMCoreEntityHandle::GetFolder() {
  return HandleOf(
      Resolve(VQ_ENTITY_SIG(VQ_T_SHARED("class vqkudm::IUDMEntityHandle"), "GetFolder(void)"))->GetFolder());
}

void UDMCoreEntityHandle::AddReference(const boost::shared_ptr<UDMCoreEntityHandle>& target, const vqString& name) {
  static const char* const kSignature =
      VQ_ENTITY_SIG("void", "AddReference(" VQ_T_CORE_HANDLE_CREF "," VQ_T_STRING ")");
  boost::shared_ptr<UDMItem> item = Resolve(kSignature);
  item->AddReference(VQ_ARGUMENT_ENTITY(kSignature, target), name);
}

void UDMCoreEntityHandle::GetReferences(vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& out, const vqString& name) {
  vqStlVector<boost::shared_ptr<UDMItem>> targets;
  Resolve(VQ_ENTITY_SIG("void", "GetReferences(" VQ_T_HANDLE_LIST_REF "," VQ_T_STRING ")"))
      ->GetReferences(targets, name);
  AppendHandles(out, targets);
}

void UDMCoreEntityHandle::RemoveReference(const boost::shared_ptr<UDMCoreEntityHandle>& target) {
  static const char* const kSignature = VQ_ENTITY_SIG("void", "RemoveReference(" VQ_T_CORE_HANDLE_CREF ")");
  boost::shared_ptr<UDMItem> item = Resolve(kSignature);
  if (!target) ThrowUDMException(kSignature, "iChildHandlePtr is NULL", ExcCatInvalidArgument, ExcSubNull);
  boost::shared_ptr<UDMItem> referenced;
  try {
    referenced = target->_GetUDMItemPtr();
  } catch (const UDMException&) {
    ThrowUDMException(kSignature, "Unable to get Entity with Info " + target->ToString(), ExcCatInvalidArgument,
                      ExcSubNull);
  }
  item->RemoveReference(referenced);
}

void UDMCoreEntityHandle::GetReferredBy(vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& out,
                                        vqStlVector<vqString>& names) {
  vqStlVector<boost::shared_ptr<UDMItem>> items;
  Resolve(VQ_ENTITY_SIG("void", "GetReferredBy(" VQ_T_HANDLE_LIST_REF "," VQ_T_VECTOR(VQ_T_STRING) " &)"))
      ->GetReferredBy(items, names);
  AppendHandles(out, items);
}

void UDMCoreEntityHandle::AddClassification(const boost::shared_ptr<UDMCoreEntityHandle>& classification) {
  static const char* const kSignature = VQ_ENTITY_SIG("void", "AddClassification(" VQ_T_CORE_HANDLE_CREF ")");
  boost::shared_ptr<UDMItem> item = Resolve(kSignature);
  item->AddClassification(
      boost::dynamic_pointer_cast<UDMClassification>(VQ_ARGUMENT_ENTITY(kSignature, classification)));
}

void UDMCoreEntityHandle::RemoveClassification(const boost::shared_ptr<UDMCoreEntityHandle>& classification) {
  static const char* const kSignature = VQ_ENTITY_SIG("void", "RemoveClassification(" VQ_T_CORE_HANDLE_CREF ")");
  boost::shared_ptr<UDMItem> item = Resolve(kSignature);
  item->RemoveClassification(
      boost::dynamic_pointer_cast<UDMClassification>(VQ_ARGUMENT_ENTITY(kSignature, classification)));
}

void UDMCoreEntityHandle::GetClassifications(vqStlVector<boost::shared_ptr<IUDMEntityHandle>>& out,
                                             bool withParents) {
  vqStlVector<boost::shared_ptr<UDMClassification>> categories;
  Resolve(VQ_ENTITY_SIG("void", "GetClassifications(" VQ_T_HANDLE_LIST_REF ",bool)"))
      ->GetClassifications(categories, withParents);
  AppendHandles(out, categories);
}

}  // namespace vqkudm
