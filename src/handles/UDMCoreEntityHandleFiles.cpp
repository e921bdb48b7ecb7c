#include <vqkudm/UDMCoreEntityHandle.h>
#include <vqkudm/UDMNames.h>

#include <algorithm>
#include <filesystem>
#include <functional>

#include <vqkudmrt/UDMCondition.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

namespace {

bool IsDataSourceFile(const UDMItem& item) {
  return item.DoesConditionMatch(UDMClassNameCondition::CreateAndInit(kClassDataSourceFile, UDMOpIsA, 1));
}

}  // namespace

void UDMCoreEntityHandle::AddFile(const vqString& path) {
  static const char* const kSignature = VQ_ENTITY_SIG("void", "AddFile(" VQ_T_STRING ")");
  boost::shared_ptr<UDMItem> item = Resolve(kSignature);
  if (path.empty()) {
    ThrowUDMException(kSignature,
                      FormatArgumentMessage(kSignature, kArgEmptyPattern,
                                            "File path is empty while adding file to entity " +
                                                item->ToString(vqString())),
                      ExcCatInvalidArgument, ExcSubEmpty);
  }
  item->AddFile(path, true, false, vqString());
}

void UDMCoreEntityHandle::UpdateFile(const vqString& newFilePath) const {
  static const char* const kSignature = VQ_ENTITY_SIG("void", "UpdateFile(" VQ_T_STRING ") const");
  boost::shared_ptr<UDMItem> item = Resolve(kSignature);
  if (newFilePath.empty()) {
    ThrowUDMException(kSignature, FormatArgumentMessage(kSignature, kArgEmptyPattern, "newFilePAth is is Empty."),
                      ExcCatInvalidArgument, ExcSubEmpty);
  }
  item->UpdateFile(newFilePath);
}

void UDMCoreEntityHandle::ReAddFile(const vqString& path, bool keepModifiedTime, bool external) {
  Resolve(VQ_ENTITY_SIG("void", "ReAddFile(" VQ_T_STRING ",bool,bool)"))->ReAddFile(path, keepModifiedTime, external);
}

void UDMCoreEntityHandle::RemoveFile(const vqString& name) {
  Resolve(VQ_ENTITY_SIG("void", "RemoveFile(" VQ_T_STRING ")"))->RemoveFile(name);
}

void UDMCoreEntityHandle::GetFileInfoList(vqStlVector<UDMGenericDocument>& out, bool includeExternal) {
  Resolve(VQ_ENTITY_SIG("void", "GetFileInfoList(" VQ_T_VECTOR("class vqkudm::UDMGenericDocument") " &,bool)"))
      ->GetFileInfoList(out, includeExternal);
}

const vqStlVector<vqString> UDMCoreEntityHandle::GetFileNameList() const {
  vqStlVector<UDMGenericDocument> documents;
  Resolve(VQ_ENTITY_SIG("const " VQ_T_VECTOR(VQ_T_STRING), "GetFileNameList(void) const"))
      ->GetFileInfoList(documents, true);
  vqStlVector<vqString> names;
  names.reserve(documents.size());
  for (const UDMGenericDocument& document : documents) names.push_back(document.GetName());
  return names;
}

void UDMCoreEntityHandle::GetAllFilesIntoFolder(const vqString& folder, const bool& overwrite,
                                                vqStlVector<vqString>& out) {
  Resolve(VQ_ENTITY_SIG("void", "GetAllFilesIntoFolder(" VQ_T_STRING ",const bool &," VQ_T_VECTOR(VQ_T_STRING) " &)"))
      ->GetAllFilesIntoFolder(folder, overwrite, out, vqString(), true);
}

void UDMCoreEntityHandle::GetAllFilesIntoWorkspace(const bool& overwrite, vqStlVector<vqString>& out) {
  Resolve(VQ_ENTITY_SIG("void", "GetAllFilesIntoWorkspace(const bool &," VQ_T_VECTOR(VQ_T_STRING) " &)"))
      ->GetAllFilesIntoWorkspace(overwrite, out, vqString(), vqString());
}

void UDMCoreEntityHandle::AddPreviewImage(const vqString& imagePath, const vqString& name, const vqlm::ImageType& type,
                                          const vqString& description, bool makeDefault, bool replace) {
  Resolve(VQ_ENTITY_SIG("void", "AddPreviewImage(" VQ_T_STRING "," VQ_T_STRING ",const enum vqlm::ImageType &,"
                                VQ_T_STRING ",bool,bool)"))
      ->AddPreviewImage(imagePath, name, type, description, makeDefault, replace);
}

void UDMCoreEntityHandle::RemovePreviewImage(const vqString& name) {
  Resolve(VQ_ENTITY_SIG("void", "RemovePreviewImage(" VQ_T_STRING ")"))->RemovePreviewImage(name);
}

