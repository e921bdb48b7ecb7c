// The per-entity operations: resolve the caller's handle, forward to its
// concrete handle.

#include <vqkudm/UDMCoreEntityHandle.h>
#include <vqkudm/UDMCoreProfile.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

void UDMCoreProfile::Persist(UDMItemHandle& entity, const vqString& comment, bool keepCheckedOut, bool recursive,
                             bool) {
  ResolveEntity(VQ_PROFILE_SIG("void", "Persist(" VQ_T_ITEM_REF "," VQ_T_STRING_CREF ",bool,bool,bool)"), entity)
      ->Persist(comment, keepCheckedOut, recursive);
}

void UDMCoreProfile::Save(UDMItemHandle& entity, const vqString& comment, bool recursive) {
  ResolveEntity(VQ_PROFILE_SIG("void", "Save(" VQ_T_ITEM_REF "," VQ_T_STRING_CREF ",bool)"), entity)
      ->Save(comment, recursive);
}

void UDMCoreProfile::Checkout(const UDMItemHandle& entity, const vqString& comment) {
  ResolveEntity(VQ_PROFILE_SIG("void", "Checkout(" VQ_T_ITEM_CREF "," VQ_T_STRING_CREF ")"), entity)
      ->Checkout(comment);
}

void UDMCoreProfile::UndoCheckout(const UDMItemHandle& entity) {
  ResolveEntity(VQ_PROFILE_SIG("void", "UndoCheckout(" VQ_T_ITEM_CREF ")"), entity)->UndoCheckout();
}

vqVariant UDMCoreProfile::GetAttributeValue(const UDMItemHandle& entity, const vqString& name) const {
  return ResolveEntity(
             VQ_PROFILE_SIG(VQ_T_VARIANT, "GetAttributeValue(" VQ_T_ITEM_CREF "," VQ_T_STRING_CREF ") const"), entity)
      ->GetAttributeValue(name);
}

bool UDMCoreProfile::SetAttribute(const UDMItemHandle& entity, const vqString& name, const vqVariant& value) {
  return ResolveEntity(
             VQ_PROFILE_SIG("bool", "SetAttribute(" VQ_T_ITEM_CREF "," VQ_T_STRING_CREF "," VQ_T_VARIANT_CREF ")"),
             entity)
      ->SetAttribute(name, value);
}

vqString UDMCoreProfile::GetDisplayName(const UDMItemHandle& entity) const {
  return ResolveEntity(VQ_PROFILE_SIG(VQ_T_STRING, "GetDisplayName(" VQ_T_ITEM_CREF ") const"), entity)
      ->GetDisplayName();
}

void UDMCoreProfile::SetDisplayName(const vqString& name, const UDMItemHandle& entity) {
  ResolveEntity(VQ_PROFILE_SIG("void", "SetDisplayName(" VQ_T_STRING_CREF "," VQ_T_ITEM_CREF ")"), entity)
      ->SetDisplayName(name);
}

void UDMCoreProfile::SetIsMaster(const UDMItemHandle& classification, bool master) {
  ResolveEntity(VQ_PROFILE_SIG("void", "SetIsMaster(" VQ_T_ITEM_CREF ",bool)"), classification)->SetIsMaster(master);
}

void UDMCoreProfile::SetVault(UDMItemHandle& classification, const vqString& vault) {
  ResolveEntity(VQ_PROFILE_SIG("void", "SetVault(" VQ_T_ITEM_REF "," VQ_T_STRING_CREF ")"), classification)
      ->SetVault(vault);
}

boost::shared_ptr<UDMHistoryNode> UDMCoreProfile::GetHistory(const UDMItemHandle& entity) {
  return ResolveEntity(VQ_PROFILE_SIG(VQ_T_SHARED("class vqkudm::UDMHistoryNode"), "GetHistory(" VQ_T_ITEM_CREF ")"),
                       entity)
      ->GetHistory();
}

// ---- files and preview images

AddFileBuilder UDMCoreProfile::AddFile(UDMItemHandle& entity) { return AddFileBuilder(entity, GetThisPtr()); }

void UDMCoreProfile::AddFile(UDMItemHandle& entity, const vqString& path) {
  ResolveEntity(VQ_PROFILE_SIG("void", "AddFile(" VQ_T_ITEM_REF "," VQ_T_STRING_CREF ")"), entity)->AddFile(path);
}

