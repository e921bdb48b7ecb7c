#pragma once

// The secret key of password encoding and the file that keeps it.

#include <array>

#include <vqfiletransfer/iVQKFileManager.h>

namespace vqfiletransfer {

// Wiped when destroyed or cleared, so a key does not linger in freed memory.
class SecretKey {
 public:
  static constexpr std::size_t kSize = 32;

  SecretKey() = default;
  ~SecretKey() { Clear(); }
  SecretKey(const SecretKey&) = delete;
  SecretKey& operator=(const SecretKey&) = delete;

  bool IsSet() const { return m_set; }
  const unsigned char* Bytes() const { return m_bytes.data(); }
  unsigned char* MutableBytes() { return m_bytes.data(); }
  void MarkSet() { m_set = true; }
  void Clear();

 private:
  std::array<unsigned char, kSize> m_bytes{};
  bool m_set = false;
};

// Reads the key of `path`. VQKFmNoKeyFile when there is no such file;
// VQKFmFailed when it cannot be read, is not a regular file of exactly
// kSize bytes, or group or others may access it.
VQKFileManagerStatus ReadKeyFile(const vqString& path, SecretKey& key);

// Makes sure `path` holds a key: writes a fresh one under a temporary name
// in the same directory, owner-only from creation, and links it into place.
// A key file that appears meanwhile wins and is kept.
VQKFileManagerStatus CreateKeyFile(const vqString& path);

}  // namespace vqfiletransfer
