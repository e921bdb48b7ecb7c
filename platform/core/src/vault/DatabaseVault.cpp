// Contents in the repository database, in chunks: each content is written in
// a transaction of its own while it is hashed, so the database holds either
// all of it or none of it.

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMUID.h>

#include "../store/EntityStore.h"
#include "ContentHash.h"
#include "ContentVault.h"

namespace vqkudm::vault {

namespace {

class DatabaseVault final : public ContentVault {
 public:
  explicit DatabaseVault(store::EntityStore& store) : m_store(store) {}

  StagedContent Stage(const vqString& source) override {
    const vqString upload = UDMUID::Generate(0).GetDmUid();
    ContentHash hash;
    StagedContent staged;
    m_store.InTransaction("storing \"" + source + "\"", [&] {
      std::int64_t seq = 0;
      ReadInPieces(source, [&](const char* data, std::size_t size) {
        hash.Update(data, size);
        m_store.InsertContentChunk(upload, seq++, data, size);
        staged.size += static_cast<std::int64_t>(size);
      });
      staged.key = hash.HexDigest();
      m_store.LockContent(staged.key);
      if (m_store.ContentExists(staged.key)) {
        m_store.DeleteUpload(upload);
      } else {
        m_store.InsertContent(staged.key, staged.size, upload);
      }
    });
    m_pending.insert(staged.key);
    return staged;
  }

  bool IsPending(const vqString& key) const override { return m_pending.count(key) != 0; }

  void SyncStaged() override {}  // committed with its own transaction

  void Publish(const vqString& key) override {
    if (!m_store.ContentExists(key)) {
      ThrowFileException(UDM_FUNCSIG, "the content " + key + " is missing from the repository database", ExcSubIo);
    }
    m_pending.erase(key);
  }

  void SyncPublished() override {}

  bool Contains(const vqString& key) override { return m_store.ContentExists(key); }

  void Fetch(const vqString& key, const vqString& target) override {
    static std::atomic<unsigned> counter{0};
    const vqString temp = target + ".part-" + std::to_string(::getpid()) + "-" + std::to_string(++counter);
    const int out = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (out < 0) {
      ThrowFileException(UDM_FUNCSIG, "cannot create \"" + temp + "\": " + std::strerror(errno), ExcSubIo);
    }
    bool written = true;
    const bool found = m_store.ReadContent(key, [&](const vqString& piece) {
      written = written && ::write(out, piece.data(), piece.size()) == static_cast<ssize_t>(piece.size());
    });
    written = ::close(out) == 0 && written;
    std::error_code error;
    if (found && written) std::filesystem::rename(temp.str(), target.str(), error);
    if (!found || !written || error) {
      std::filesystem::remove(temp.str(), error);
      ThrowFileException(UDM_FUNCSIG,
                         found ? "cannot write \"" + target + "\"" : "the content " + key + " is missing", ExcSubIo);
    }
  }

  std::optional<StagedContent> Examine(const vqString& key) override {
    ContentHash hash;
    StagedContent read;
    const bool found = m_store.ReadContent(key, [&](const vqString& piece) {
      hash.Update(piece.data(), piece.size());
      read.size += static_cast<std::int64_t>(piece.size());
    });
    if (!found) return std::nullopt;
    read.key = hash.HexDigest();
    return read;
  }

  std::vector<vqString> Keys() override {
    const vqStlVector<vqString> keys =
        m_store.Select("SELECT content_key FROM udm_content ORDER BY content_key", {}).GetColumnTexts(0);
    return std::vector<vqString>(keys.begin(), keys.end());
  }

  // Inside the caller's transaction, so a rollback brings the content back.
  void Discard(const vqString& key) override { m_store.DeleteContent(key); }
  void FinishDiscards(bool) override {}

 private:
  store::EntityStore& m_store;
  std::set<vqString> m_pending;
};

}  // namespace

std::unique_ptr<ContentVault> OpenDatabaseVault(store::EntityStore& store) {
  return std::make_unique<DatabaseVault>(store);
}

}  // namespace vqkudm::vault