void UDMCoreProfile::UpdateFile(UDMItemHandle& entity, const vqString& newFilePath) {
  static const char* const kSignature = VQ_PROFILE_SIG("void", "UpdateFile(" VQ_T_ITEM_REF "," VQ_T_STRING_CREF ")");
  boost::shared_ptr<UDMCoreEntityHandle> core = ResolveEntity(kSignature, entity);
  if (newFilePath.empty()) ThrowEmptyArgument(kSignature, "newFilePath is is Empty.");
  core->UpdateFile(newFilePath);
}

void UDMCoreProfile::ReAddFile(UDMItemHandle& entity, const vqString& path, bool keepModifiedTime, bool external) {
  ResolveEntity(VQ_PROFILE_SIG("void", "ReAddFile(" VQ_T_ITEM_REF "," VQ_T_STRING_CREF ",bool,bool)"), entity)
      ->ReAddFile(path, keepModifiedTime, external);
}

void UDMCoreProfile::RemoveFile(UDMItemHandle& entity, const vqString& name) {
  ResolveEntity(VQ_PROFILE_SIG("void", "RemoveFile(" VQ_T_ITEM_REF "," VQ_T_STRING_CREF ")"), entity)
      ->RemoveFile(name);
}

void UDMCoreProfile::GetFileInfoList(const UDMItemHandle& entity, vqStlVector<UDMGenericDocument>& out,
                                     bool includeExternal) {
  ResolveEntity(VQ_PROFILE_SIG("void", "GetFileInfoList(" VQ_T_ITEM_CREF "," VQ_T_VECTOR(
                                           "class vqkudm::UDMGenericDocument") " &,bool)"),
                entity)
      ->GetFileInfoList(out, includeExternal);
}

void UDMCoreProfile::GetAllFilesIntoFolder(const UDMItemHandle& entity, const vqString& folder, const bool& overwrite,
                                           vqStlVector<vqString>& out) {
  ResolveEntity(VQ_PROFILE_SIG("void", "GetAllFilesIntoFolder(" VQ_T_ITEM_CREF "," VQ_T_STRING_CREF
                                       ",const bool &," VQ_T_VECTOR(VQ_T_STRING) " &)"),
                entity)
      ->GetAllFilesIntoFolder(folder, overwrite, out);
}

void UDMCoreProfile::GetAllFilesIntoWorkspace(const UDMItemHandle& entity, const bool& overwrite,
                                              vqStlVector<vqString>& out) {
  ResolveEntity(VQ_PROFILE_SIG("void", "GetAllFilesIntoWorkspace(" VQ_T_ITEM_CREF ",const bool &," VQ_T_VECTOR(
                                           VQ_T_STRING) " &)"),
                entity)
      ->GetAllFilesIntoWorkspace(overwrite, out);
}

void UDMCoreProfile::AddPreviewImage(UDMItemHandle& entity, const vqString& imagePath, const vqString& name,
                                     const vqlm::ImageType& type, const vqString& description, bool makeDefault,
                                     bool replace) {
  ResolveEntity(VQ_PROFILE_SIG("void", "AddPreviewImage(" VQ_T_ITEM_REF "," VQ_T_STRING_CREF "," VQ_T_STRING_CREF
                                       ",const enum vqlm::ImageType &," VQ_T_STRING_CREF ",bool,bool)"),
                entity)
      ->AddPreviewImage(imagePath, name, type, description, makeDefault, replace);
}

void UDMCoreProfile::RemovePreviewImage(UDMItemHandle& entity, const vqString& name) {
  ResolveEntity(VQ_PROFILE_SIG("void", "RemovePreviewImage(" VQ_T_ITEM_REF "," VQ_T_STRING_CREF ")"), entity)
      ->RemovePreviewImage(name);
}

void UDMCoreProfile::SetDefaultPreviewImage(UDMItemHandle& entity, const vqString& name) {
  ResolveEntity(VQ_PROFILE_SIG("void", "SetDefaultPreviewImage(" VQ_T_ITEM_REF "," VQ_T_STRING_CREF ")"), entity)
      ->SetDefaultPreviewImage(name);
}

// ---- classifications

void UDMCoreProfile::AddClassification(UDMItemHandle& entity, UDMItemHandle& classification) {
  static const char* const kSignature =
      VQ_PROFILE_SIG("void", "AddClassification(" VQ_T_ITEM_REF "," VQ_T_ITEM_REF ")");
  boost::shared_ptr<UDMCoreEntityHandle> core = ResolveEntity(kSignature, entity);
  core->AddClassification(ResolveEntity(kSignature, classification));
}

