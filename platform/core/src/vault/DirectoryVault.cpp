// Contents as files: objects/<first two hex digits>/<key>, written under
// staging/ and renamed into place, discarded by a rename into trash/.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <future>
#include <map>
#include <vector>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMUID.h>
#include <vqlmosa/osaDirectory.h>

#include "ContentHash.h"
#include "ContentVault.h"

namespace vqkudm::vault {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void FileFailure(const vqString& what, const vqString& path, int error) {
  ThrowFileException(UDM_FUNCSIG, what + " \"" + path + "\": " + std::strerror(error), ExcSubIo);
}

void MakeDirectory(const vqString& path) {
  const osaStatus status = osaDirectory::Create(path, 0777, true);
  if (!status.IsOk()) ThrowFileException(UDM_FUNCSIG, status.GetText(), ExcSubFolderCreation);
}

void WriteAll(int fd, const char* data, std::size_t size, const vqString& path) {
  while (size > 0) {
    const ssize_t done = ::write(fd, data, size);
    if (done < 0 && errno == EINTR) continue;
    if (done < 0) FileFailure("cannot write", path, errno);
    data += done;
    size -= static_cast<std::size_t>(done);
  }
}

// Copies `source` to `out` in one pass over its bytes: each piece is read
// once, hashed (on a second thread for large files) and copied by the
// kernel where it can, without passing through this process again.
void CopyHashing(const vqString& source, int out, const vqString& outPath, ContentHash& hash, std::int64_t& size) {
  std::future<void> hashing;
  auto finishHashing = [&] {
    if (hashing.valid()) hashing.get();
  };
  bool kernelCopy = true;
  try {
    ReadInPieces(source, [&](int in, const char* data, std::size_t length) {
      finishHashing();
      if (length < kReadPiece) {
        hash.Update(data, length);
      } else {
        hashing = std::async(std::launch::async, [&hash, data, length] { hash.Update(data, length); });
      }
      std::size_t copied = 0;
#if defined(__linux__)
      loff_t from = size, to = size;
      while (kernelCopy && copied < length) {
        const ssize_t done = ::copy_file_range(in, &from, out, &to, length - copied, 0);
        if (done <= 0) {
          if (done < 0 && errno == EINTR) continue;
          kernelCopy = false;  // not across these file systems: write it ourselves
          break;
        }
        copied += static_cast<std::size_t>(done);
      }
#endif
      if (copied < length) {
        if (::lseek(out, static_cast<off_t>(size + static_cast<std::int64_t>(copied)), SEEK_SET) < 0) {
          FileFailure("cannot write", outPath, errno);
        }
        WriteAll(out, data + copied, length - copied, outPath);
      }
      size += static_cast<std::int64_t>(length);
    });
    finishHashing();
  } catch (...) {
    finishHashing();
    throw;
  }
}

// A name no other process or vault object will pick.
vqString UniqueName() {
  static std::atomic<unsigned> counter{0};
  return UDMUID::Generate(0).GetDmUid() + "-" + std::to_string(::getpid()) + "-" + std::to_string(++counter);
}

class DirectoryVault final : public ContentVault {
 public:
  explicit DirectoryVault(const vqString& root)
      : m_root(root), m_objects(root + "/objects"), m_staging(root + "/staging"), m_trash(root + "/trash") {
    for (const vqString& dir : {m_objects, m_staging, m_trash}) MakeDirectory(dir);
  }
  ~DirectoryVault() override {
    // Contents staged but never recorded are of no use to anyone.
    std::error_code ignored;
    for (const auto& [key, path] : m_staged) fs::remove(path.str(), ignored);
    FinishDiscards(true);
  }

  StagedContent Stage(const vqString& source) override {
    const vqString temp = m_staging + "/" + UniqueName();
    const int out = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (out < 0) FileFailure("cannot create", temp, errno);
    ContentHash hash;
    StagedContent staged;
    try {
      CopyHashing(source, out, temp, hash, staged.size);
#if defined(__linux__)
      // Start writing a large file back at once, so that the sync before the
      // check-in commits finds less left to do.
      if (staged.size >= static_cast<std::int64_t>(kReadPiece)) ::sync_file_range(out, 0, 0, SYNC_FILE_RANGE_WRITE);
#endif
    } catch (...) {
      ::close(out);
      ::unlink(temp.c_str());
      throw;
    }
    if (::close(out) != 0) FileFailure("cannot write", temp, errno);
    staged.key = hash.HexDigest();
    auto [it, added] = m_staged.emplace(staged.key, temp);
    if (!added) ::unlink(temp.c_str());  // the same bytes are staged already
    m_unsynced = m_unsynced || added;
    return staged;
  }

