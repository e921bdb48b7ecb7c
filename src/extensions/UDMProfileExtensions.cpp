#include <vqkudm/UDMProfileExtensions.h>

#include <algorithm>
#include <type_traits>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMExchange.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>
#include <vqlmosa/osaFileInfo.h>

#include "../foundation/SignatureText.h"
#include "ExtensionSession.h"

namespace vqkudm {

namespace {

#define VQ_T_EXCHANGE_PROGRESS \
  "class std::function<void __cdecl(" VQ_T_STRING_CREF ",unsigned __int64,unsigned __int64)>"

bool IsA(UDMProfileUtils& utils, vqString cdef, const vqString& base) {
  // Deeper than any real definition chain; stops a chain that loops.
  for (int depth = 0; !cdef.empty() && depth < 64; ++depth) {
    if (cdef == base) return true;
    UDMContentDefinitionHandle definition = utils.GetContentDefinitionHandle(cdef);
    if (definition.IsEmpty()) return false;
    cdef.clear();
    definition.GetDerivedFrom(cdef);
  }
  return false;
}

// The caller's callback must not outlive the call, nor an archive's
// unpacked copy the import.
template <typename Controller>
class CallbacksCleared {
 public:
  explicit CallbacksCleared(Controller& controller) : m_controller(controller) {}
  ~CallbacksCleared() {
    if constexpr (std::is_same_v<Controller, UDMImportCtrl>) m_controller.TmpDataCleanup();
    m_controller.ClearAllCallbacks();
  }
  CallbacksCleared(const CallbacksCleared&) = delete;
  CallbacksCleared& operator=(const CallbacksCleared&) = delete;

