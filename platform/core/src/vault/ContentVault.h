#pragma once

// The repository's file contents, addressed by a cryptographic hash of their
// bytes and stored once however many revisions and entities use them.
//
// Adding is in two steps so that the database never records a content the
// vault lacks: Stage copies (and hashes) the bytes where nobody sees them;
// inside the transaction that records the content, under the content's key
// lock, Publish puts it under its key. Contents are synced before that
// transaction commits; a failure in between leaves at worst an unreferenced
// content. Removing mirrors it: Discard inside the transaction that dropped
// the last record, FinishDiscards once it has ended.

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <vqutl/vqString.h>

namespace vqkudm::store {
class EntityStore;
}

namespace vqkudm::vault {

struct StagedContent {
  vqString key;  // lowercase hex of the 256-bit BLAKE2b hash of the bytes
  std::int64_t size = 0;
};

class ContentVault {
 public:
  virtual ~ContentVault();

  // Copies the file at `path` in one pass, hashing while copying. Raises
  // UDMException (ExcSubIo) naming the file when it cannot be read.
  virtual StagedContent Stage(const vqString& path) = 0;
  // Whether `key` was staged here and is not yet published.
  virtual bool IsPending(const vqString& key) const = 0;
  // Makes the staged bytes durable.
  virtual void SyncStaged() = 0;
  // Puts a staged content under its key, or confirms the vault already has
  // it; raises when it has neither.
  virtual void Publish(const vqString& key) = 0;
  // Makes the published contents' names durable.
  virtual void SyncPublished() = 0;
  virtual bool Contains(const vqString& key) = 0;
  // Writes the content to `target`, through a temporary name renamed into place.
  virtual void Fetch(const vqString& key, const vqString& target) = 0;
  // The size and the hash of the bytes kept under `key`, read now; nothing
  // when the vault lacks it.
  virtual std::optional<StagedContent> Examine(const vqString& key) = 0;
  // The keys of every published content.
  virtual std::vector<vqString> Keys() = 0;
  // Takes a content away so that FinishDiscards(false) can bring it back.
  virtual void Discard(const vqString& key) = 0;
  virtual void FinishDiscards(bool committed) = 0;
};

// Contents as files under `directory` (created when missing); several
// processes may share one directory.
std::unique_ptr<ContentVault> OpenDirectoryVault(const vqString& directory);
// Contents in the repository database itself, in chunks.
std::unique_ptr<ContentVault> OpenDatabaseVault(store::EntityStore& store);

// The hash of a file, as a vault keys it; for tools and tests.
vqString HashFile(const vqString& path);

}  // namespace vqkudm::vault
