// The file manager of the FileTransferClient module: password sealing with
// a key file (see iVQKFileManager.h for the format and the key file).

#include <sodium.h>

#include <mutex>
#include <new>
#include <vector>

#include <vqfiletransfer/iVQKFileManager.h>
#include <vqutl/vqExport.h>

#include "KeyFile.h"

namespace vqfiletransfer {

namespace {

// A new format gets a new prefix, so old values stay readable.
const char kPrefix[] = "vqpw1:";
constexpr std::size_t kPrefixSize = sizeof kPrefix - 1;
constexpr int kBase64Variant = sodium_base64_VARIANT_ORIGINAL;

VQKFileManagerStatus Rejected(const vqString& reason) {
  return VQKFileManagerStatus::Failure(VQKFmRejected,
                                       "the value is not an encoded password: " + reason);
}

class FileManager final : public iVQKFileManager {
 public:
  VQKFileManagerStatus SetKeyFile(const vqString& path) override {
    if (path.empty())
      return VQKFileManagerStatus::Failure(VQKFmNoKeyFile, "the key file path is empty");
    std::lock_guard<std::mutex> lock(m_mutex);
    if (path != m_keyFile) {
      m_key.Clear();
      m_keyFile = path;
    }
    return VQKFileManagerStatus();
  }

  vqString GetKeyFile() const override {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_keyFile;
  }

  VQKFileManagerStatus EncodePassword(const vqString& password, vqString& encoded) override {
    std::lock_guard<std::mutex> lock(m_mutex);
    VQKFileManagerStatus status = LoadKey(true);
    if (!status) return status;
    std::vector<unsigned char> sealed(crypto_secretbox_NONCEBYTES + crypto_secretbox_MACBYTES +
                                      password.size());
    unsigned char* nonce = sealed.data();
    randombytes_buf(nonce, crypto_secretbox_NONCEBYTES);
    crypto_secretbox_easy(nonce + crypto_secretbox_NONCEBYTES,
                          reinterpret_cast<const unsigned char*>(password.data()), password.size(),
                          nonce, m_key.Bytes());
    std::string text(sodium_base64_encoded_len(sealed.size(), kBase64Variant), '\0');
    sodium_bin2base64(text.data(), text.size(), sealed.data(), sealed.size(), kBase64Variant);
    text.resize(text.size() - 1);  // the terminating zero
    encoded = kPrefix + text;
    return VQKFileManagerStatus();
  }

  VQKFileManagerStatus DecodePassword(const vqString& encoded, vqString& password) override {
    std::lock_guard<std::mutex> lock(m_mutex);
    // The value itself never goes into a message: a foreign one may be a
    // password in clear.
    if (encoded.compare(0, kPrefixSize, kPrefix) != 0) {
      return Rejected(vqString("it does not begin with \"") + kPrefix + "\"");
    }
    const char* text = encoded.data() + kPrefixSize;
    const std::size_t textSize = encoded.size() - kPrefixSize;
    std::vector<unsigned char> sealed(textSize / 4 * 3 + 3);
    std::size_t sealedSize = 0;
    const char* end = nullptr;
    if (sodium_base642bin(sealed.data(), sealed.size(), text, textSize, nullptr, &sealedSize, &end,
                          kBase64Variant) != 0 ||
        end != text + textSize) {
      return Rejected("it is not valid base64");
    }
    if (sealedSize < crypto_secretbox_NONCEBYTES + crypto_secretbox_MACBYTES) {
      return Rejected("it is too short to hold a sealed value (truncated?)");
    }
    VQKFileManagerStatus status = LoadKey(false);
    if (!status) return status;
    const unsigned char* nonce = sealed.data();
    const std::size_t cipherSize = sealedSize - crypto_secretbox_NONCEBYTES;
    const std::size_t plainSize = cipherSize - crypto_secretbox_MACBYTES;
    // One spare byte, so an empty password still has a buffer to point at.
    std::vector<unsigned char> plain(plainSize + 1);
    if (crypto_secretbox_open_easy(plain.data(), nonce + crypto_secretbox_NONCEBYTES, cipherSize,
                                   nonce, m_key.Bytes()) != 0) {
      return VQKFileManagerStatus::Failure(
          VQKFmRejected,
          "the encoded password failed authentication: it was changed or truncated, "
          "or sealed with another key than that of '" +
              m_keyFile + "'");
    }
    password.assign(reinterpret_cast<const char*>(plain.data()), plainSize);
    sodium_memzero(plain.data(), plain.size());
    return VQKFileManagerStatus();
  }

 private:
  VQKFileManagerStatus LoadKey(bool createIfMissing) {
    if (m_key.IsSet()) return VQKFileManagerStatus();
    if (m_keyFile.empty()) {
      return VQKFileManagerStatus::Failure(VQKFmNoKeyFile, "no key file was set (SetKeyFile)");
    }
    VQKFileManagerStatus status = ReadKeyFile(m_keyFile, m_key);
    if (status.GetKind() == VQKFmNoKeyFile && createIfMissing) {
      status = CreateKeyFile(m_keyFile);
      if (status) status = ReadKeyFile(m_keyFile, m_key);
    } else if (status.GetKind() == VQKFmNoKeyFile) {
      return VQKFileManagerStatus::Failure(VQKFmNoKeyFile,
                                           status.GetText() +
                                               ": passwords can be decoded only with the key file "
                                               "they were encoded with");
    }
    return status;
  }

  mutable std::mutex m_mutex;
  vqString m_keyFile;
  SecretKey m_key;
};

}  // namespace

}  // namespace vqfiletransfer

VQ_MODULE_ENTRY iVQKFileManager* CreateFileManager() {
  if (sodium_init() < 0) return nullptr;
  return new (std::nothrow) vqfiletransfer::FileManager();
}
