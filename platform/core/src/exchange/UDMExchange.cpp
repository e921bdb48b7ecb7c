#include <vqkudmrt/UDMExchange.h>

#include <filesystem>

#include <boost/make_shared.hpp>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMUpdateWrapper.h>
#include <vqlmosa/osaDirectory.h>

#include "PackageArchive.h"
#include "PackageFormat.h"

namespace vqkudm {

namespace fs = std::filesystem;

namespace {

boost::shared_ptr<UDMSession> Live(const boost::weak_ptr<UDMSession>& session, const char* signature) {
  boost::shared_ptr<UDMSession> live = session.lock();
  if (!live) ThrowStateException(signature, "the session of this controller is gone", ExcSubNull);
  return live;
}

exchange::Progress Fan(const vqStlVector<UDMExchangeProgress>& callbacks) {
  return [callbacks](const vqString& stage, std::uint64_t done, std::uint64_t total) {
    for (const auto& callback : callbacks) callback(stage, done, total);
  };
}

// A fresh directory of our own under the system's temporary directory.
fs::path ScratchDirectory(const char* purpose) {
  const fs::path dir = fs::temp_directory_path() / (std::string(purpose) + "-" + UDMUID::Generate(0).GetDmUid().str());
  fs::create_directories(dir);
  return dir;
}

}  // namespace

boost::shared_ptr<UDMExportOptions> UDMExportCtrl::CreateExportOptions(const ExportFileOptions& fileOptions,
                                                                       const vqString& directory,
                                                                       const vqString& contentsFolder) {
  if (directory.empty()) ThrowEmptyArgument(UDM_FUNCSIG, "export directory ");
  if (fileOptions < ExportDirectory || fileOptions > ExportZip) {
    ThrowInvalidArgException(UDM_FUNCSIG, "there is no export file option " + vqString::FromInt(fileOptions),
                             ExcSubOutOfRange);
  }
  const vqString folder = contentsFolder.empty() ? vqString(exchange::kDefaultContentsFolder) : contentsFolder;
  if (folder == "." || folder == ".." || folder.find_first_of("/\\") != vqString::npos) {
    ThrowInvalidArgException(UDM_FUNCSIG, "the contents folder \"" + folder + "\" must be one plain name",
                             ExcSubWrongType);
  }
  const osaStatus made = osaDirectory::Create(directory, 0xFFF, true);
  if (!made.IsOk()) ThrowFileException(UDM_FUNCSIG, made.GetText(), ExcSubFolderCreation);
  return boost::make_shared<UDMExportOptions>(fileOptions, directory, folder);
}

void UDMExportCtrl::Export(const vqStlVector<boost::shared_ptr<UDMItem>>& items,
                           const vqStlVector<boost::shared_ptr<UDMItem>>& related, const vqString& path,
                           const boost::shared_ptr<UDMExportOptions>& options) {
  boost::shared_ptr<UDMSession> session = Live(m_session, UDM_FUNCSIG);
  if (!options) ThrowNullArgument(UDM_FUNCSIG, "export options ");
  if (path.empty()) ThrowEmptyArgument(UDM_FUNCSIG, "export path ");
  std::set<vqString> dmids;
  for (const auto* list : {&items, &related}) {
    for (const auto& item : *list) {
      if (!item) ThrowNullArgument(UDM_FUNCSIG, "exported item ");
      if (item->IsNew()) {
        ThrowStateException(UDM_FUNCSIG, "cannot export " + item->ToString("") + ": it is not persisted", ExcSubGeneral);
      }
      dmids.insert(item->GetUID().GetDmUid());
    }
  }
  fs::path target(path.str());
  if (target.is_relative()) target = fs::path(options->GetDirectory().str()) / target;
  std::error_code error;
  if (options->GetFileOptions() == ExportDirectory) {
    if (fs::exists(target) && !fs::is_empty(target, error)) {
      ThrowFileException(UDM_FUNCSIG, "cannot export into \"" + target.string() + "\": it is not empty", ExcSubIo);
    }
    const osaStatus made = osaDirectory::Create(target.string(), 0xFFF, true);
    if (!made.IsOk()) ThrowFileException(UDM_FUNCSIG, made.GetText(), ExcSubFolderCreation);
    exchange::WritePackage(*session, dmids, target.string(), options->GetContentsFolder(), Fan(m_callbacks));
    return;
  }
  const fs::path scratch = ScratchDirectory("udm-export");
  try {
    exchange::WritePackage(*session, dmids, scratch.string(), options->GetContentsFolder(), Fan(m_callbacks));
    const auto format = options->GetFileOptions() == ExportZip     ? exchange::ArchiveFormat::Zip
                        : options->GetFileOptions() == ExportTarGz ? exchange::ArchiveFormat::TarGz
                                                                   : exchange::ArchiveFormat::Tar;
    exchange::WriteArchive(scratch.string(), target.string(), format);
  } catch (...) {
    fs::remove_all(scratch, error);
    throw;
  }
  fs::remove_all(scratch, error);
}

UDMImportCtrl::~UDMImportCtrl() { TmpDataCleanup(); }

void UDMImportCtrl::Import(vqStlVector<boost::shared_ptr<UDMItem>>& imported,
                           vqStlVector<boost::shared_ptr<UDMItem>>& unchanged, const vqString& path, bool checkOnly,
                           bool notify) {
  boost::shared_ptr<UDMSession> session = Live(m_session, UDM_FUNCSIG);
  if (path.empty()) ThrowEmptyArgument(UDM_FUNCSIG, "package path ");
  vqString directory = path;
  if (!fs::is_directory(path.str())) {
    if (!fs::exists(path.str())) ThrowFileException(UDM_FUNCSIG, "there is no package \"" + path + "\"", ExcSubIo);
    TmpDataCleanup();
    m_unpacked = ScratchDirectory("udm-import").string();
    exchange::ExtractArchive(path, m_unpacked);
    directory = m_unpacked;
  }
  const exchange::ImportOutcome outcome = exchange::ReadPackage(*session, directory, checkOnly, Fan(m_callbacks));
  if (checkOnly) return;
  auto collect = [&](const std::vector<vqString>& dmids, vqStlVector<boost::shared_ptr<UDMItem>>& out, bool report) {
    for (const vqString& dmid : dmids) {
      boost::shared_ptr<UDMItem> item;
      try {
        item = session->FindLatest(dmid);
      } catch (const UDMException&) {
        continue;  // a relation: not an item
      }
      if (!item) continue;
      out.push_back(item);
      if (report) session->Notify(SIGNAL_CREATED, item);
    }
  };
  collect(outcome.added, imported, notify);
  collect(outcome.unchanged, unchanged, false);
}

void UDMImportCtrl::TmpDataCleanup() {
  if (m_unpacked.empty()) return;
  std::error_code ignored;
  fs::remove_all(m_unpacked.str(), ignored);
  m_unpacked.clear();
}

UDMExportStructurePlugin::~UDMExportStructurePlugin() = default;

boost::shared_ptr<UDMExportCtrl> UDMSession::GetExportCtrl() {
  if (!m_exportCtrl) m_exportCtrl = boost::make_shared<UDMExportCtrl>(shared_from_this());
  return m_exportCtrl;
}

boost::shared_ptr<UDMImportCtrl> UDMSession::GetImportCtrl() {
  if (!m_importCtrl) m_importCtrl = boost::make_shared<UDMImportCtrl>(shared_from_this());
  return m_importCtrl;
}

}  // namespace vqkudm
