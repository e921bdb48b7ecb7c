// The files and preview images of items.

#include <vqkudmrt/UDMItem.h>

#include <filesystem>

#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMSession.h>
#include <vqlmosa/osaDirectory.h>
#include <vqlmosa/osaFileInfo.h>

#include "../store/EntityStore.h"
#include "../vault/ContentVault.h"
#include "FileRecords.h"
#include "SessionOf.h"

namespace vqkudm {

using model::SessionOf;
namespace fs = std::filesystem;

namespace {

void CheckFileName(const char* signature, const vqString& name, const vqString& path) {
  if (name.empty() || name == "." || name == ".." || name.find_first_of("/\\") != vqString::npos ||
      name.find('\0') != vqString::npos) {
    ThrowInvalidArgException(signature,
                             "\"" + name + "\" (from \"" + path + "\") is not a plain file name", ExcSubWrongType);
  }
}

// "" for the top; otherwise relative segments without "." or "..".
vqString NormalFolder(const char* signature, const vqString& folder) {
  vqString normal;
  vqString slashes = folder;
  for (char& c : slashes) {
    if (c == '\\') c = '/';
  }
  for (const vqString& segment : slashes.Split('/')) {
    if (segment.empty()) continue;
    if (segment == "." || segment == "..") {
      ThrowInvalidArgException(signature, "the folder \"" + folder + "\" may not contain \"" + segment + "\"",
                               ExcSubWrongType);
    }
    normal += (normal.empty() ? "" : "/") + segment;
  }
  return normal;
}

vqString BaseName(const vqString& path) {
  const std::size_t slash = path.find_last_of("/\\");
  return slash == vqString::npos ? path : vqString(path.substr(slash + 1));
}

store::FileRecord ToRecord(const UDMGenericDocument& d) {
  return {d.IsPreviewImage() ? 1 : 0, d.GetName(), d.GetFolder(), d.GetContentKey(), d.GetSize(),
          d.GetModifiedTime(), d.GetAddedTime(), d.GetSourcePath(), static_cast<int>(d.GetImageType()),
          d.GetDescription(), d.IsDefault()};
}

}  // namespace

void UDMItem::LoadFiles() {
  if (m_filesLoaded) return;
  if (!m_isNew) {
    for (const store::FileRecord& r : SessionOf(*this, UDM_FUNCSIG)->Store().GetFiles(m_uid)) {
      UDMGenericDocument d;
      d.m_preview = r.kind == 1;
      d.m_name = r.name;
      d.m_folder = r.folder;
      d.m_contentKey = r.contentKey;
      d.m_size = r.size;
      d.m_modifiedTime = r.modifiedTime;
      d.m_addedTime = r.addedTime;
      d.m_sourcePath = r.sourcePath;
      d.m_imageType = static_cast<vqlm::ImageType>(r.imageType);
      d.m_description = r.description;
      d.m_default = r.isDefault;
      m_files.push_back(d);
    }
  }
  m_filesLoaded = true;
}

int UDMItem::FindDocument(bool preview, const vqString& name) {
  LoadFiles();
  for (std::size_t i = 0; i < m_files.size(); ++i) {
    if (m_files[i].m_preview == preview && m_files[i].m_name == name) return static_cast<int>(i);
  }
  return -1;
}

UDMGenericDocument UDMItem::StageDocument(const char* signature, const vqString& path, const vqString& name,
                                          bool keepModifiedTime) {
  const osaFileInfo info(path);
  if (!info.Exists() || info.IsDirectory()) {
    ThrowFileException(signature, "cannot add \"" + path + "\" to " + ToString("") + ": there is no such file",
                       ExcSubIo);
  }
  vault::StagedContent content;
  try {
    content = SessionOf(*this, signature)->Vault().Stage(path);
  } catch (const UDMException& e) {
    // The vault names its own file; the user knows the one being added.
    ThrowFileException(signature, "cannot add \"" + path + "\" to " + ToString("") + ": " + e.what(),
                       e.GetExceptionSubCategory());
  }
  UDMGenericDocument d;
  d.m_name = name;
  d.m_contentKey = content.key;
  d.m_size = content.size;
  d.m_addedTime = UDMSession::Now();
  d.m_modifiedTime = keepModifiedTime ? UDMSession::FormatTime(info.GetModificationTime()) : d.m_addedTime;
  return d;
}

void UDMItem::CheckFileNumbers(const char* signature, std::size_t files) const {
  boost::shared_ptr<UDMSession> session = SessionOf(*this, signature);
  const int most = session->GetConfiguration()->GetMaxFileNr(m_cdefType);
  const int least = session->GetConfiguration()->GetMinFileNr(m_cdefType);
  if (most > 0 && files > static_cast<std::size_t>(most)) {
    ThrowInvalidArgException(signature,
                             ToString("") + " may hold at most " + vqString::FromInt(most) + " files",
                             ExcSubOutOfRange);
  }
  if (least > 0 && files < static_cast<std::size_t>(least)) {
    ThrowInvalidArgException(signature,
                             ToString("") + " must hold at least " + vqString::FromInt(least) + " files",
                             ExcSubOutOfRange);
  }
}

void UDMItem::AddFile(const vqString& path, bool keepModifiedTime, bool external, const vqString& folder) {
  RequireEditable(UDM_FUNCSIG, "add a file");
  const vqString name = BaseName(path);
  CheckFileName(UDM_FUNCSIG, name, path);
  const vqString where = NormalFolder(UDM_FUNCSIG, folder);
  if (FindDocument(false, name) >= 0) {
    ThrowInvalidArgException(UDM_FUNCSIG, ToString("") + " already holds a file named \"" + name + "\"",
                             ExcSubFileExists);
  }
  std::size_t files = 1;
  for (const UDMGenericDocument& d : m_files) files += d.m_preview ? 0 : 1;
  const int most = SessionOf(*this, UDM_FUNCSIG)->GetConfiguration()->GetMaxFileNr(m_cdefType);
  if (most > 0 && files > static_cast<std::size_t>(most)) CheckFileNumbers(UDM_FUNCSIG, files);
  if (external) {
    const osaFileInfo info(path);
    AddExternalFile(path, static_cast<int>(info.GetSize()), name,
                    keepModifiedTime ? UDMSession::FormatTime(info.GetModificationTime()) : UDMSession::Now());
    return;
  }
  UDMGenericDocument d = StageDocument(UDM_FUNCSIG, path, name, keepModifiedTime);
  d.m_folder = where;
  m_files.push_back(d);
  m_modified = true;
}

void UDMItem::AddExternalFile(const vqString& path, int size, const vqString& fileName, const vqString& lastModTime) {
  RequireEditable(UDM_FUNCSIG, "add a file");
  CheckFileName(UDM_FUNCSIG, fileName, path);
  if (FindDocument(false, fileName) >= 0) {
    ThrowInvalidArgException(UDM_FUNCSIG, ToString("") + " already holds a file named \"" + fileName + "\"",
                             ExcSubFileExists);
  }
  UDMGenericDocument d;
  d.m_name = fileName;
  d.m_sourcePath = path;
  d.m_size = size;
  d.m_modifiedTime = lastModTime;
  d.m_addedTime = UDMSession::Now();
  m_files.push_back(d);
  m_modified = true;
}

void UDMItem::UpdateFile(const vqString& path) {
  RequireEditable(UDM_FUNCSIG, "update a file");
  const vqString name = BaseName(path);
  CheckFileName(UDM_FUNCSIG, name, path);
  const int at = FindDocument(false, name);
  if (at < 0) {
    ThrowInvalidArgException(UDM_FUNCSIG, ToString("") + " has no file named \"" + name + "\" to update",
                             ExcSubNotFound);
  }
  UDMGenericDocument d = StageDocument(UDM_FUNCSIG, path, name, true);
  UDMGenericDocument& old = m_files[static_cast<std::size_t>(at)];
  old.m_contentKey = d.m_contentKey;
  old.m_size = d.m_size;
  old.m_modifiedTime = d.m_modifiedTime;
  old.m_sourcePath.clear();
  m_modified = true;
}

void UDMItem::ReAddFile(const vqString& path, bool keepModifiedTime, bool external) {
  if (FindDocument(false, BaseName(path)) >= 0 && !external) {
    UpdateFile(path);
    return;
  }
  if (FindDocument(false, BaseName(path)) >= 0) RemoveFile(BaseName(path));
  AddFile(path, keepModifiedTime, external, "");
}

void UDMItem::RemoveFile(const vqString& name) {
  RequireEditable(UDM_FUNCSIG, "remove a file");
  const int at = FindDocument(false, name);
  if (at < 0) {
    ThrowInvalidArgException(UDM_FUNCSIG, ToString("") + " has no file named \"" + name + "\"", ExcSubNotFound);
  }
  m_files.erase(m_files.begin() + at);
  m_modified = true;
}

void UDMItem::GetFileInfoList(vqStlVector<UDMGenericDocument>& out, bool includeExternal) {
  LoadFiles();
  for (const UDMGenericDocument& d : m_files) {
    if (!d.m_preview && (includeExternal || !d.IsExternal())) out.push_back(d);
  }
}

void UDMItem::GetAllFilesIntoFolder(const vqString& folder, const bool& overwrite, vqStlVector<vqString>& out,
                                    const vqString& name, bool createFolders) {
  if (folder.empty()) ThrowEmptyArgument(UDM_FUNCSIG, "folder ");
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  LoadFiles();
  if (!osaDirectory::Exists(folder)) {
    if (!createFolders) {
      ThrowFileException(UDM_FUNCSIG, "the folder \"" + folder + "\" does not exist", ExcSubNotFound);
    }
  }
  for (const UDMGenericDocument& d : m_files) {
    if (d.m_preview || d.IsExternal() || (!name.empty() && d.m_name != name)) continue;
    const vqString written = WriteDocument(UDM_FUNCSIG, *session, d, folder, overwrite);
    if (!written.empty()) out.push_back(written);
  }
}

vqString UDMItem::GetPreviewImageIntoFolder(const vqString& name, const vqString& folder) {
  if (folder.empty()) ThrowEmptyArgument(UDM_FUNCSIG, "folder ");
  boost::shared_ptr<UDMSession> session = SessionOf(*this, UDM_FUNCSIG);
  LoadFiles();
  const int at = FindDocument(true, name);
  if (at < 0) {
    ThrowInvalidArgException(UDM_FUNCSIG, ToString("") + " has no preview image named \"" + name + "\"",
                             ExcSubNotFound);
  }
  return WriteDocument(UDM_FUNCSIG, *session, m_files[static_cast<std::size_t>(at)], folder, true);
}

vqString UDMItem::WriteDocument(const char* signature, UDMSession& session, const UDMGenericDocument& d,
                                const vqString& folder, bool overwrite) {
  const fs::path root = fs::path(folder.str()).lexically_normal();
  // Names and folders were checked when added; a stored record is checked again.
  CheckFileName(signature, d.m_name, d.m_name);
  const fs::path target = (root / NormalFolder(signature, d.m_folder).str() / d.m_name.str()).lexically_normal();
  const fs::path relative = target.lexically_relative(root);
  if (relative.empty() || *relative.begin() == "..") {
    ThrowInvalidArgException(signature, "\"" + d.m_name + "\" would land outside \"" + folder + "\"", ExcSubWrongType);
  }
  const osaStatus made = osaDirectory::Create(target.parent_path().string(), 0777, true);
  if (!made.IsOk()) ThrowFileException(signature, made.GetText(), ExcSubFolderCreation);
  if (!overwrite && fs::exists(target)) return vqString();
  session.Vault().Fetch(d.m_contentKey, target.string());
  return target.string();
}

void UDMItem::GetAllFilesIntoWorkspace(const bool& overwrite, vqStlVector<vqString>& out, const vqString& subFolder,
                                       const vqString& name) {
  const vqString workspace = SessionOf(*this, UDM_FUNCSIG)->GetWorkspaceDir();
  if (workspace.empty()) {
    ThrowStateException(UDM_FUNCSIG, "the session of " + ToString("") + " has no workspace", ExcSubEmpty);
  }
  const vqString sub = NormalFolder(UDM_FUNCSIG, subFolder);
  GetAllFilesIntoFolder(sub.empty() ? workspace : vqString(workspace + "/" + sub), overwrite, out, name, true);
}

void UDMItem::AddPreviewImage(const vqString& imagePath, const vqString& name, const vqlm::ImageType& type,
                              const vqString& description, bool makeDefault, bool replace) {
  RequireEditable(UDM_FUNCSIG, "add a preview image");
  CheckFileName(UDM_FUNCSIG, name, imagePath);
  const int at = FindDocument(true, name);
  if (at >= 0 && !replace) {
    ThrowInvalidArgException(UDM_FUNCSIG, ToString("") + " already has a preview image named \"" + name + "\"",
                             ExcSubFileExists);
  }
  UDMGenericDocument d = StageDocument(UDM_FUNCSIG, imagePath, name, true);
  d.m_preview = true;
  d.m_imageType = type;
  d.m_description = description;
  bool hasDefault = false;
  for (const UDMGenericDocument& other : m_files) hasDefault = hasDefault || (other.m_preview && other.m_default);
  if (at >= 0) {
    d.m_default = m_files[static_cast<std::size_t>(at)].m_default;
    m_files[static_cast<std::size_t>(at)] = d;
  } else {
    d.m_default = !hasDefault;
    m_files.push_back(d);
  }
  m_modified = true;
  if (makeDefault) SetDefaultPreviewImage(name);
}

void UDMItem::RemovePreviewImage(const vqString& name) {
  RequireEditable(UDM_FUNCSIG, "remove a preview image");
  const int at = FindDocument(true, name);
  if (at < 0) {
    ThrowInvalidArgException(UDM_FUNCSIG, ToString("") + " has no preview image named \"" + name + "\"",
                             ExcSubNotFound);
  }
  const bool wasDefault = m_files[static_cast<std::size_t>(at)].m_default;
  m_files.erase(m_files.begin() + at);
  for (UDMGenericDocument& d : m_files) {
    if (wasDefault && d.m_preview) {
      d.m_default = true;
      break;
    }
  }
  m_modified = true;
}

void UDMItem::SetDefaultPreviewImage(const vqString& name) {
  RequireEditable(UDM_FUNCSIG, "choose the default preview image");
  if (FindDocument(true, name) < 0) {
    ThrowInvalidArgException(UDM_FUNCSIG, ToString("") + " has no preview image named \"" + name + "\"",
                             ExcSubNotFound);
  }
  for (UDMGenericDocument& d : m_files) {
    if (d.m_preview) d.m_default = d.m_name == name;
  }
  m_modified = true;
}

void UDMItem::GetPreviewImages(vqStlVector<UDMGenericDocument>& out) {
  LoadFiles();
  for (const UDMGenericDocument& d : m_files) {
    if (d.m_preview) out.push_back(d);
  }
}

void UDMItem::PublishContents(UDMSession& session, const std::vector<UDMItemPtr>& items) {
  for (const UDMItemPtr& item : items) {
    for (const UDMGenericDocument& d : item->m_files) {
      if (d.IsExternal() || !session.Vault().IsPending(d.m_contentKey)) continue;
      session.Store().LockContent(d.m_contentKey);
      session.Vault().Publish(d.m_contentKey);
    }
  }
  session.Vault().SyncPublished();
}

std::vector<store::FileRecord> model::FileRecordsOf(const std::vector<UDMGenericDocument>& documents) {
  std::vector<store::FileRecord> records;
  records.reserve(documents.size());
  for (const UDMGenericDocument& d : documents) records.push_back(ToRecord(d));
  return records;
}

}  // namespace vqkudm
