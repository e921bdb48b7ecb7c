#include "ContentHash.h"

#include <mutex>

#include "ContentVault.h"

namespace vqkudm::vault {

namespace {
constexpr std::size_t kDigestBytes = 32;
}

ContentHash::ContentHash() {
  static std::once_flag initialised;
  std::call_once(initialised, [] {
    if (sodium_init() < 0) ThrowStateException(UDM_FUNCSIG, "the hashing library cannot start", ExcSubGeneral);
  });
  crypto_generichash_init(&m_state, nullptr, 0, kDigestBytes);
}

void ContentHash::Update(const void* data, std::size_t size) {
  crypto_generichash_update(&m_state, static_cast<const unsigned char*>(data), size);
}

vqString ContentHash::HexDigest() {
  unsigned char digest[kDigestBytes];
  crypto_generichash_final(&m_state, digest, kDigestBytes);
  char hex[kDigestBytes * 2 + 1];
  sodium_bin2hex(hex, sizeof hex, digest, kDigestBytes);
  return vqString(hex);
}

vqString HashFile(const vqString& path) {
  ContentHash hash;
  ReadInPieces(path, [&](const char* data, std::size_t size) { hash.Update(data, size); });
  return hash.HexDigest();
}

ContentVault::~ContentVault() = default;

}  // namespace vqkudm::vault
