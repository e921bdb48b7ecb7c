// What this profile deliberately does not offer: folders, references through
// the profile, synchronisation and the structure-wide file retrieval. Each
// raises before looking at its arguments.

#include <vqkudm/UDMCoreProfile.h>

#include <vqkudmrt/UDMException.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

namespace {

[[noreturn]] void Unsupported(const char* signature) {
  ThrowUnSupportedException(signature, "Unsupported on UDMCoreProfile", ExcSubGeneral);
}

}  // namespace

bool UDMCoreProfile::GetSyncStatus(UDMItemHandle&) {
  Unsupported(VQ_PROFILE_SIG("bool", "GetSyncStatus(" VQ_T_ITEM_REF ")"));
}
void UDMCoreProfile::Synchronize(UDMItemHandle&) {
  Unsupported(VQ_PROFILE_SIG("void", "Synchronize(" VQ_T_ITEM_REF ")"));
}
void UDMCoreProfile::RetrieveFilesIntoWorkspace(const UDMItemHandle&, const bool&, const bool&,
                                                vqStlVector<vqString>&) {
  Unsupported(VQ_PROFILE_SIG("void", "RetrieveFilesIntoWorkspace(" VQ_T_ITEM_CREF ",const bool &,const bool &,"
                                     VQ_T_VECTOR(VQ_T_STRING) " &)"));
}
void UDMCoreProfile::RetrieveFilesIntoWorkspace(const UDMItemHandle&, const bool&, const bool&) {
  Unsupported(VQ_PROFILE_SIG("void", "RetrieveFilesIntoWorkspace(" VQ_T_ITEM_CREF ",const bool &,const bool &)"));
}
void UDMCoreProfile::RetrieveFilesIntoFolder(const UDMItemHandle&, const vqString&, vqStlVector<vqString>&,
                                             const vqString&) {
  Unsupported(VQ_PROFILE_SIG("void", "RetrieveFilesIntoFolder(" VQ_T_ITEM_CREF "," VQ_T_STRING_CREF ","
                                     VQ_T_VECTOR(VQ_T_STRING) " &," VQ_T_STRING_CREF ")"));
}
void UDMCoreProfile::RetrieveFilesIntoFolder(const UDMItemHandle&, const vqString&, const bool&, const bool&,
                                             vqStlVector<vqString>&) {
  Unsupported(VQ_PROFILE_SIG("void", "RetrieveFilesIntoFolder(" VQ_T_ITEM_CREF "," VQ_T_STRING_CREF
                                     ",const bool &,const bool &," VQ_T_VECTOR(VQ_T_STRING) " &)"));
}
void UDMCoreProfile::RetrieveFilesIntoFolder(const UDMItemHandle&, const vqString&, const bool&, const bool&) {
  Unsupported(VQ_PROFILE_SIG("void", "RetrieveFilesIntoFolder(" VQ_T_ITEM_CREF "," VQ_T_STRING_CREF
                                     ",const bool &,const bool &)"));
}
void UDMCoreProfile::AddReference(UDMItemHandle&, const UDMItemHandle&, const vqString&) {
  Unsupported(VQ_PROFILE_SIG("void", "AddReference(" VQ_T_ITEM_REF "," VQ_T_ITEM_CREF "," VQ_T_STRING_CREF ")"));
}
void UDMCoreProfile::GetReferences(vqStlVector<UDMItemHandle>&, const UDMItemHandle&, const vqString&) {
  Unsupported(VQ_PROFILE_SIG("void", "GetReferences(" VQ_T_VECTOR(VQ_T_ITEM) " &," VQ_T_ITEM_CREF
                                     "," VQ_T_STRING_CREF ")"));
}
void UDMCoreProfile::RemoveReference(UDMItemHandle&, UDMItemHandle&) {
  Unsupported(VQ_PROFILE_SIG("void", "RemoveReference(" VQ_T_ITEM_REF "," VQ_T_ITEM_REF ")"));
}
void UDMCoreProfile::GetReferredBy(vqStlVector<UDMItemHandle>&, vqStlVector<vqString>&, const UDMItemHandle&) {
  Unsupported(VQ_PROFILE_SIG("void", "GetReferredBy(" VQ_T_VECTOR(VQ_T_ITEM) " &," VQ_T_VECTOR(VQ_T_STRING)
                                     " &," VQ_T_ITEM_CREF ")"));
}
void UDMCoreProfile::GetParents(vqStlVector<UDMItemHandle>&, const UDMItemHandle&, const vqString&, bool) {
  Unsupported(VQ_PROFILE_SIG("void", "GetParents(" VQ_T_VECTOR(VQ_T_ITEM) " &," VQ_T_ITEM_CREF
                                     "," VQ_T_STRING_CREF ",bool)"));
}
void UDMCoreProfile::GetOrCreateFolder(UDMItemHandle&, const vqString&, bool) {
  Unsupported(VQ_PROFILE_SIG("void", "GetOrCreateFolder(" VQ_T_ITEM_REF "," VQ_T_STRING_CREF ",bool)"));
}
void UDMCoreProfile::CreateFolder(UDMItemHandle&, const vqString&) {
  Unsupported(VQ_PROFILE_SIG("void", "CreateFolder(" VQ_T_ITEM_REF "," VQ_T_STRING_CREF ")"));
}
void UDMCoreProfile::GetFolder(UDMItemHandle&, const vqString&, bool) {
  Unsupported(VQ_PROFILE_SIG("void", "GetFolder(" VQ_T_ITEM_REF "," VQ_T_STRING_CREF ",bool)"));
}
void UDMCoreProfile::FindFolderFullPath(vqString&, const UDMItemHandle&) {
  Unsupported(VQ_PROFILE_SIG("void", "FindFolderFullPath(" VQ_T_STRING_REF "," VQ_T_ITEM_CREF ")"));
}
void UDMCoreProfile::MoveContent(const UDMItemHandle&, const UDMItemHandle&) {
  Unsupported(VQ_PROFILE_SIG("void", "MoveContent(" VQ_T_ITEM_CREF "," VQ_T_ITEM_CREF ")"));
}
int UDMCoreProfile::AddFolderAndFiles(const vqStlVector<vqString>&, const vqStlVector<vqString>&, const vqString&,
                                      const vqStlMap<vqString, vqString>&) {
  Unsupported(VQ_PROFILE_SIG("int", "AddFolderAndFiles(const " VQ_T_VECTOR(VQ_T_STRING) " &,const " VQ_T_VECTOR(
                                        VQ_T_STRING) " &," VQ_T_STRING_CREF ",const " VQ_T_MAP(VQ_T_STRING, VQ_T_STRING)
                                        " &)"));
}

}  // namespace vqkudm
