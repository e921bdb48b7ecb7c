// Export of whole classes into a package, and import of a package.

#include <vqkudm/UDMCoreProfile.h>

#include <vqkudmrt/UDMCondition.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>
#include <vqlmosa/osaDirectory.h>
#include <vqlmosa/osaFileInfo.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

void UDMCoreProfile::Export(const vqString& path, const vqStlVector<vqString>& classNames, ExportFileOptions options) {
  static const char* const kSignature =
      VQ_PROFILE_SIG("void", "Export(" VQ_T_STRING_CREF ",const " VQ_T_VECTOR(VQ_T_STRING) " &,enum "
                                                                                            "vqkudm::ExportFileOptions)");
  if (path.empty()) ThrowEmptyArgument(kSignature, "Export File Path empty");
  const osaFileInfo target(path);
  const vqString directory = target.GetDirectory();
  if (!directory.empty() && !osaDirectory::Exists(directory)) {
    if (!osaDirectory::Create(directory, 0xFFF, true).IsOk()) {
      ThrowFileException(kSignature, "Folder creation failed: " + directory, ExcSubFolderCreation);
    }
  }
  if (target.Exists()) {
    const osaStatus writable = target.MakeWritable();
    if (!writable.IsOk()) ThrowFileException(kSignature, "Unable to overwrite " + path + ": " + writable.GetText(), ExcSubIo);
  }

  boost::shared_ptr<IUDMSession> session = Session();
  vqStlVector<boost::shared_ptr<UDMItem>> items;
  for (const vqString& className : classNames) {
    session->QueryCondition(*UDMContentDefCondition::CreateAndInit(className, UDMOpIsA), 1, false, items);
  }
  boost::shared_ptr<UDMSession> concrete = boost::dynamic_pointer_cast<UDMSession>(session);
  boost::shared_ptr<UDMExportCtrl> controller = concrete ? concrete->GetExportCtrl() : nullptr;
  if (!controller) ThrowUDMException(kSignature, "UDMExportCtrlPtr NULL", ExcCatState, ExcSubNull);
  boost::shared_ptr<UDMExportOptions> exportOptions =
      controller->CreateExportOptions(options, directory, "representations");
  boost::shared_ptr<UDMExportStructurePlugin> plugin =
      boost::dynamic_pointer_cast<UDMExportStructurePlugin>(concrete->GetPluginMgr()->GetPlugin("UDMExportStructurePlugin"));
  if (!plugin) ThrowUDMException(kSignature, "UDMExportStructurePlugin Ptr NULL", ExcCatState, ExcSubNull);
  vqStlVector<boost::shared_ptr<UDMItem>> related;
  vqStlVector<vqString> written;
  plugin->Export(items, related, path, exportOptions, written);
}

void UDMCoreProfile::Import(const vqString& path) {
  static const char* const kSignature = VQ_PROFILE_SIG("void", "Import(" VQ_T_STRING_CREF ")");
  if (path.empty()) ThrowEmptyArgument(kSignature, "Import File Path empty");
  boost::shared_ptr<IUDMSession> session = Session();
  boost::shared_ptr<UDMSession> concrete = boost::dynamic_pointer_cast<UDMSession>(session);
  boost::shared_ptr<UDMImportCtrl> controller = concrete ? concrete->GetImportCtrl() : nullptr;
  if (!controller) ThrowUDMException(kSignature, "UDMImportCtrlPtr NULL", ExcCatState, ExcSubNull);
  vqStlVector<boost::shared_ptr<UDMItem>> imported;
  vqStlVector<boost::shared_ptr<UDMItem>> unchanged;
  // A failed import keeps its unpacked data and callbacks for the caller to inspect.
  controller->Import(imported, unchanged, path, false, true);
  controller->TmpDataCleanup();
  controller->ClearAllCallbacks();
}

}  // namespace vqkudm