 private:
  Controller& m_controller;
};

boost::shared_ptr<UDMItem> ItemOf(const char* signature, UDMSession& session, const UDMItemHandle& handle) {
  boost::shared_ptr<UDMItem> item = session.FindItemById(UDMUID(handle.GetUID()), true, vqString());
  if (!item) ThrowUDMException(signature, "no item " + handle.GetUID(), ExcCatState, ExcSubNotFound);
  return item;
}

}  // namespace

boost::shared_ptr<UDMSession> SessionOf(const char* signature, const boost::shared_ptr<IUDMProfile>& profile) {
  if (!profile) ThrowNullArgument(signature, "profile ");
  boost::shared_ptr<UDMSession> session =
      boost::dynamic_pointer_cast<UDMSession>(UDMFramework::GetInstance()->FindSession(profile->GetSessionId()));
  if (!session) ThrowUDMException(signature, "the session of the profile is gone", ExcCatState, ExcSubNull);
  return session;
}

void UDMProfileExtensions::ResumeSavedWork(const boost::shared_ptr<IUDMProfile>& profile,
                                           vqStlVector<UDMResumedWork>& out) {
  static const char* const kSignature =
      VQ_SIG("void", "UDMProfileExtensions",
             "ResumeSavedWork(const " VQ_T_SHARED("class vqkudm::IUDMProfile") " &,"
             "class vqStlVector<struct vqkudm::UDMResumedWork> &)");
  boost::shared_ptr<UDMSession> session = SessionOf(kSignature, profile);
  vqStlVector<boost::shared_ptr<UDMItem>> items;
  session->ResumeDrafts(items);
  for (const boost::shared_ptr<UDMItem>& item : items) {
    UDMResumedWork work;
    work.item = profile->GetUDMItemHandle(item->GetUID().ToString());
    work.isNew = item->IsNew();
    work.modified = work.isNew || item->IsModified();
    out.push_back(work);
  }
}

void UDMProfileExtensions::ExportItems(const boost::shared_ptr<IUDMProfile>& profile,
                                       const vqStlVector<UDMItemHandle>& items, const vqString& path,
                                       ExportFileOptions format, const UDMExchangeProgress& progress) {
  static const char* const kSignature =
      VQ_SIG("void", "UDMProfileExtensions",
             "ExportItems(const " VQ_T_SHARED("class vqkudm::IUDMProfile") " &,"
             "const class vqStlVector<class vqkudm::UDMItemHandle> &," VQ_T_STRING_CREF
             ",enum vqkudm::ExportFileOptions,const " VQ_T_EXCHANGE_PROGRESS " &)");
  if (path.empty()) ThrowEmptyArgument(kSignature, "Export File Path empty");
  boost::shared_ptr<UDMSession> session = SessionOf(kSignature, profile);
  vqStlVector<boost::shared_ptr<UDMItem>> found;
  for (const UDMItemHandle& handle : items) found.push_back(ItemOf(kSignature, *session, handle));
  boost::shared_ptr<UDMExportCtrl> controller = session->GetExportCtrl();
  boost::shared_ptr<UDMExportStructurePlugin> plugin = boost::dynamic_pointer_cast<UDMExportStructurePlugin>(
      session->GetPluginMgr()->GetPlugin("UDMExportStructurePlugin"));
  if (!controller || !plugin) {
    ThrowUDMException(kSignature, "the session offers no export", ExcCatState, ExcSubNull);
  }
  const CallbacksCleared cleared(*controller);
  if (progress) controller->AddProgressCallback(progress);
  vqStlVector<vqString> written;
  plugin->Export(found, {}, path, controller->CreateExportOptions(format, osaFileInfo(path).GetDirectory(), vqString()),
                 written);
}

ExportFileOptions UDMProfileExtensions::PackageFormatOf(const vqString& path) {
  const auto endsWith = [&](const char* end) {
    const std::string text = path.str();
    const std::size_t length = std::char_traits<char>::length(end);
    return text.size() >= length && text.compare(text.size() - length, length, end) == 0;
  };
  if (endsWith(".tar.gz") || endsWith(".tgz")) return ExportTarGz;
  if (endsWith(".tar")) return ExportTar;
  if (endsWith(".zip")) return ExportZip;
  return ExportDirectory;
}

std::size_t UDMProfileExtensions::ImportPackage(const boost::shared_ptr<IUDMProfile>& profile, const vqString& path,
                                                const UDMExchangeProgress& progress) {
  static const char* const kSignature =
      VQ_SIG("size_t", "UDMProfileExtensions",
             "ImportPackage(const " VQ_T_SHARED("class vqkudm::IUDMProfile") " &," VQ_T_STRING_CREF
             ",const " VQ_T_EXCHANGE_PROGRESS " &)");
  if (path.empty()) ThrowEmptyArgument(kSignature, "Import File Path empty");
  boost::shared_ptr<UDMImportCtrl> controller = SessionOf(kSignature, profile)->GetImportCtrl();
  if (!controller) ThrowUDMException(kSignature, "the session offers no import", ExcCatState, ExcSubNull);
  const CallbacksCleared cleared(*controller);
  if (progress) controller->AddProgressCallback(progress);
  vqStlVector<boost::shared_ptr<UDMItem>> imported;
  vqStlVector<boost::shared_ptr<UDMItem>> unchanged;
  controller->Import(imported, unchanged, path, false, true);
  return imported.size();
}

void UDMProfileExtensions::RootItems(const boost::shared_ptr<IUDMProfile>& profile, vqStlVector<UDMItemHandle>& out) {
  static const char* const kSignature =
      VQ_SIG("void", "UDMProfileExtensions",
             "RootItems(const " VQ_T_SHARED("class vqkudm::IUDMProfile") " &,"
             "class vqStlVector<class vqkudm::UDMItemHandle> &)");
  boost::shared_ptr<UDMSession> session = SessionOf(kSignature, profile);
  vqStlVector<boost::shared_ptr<UDMItem>> roots;
  session->GetRootEntities(RootEntityItems, roots);
  session->GetRootEntities(RootEntityClassifications, roots);
  // Identifiers grow with creation time.
  std::sort(roots.begin(), roots.end(), [](const auto& a, const auto& b) {
    return a->GetUID().GetDmUid() < b->GetUID().GetDmUid();
  });
  for (const boost::shared_ptr<UDMItem>& root : roots) out.push_back(profile->GetUDMItemHandle(root->GetUID().ToString()));
}

vqString UDMProfileExtensions::ChildGroupFor(const boost::shared_ptr<IUDMProfile>& profile, const vqString& parentCdef,
                                             const vqString& childCdef) {
  static const char* const kSignature =
      VQ_SIG(VQ_T_STRING, "UDMProfileExtensions",
             "ChildGroupFor(const " VQ_T_SHARED("class vqkudm::IUDMProfile") " &," VQ_T_STRING_CREF "," VQ_T_STRING_CREF ")");
  if (!profile) ThrowNullArgument(kSignature, "profile ");
  UDMProfileUtils utils = profile->GetProfileUtils();
  vqStlVector<vqString> groups;
  utils.GetGroupNames(parentCdef, groups, "");
  for (const vqString& group : groups) {
    vqStlVector<vqString> allowed;
    utils.GetAllowedChildCdefNames(parentCdef, allowed, group);
    if (allowed.empty()) return group;
    for (const vqString& type : allowed) {
      if (IsA(utils, childCdef, type)) return group;
    }
  }
  return vqString();
}

std::uint64_t UDMProfileExtensions::CountQueryMatches(const boost::shared_ptr<IUDMProfile>& profile,
                                                      const vqString& query, const UDMQuerySettingHandle& settings,
                                                      bool allRevisions) {
  static const char* const kSignature =
      VQ_SIG("uint64_t", "UDMProfileExtensions",
             "CountQueryMatches(const " VQ_T_SHARED("class vqkudm::IUDMProfile") " &," VQ_T_STRING_CREF
             ",const class vqkudm::UDMQuerySettingHandle &,bool)");
  return SessionOf(kSignature, profile)->CountQuery(query, *settings.GetQuerySettingPtr(), allRevisions, false);
}

void UDMProfileExtensions::PreviewImages(const boost::shared_ptr<IUDMProfile>& profile, const UDMItemHandle& item,
                                         vqStlVector<UDMGenericDocument>& out) {
  static const char* const kSignature =
      VQ_SIG("void", "UDMProfileExtensions",
             "PreviewImages(const " VQ_T_SHARED("class vqkudm::IUDMProfile") " &,const class vqkudm::UDMItemHandle &,"
             "class vqStlVector<class vqkudm::UDMGenericDocument> &)");
  ItemOf(kSignature, *SessionOf(kSignature, profile), item)->GetPreviewImages(out);
}

vqString UDMProfileExtensions::FetchPreviewImage(const boost::shared_ptr<IUDMProfile>& profile,
                                                 const UDMItemHandle& item, const vqString& name,
                                                 const vqString& folder) {
  static const char* const kSignature =
      VQ_SIG(VQ_T_STRING, "UDMProfileExtensions",
             "FetchPreviewImage(const " VQ_T_SHARED("class vqkudm::IUDMProfile") " &,const class vqkudm::UDMItemHandle &,"
             VQ_T_STRING_CREF "," VQ_T_STRING_CREF ")");
  return ItemOf(kSignature, *SessionOf(kSignature, profile), item)->GetPreviewImageIntoFolder(name, folder);
}

vqString UDMProfileExtensions::VersionedUrlOf(const boost::shared_ptr<IUDMProfile>& profile,
                                              const UDMItemHandle& item) {
  static const char* const kSignature =
      VQ_SIG(VQ_T_STRING, "UDMProfileExtensions",
             "VersionedUrlOf(const " VQ_T_SHARED("class vqkudm::IUDMProfile") " &,const class vqkudm::UDMItemHandle &)");
  return ItemOf(kSignature, *SessionOf(kSignature, profile), item)->GetUrlPath(false);
}

UDMIntegrityReport UDMProfileExtensions::VerifyRepository(const boost::shared_ptr<IUDMProfile>& profile,
                                                          bool pruneContents) {
  static const char* const kSignature =
      VQ_SIG("struct vqkudm::UDMIntegrityReport", "UDMProfileExtensions",
             "VerifyRepository(const " VQ_T_SHARED("class vqkudm::IUDMProfile") " &,bool)");
  return SessionOf(kSignature, profile)->VerifyRepository(pruneContents);
}

vqString UDMProfileExtensions::ReservedNameCharacters() { return kReservedCharacters; }

}  // namespace vqkudm