void UDMCoreProfile::RemoveClassification(UDMItemHandle& entity, UDMItemHandle& classification) {
  static const char* const kSignature =
      VQ_PROFILE_SIG("void", "RemoveClassification(" VQ_T_ITEM_REF "," VQ_T_ITEM_REF ")");
  boost::shared_ptr<UDMCoreEntityHandle> core = ResolveEntity(kSignature, entity);
  core->RemoveClassification(ResolveEntity(kSignature, classification));
}

void UDMCoreProfile::GetRootClassifications(vqStlVector<UDMItemHandle>& out, const vqString&) {
  boost::shared_ptr<IUDMSession> session = Session();
  vqStlVector<boost::shared_ptr<UDMItem>> roots;
  session->GetRootEntities(RootEntityClassifications, roots);
  for (const boost::shared_ptr<UDMItem>& root : roots) out.push_back(GetUDMItemHandle(root->GetUID().ToString()));
}

// ---- relations

UDMRelationHandle UDMCoreProfile::CreateRelation(UDMItemHandle& source, UDMItemHandle& target,
                                                 const vqString& relationName, bool bidirectional) {
  static const char* const kSignature =
      VQ_PROFILE_SIG(VQ_T_RELATION, "CreateRelation(" VQ_T_ITEM_REF "," VQ_T_ITEM_REF "," VQ_T_STRING_CREF ",bool)");
  boost::shared_ptr<UDMItem> sourceItem = ResolveItem(kSignature, source);
  boost::shared_ptr<UDMItem> targetItem = ResolveItem(kSignature, target);
  if (relationName.empty()) ThrowEmptyArgument(kSignature, "Relation name is empty.");
  boost::shared_ptr<IUDMSession> session = Session();
  boost::shared_ptr<UDMRelation> relation = session->CreateRelation(sourceItem, targetItem, relationName, bidirectional);
  if (!relation) {
    ThrowUDMException(kSignature,
                      "Could not create relation between source: " + source.ToString() +
                          " and target: " + target.ToString(),
                      ExcCatState, ExcSubNull);
  }
  return m_handleFactory->CreateRelationHandle(relation->GetUID().ToString());
}

bool UDMCoreProfile::RemoveRelation(UDMItemHandle& source, UDMItemHandle& target) {
  static const char* const kSignature =
      VQ_PROFILE_SIG("bool", "RemoveRelation(" VQ_T_ITEM_REF "," VQ_T_ITEM_REF ")");
  ResolveItem(kSignature, source);
  ResolveItem(kSignature, target);
  boost::shared_ptr<IUDMSession> session = Session();
  boost::shared_ptr<UDMSession> concrete = boost::dynamic_pointer_cast<UDMSession>(session);
  vqStlVector<UDMRelationHandle> relations;
  GetRelations(relations, source, RelationOutgoing);
  boost::shared_ptr<UDMRelation> found;
  for (const UDMRelationHandle& relation : relations) {
    if (relation.GetRightEntity() == target) found = concrete->FindRelationById(UDMUID(relation.GetUID()));
  }
  if (!found) return false;
  vqStlMap<vqString, vqVariant> options;
  options["deleteallversions"] = false;
  options["cascade"] = false;
  options["recurseoption"] = 0;
  concrete->DeleteRelations({std::make_pair(found, options)});
  return true;
}

void UDMCoreProfile::GetRelations(vqStlVector<UDMRelationHandle>& out, const UDMItemHandle& entity,
                                  RelationDirection direction) {
  vqStlVector<boost::shared_ptr<IUDMRelationHandle>> relations;
  ResolveEntity(VQ_PROFILE_SIG("void", "GetRelations(" VQ_T_VECTOR(VQ_T_RELATION) " &," VQ_T_ITEM_CREF
                                       ",enum vqkudm::RelationDirection)"),
                entity)
      ->GetRelations(relations, direction);
  const boost::shared_ptr<IUDMProfile> self = GetThisPtr();
  for (const boost::shared_ptr<IUDMRelationHandle>& relation : relations) out.push_back(UDMRelationHandle(relation, self));
}

void UDMCoreProfile::UpdateRelations(UDMItemHandle& entity, RelationDirection direction) {
  ResolveEntity(VQ_PROFILE_SIG("void", "UpdateRelations(" VQ_T_ITEM_REF ",enum vqkudm::RelationDirection)"), entity)
      ->UpdateRelations(direction);
}

}  // namespace vqkudm