void UDMCoreEntityHandle::SetDefaultPreviewImage(const vqString& name) {
  Resolve(VQ_ENTITY_SIG("void", "SetDefaultPreviewImage(" VQ_T_STRING ")"))->SetDefaultPreviewImage(name);
}

void UDMCoreEntityHandle::RetrieveFilesIntoFolder(const vqString& folder, vqStlVector<vqString>& out,
                                                  const vqString& fileName) {
  static const char* const kSignature =
      VQ_ENTITY_SIG("void", "RetrieveFilesIntoFolder(" VQ_T_STRING "," VQ_T_VECTOR(VQ_T_STRING) " &," VQ_T_STRING ")");
  boost::shared_ptr<UDMItem> item = Resolve(kSignature);
  if (!IsDataSourceFile(*item)) {
    ThrowUnSupportedException(kSignature,
                              "RetrieveFilesIntoFolder with given signature is not supported for class other than "
                              "UDMDataSourceFile. This itme is : " +
                                  ToString(),
                              ExcSubGeneral);
  }
  vqStlVector<UDMGenericDocument> documents;
  item->GetFileInfoList(documents, true);
  if (documents.size() != 1) return;
  const vqString& stored = documents.front().GetName();
  const vqString name = stored.substr(stored.find_last_of("/\\") + 1);
  vqStlVector<vqString> written;
  item->GetAllFilesIntoFolder(folder, true, written, name, true);
  for (const vqString& path : written) {
    if (fileName.empty() || fileName == name) {
      out.push_back(path);
      continue;
    }
    const std::filesystem::path target = std::filesystem::path(path.c_str()).parent_path() / fileName.c_str();
    std::error_code error;
    std::filesystem::rename(path.c_str(), target, error);
    if (error) {
      ThrowFileException(kSignature, "Unable to name " + path + " " + fileName + ": " + error.message(), ExcSubIo);
    }
    out.push_back(target.string());
  }
}

namespace {

// The files of the file entities in the file groups of `item` (with their
// own file children for a prototype), then `item`'s own when it is one.
void CollectStructureFiles(UDMItem& item, bool prototype,
                           const std::function<void(UDMItem&)>& fetch) {
  boost::shared_ptr<UDMSession> session = item.GetSession();
  const boost::shared_ptr<UDMConfiguration> configuration = session->GetConfiguration();
  vqStlVector<vqString> fileDefinitions;
  configuration->GetContentDefNamesForClass(fileDefinitions, kClassDataSourceFile, true);
  vqStlVector<vqString> groups;
  for (const vqString& definition : fileDefinitions) {
    const vqString group = configuration->GetFirstAllowedGroupForChildCdefType(item.GetContentDefinition(), definition);
    if (!group.empty() && std::find(groups.begin(), groups.end(), group) == groups.end()) groups.push_back(group);
  }
  for (const vqString& group : groups) {
    vqStlVector<boost::shared_ptr<UDMItem>> children;
    item.GetChildren(children, group);
    for (const boost::shared_ptr<UDMItem>& child : children) {
      fetch(*child);
      if (!prototype) continue;
      vqStlVector<boost::shared_ptr<UDMItem>> grandchildren;
      child->GetChildren(grandchildren, group);
      for (const boost::shared_ptr<UDMItem>& grandchild : grandchildren) fetch(*grandchild);
    }
  }
  if (IsDataSourceFile(item)) fetch(item);
}

}  // namespace

void UDMCoreEntityHandle::RetrieveFilesIntoFolder(const vqString& folder, const bool& overwrite, const bool& reserved,
                                                  vqStlVector<vqString>& out) {
  boost::shared_ptr<UDMItem> item = Resolve(VQ_ENTITY_SIG(
      "void", "RetrieveFilesIntoFolder(" VQ_T_STRING ",const bool &,const bool &," VQ_T_VECTOR(VQ_T_STRING) " &)"));
  CollectStructureFiles(*item, IsPrototype(), [&](UDMItem& holder) {
    holder.GetAllFilesIntoFolder(folder, overwrite, out, vqString(), true);
  });
}

void UDMCoreEntityHandle::RetrieveFilesIntoWorkspace(const bool& overwrite, const bool& reserved,
                                                     vqStlVector<vqString>& out) {
  boost::shared_ptr<UDMItem> item = Resolve(
      VQ_ENTITY_SIG("void", "RetrieveFilesIntoWorkspace(const bool &,const bool &," VQ_T_VECTOR(VQ_T_STRING) " &)"));
  CollectStructureFiles(*item, IsPrototype(), [&](UDMItem& holder) {
    holder.GetAllFilesIntoWorkspace(overwrite, out, vqString(), vqString());
  });
}

}  // namespace vqkudm