  bool IsPending(const vqString& key) const override { return m_staged.count(key) != 0; }

  void SyncStaged() override {
    if (!m_unsynced) return;
    Sync();
    m_unsynced = false;
  }

  void Publish(const vqString& key) override {
    const vqString target = ObjectPath(key);
    auto staged = m_staged.find(key);
    if (fs::exists(target.str())) {
      if (staged != m_staged.end()) {
        ::unlink(staged->second.c_str());
        m_staged.erase(staged);
      }
      return;
    }
    if (staged == m_staged.end()) {
      ThrowFileException(UDM_FUNCSIG, "the content " + key + " is missing from the vault " + m_root, ExcSubIo);
    }
    MakeDirectory(target.substr(0, target.rfind('/')));
    if (::rename(staged->second.c_str(), target.c_str()) != 0) FileFailure("cannot publish", target, errno);
    m_staged.erase(staged);
    m_unpublished = true;
  }

  void SyncPublished() override {
    if (!m_unpublished) return;
    Sync();
    m_unpublished = false;
  }

  bool Contains(const vqString& key) override { return fs::exists(ObjectPath(key).str()); }

  void Fetch(const vqString& key, const vqString& target) override {
    auto staged = m_staged.find(key);
    const vqString source = staged != m_staged.end() ? staged->second : ObjectPath(key);
    const vqString temp = target + ".part-" + UniqueName();
    std::error_code error;
    fs::copy_file(source.str(), temp.str(), fs::copy_options::overwrite_existing, error);
    if (!error) fs::rename(temp.str(), target.str(), error);
    if (error) {
      fs::remove(temp.str(), error);
      ThrowFileException(UDM_FUNCSIG,
                         "cannot fetch the content " + key + " into \"" + target + "\": " + error.message(), ExcSubIo);
    }
  }

  std::optional<StagedContent> Examine(const vqString& key) override {
    const vqString path = ObjectPath(key);
    std::error_code error;
    const auto size = fs::file_size(path.str(), error);
    if (error) return std::nullopt;
    return StagedContent{HashFile(path), static_cast<std::int64_t>(size)};
  }

  std::vector<vqString> Keys() override {
    std::vector<vqString> keys;
    std::error_code error;
    for (const fs::directory_entry& prefix : fs::directory_iterator(m_objects.str(), error)) {
      for (const fs::directory_entry& object : fs::directory_iterator(prefix.path(), error)) {
        if (object.is_regular_file()) keys.push_back(object.path().filename().string());
      }
    }
    if (error) ThrowFileException(UDM_FUNCSIG, "cannot list the vault " + m_objects + ": " + error.message(), ExcSubIo);
    std::sort(keys.begin(), keys.end());
    return keys;
  }

  void Discard(const vqString& key) override {
    const vqString from = ObjectPath(key);
    const vqString to = m_trash + "/" + key + "-" + UniqueName();
    if (::rename(from.c_str(), to.c_str()) != 0) {
      if (errno == ENOENT) return;
      FileFailure("cannot discard", from, errno);
    }
    m_discarded.emplace_back(from, to);
  }

  void FinishDiscards(bool committed) override {
    for (const auto& [object, trashed] : m_discarded) {
      if (committed) {
        ::unlink(trashed.c_str());
      } else {
        ::rename(trashed.c_str(), object.c_str());
      }
    }
    m_discarded.clear();
  }

 private:
  vqString ObjectPath(const vqString& key) const { return m_objects + "/" + key.substr(0, 2) + "/" + key; }

  void Sync() {
    const osaStatus status = osaDirectory::SyncFileSystem(m_root);
    if (!status.IsOk()) ThrowFileException(UDM_FUNCSIG, status.GetText(), ExcSubIo);
  }

  vqString m_root, m_objects, m_staging, m_trash;
  std::map<vqString, vqString> m_staged;  // key -> staged file
  std::vector<std::pair<vqString, vqString>> m_discarded;  // object path, trash path
  bool m_unsynced = false;
  bool m_unpublished = false;
};

}  // namespace

std::unique_ptr<ContentVault> OpenDirectoryVault(const vqString& directory) {
  return std::make_unique<DirectoryVault>(directory);
}

}  // namespace vqkudm::vault
