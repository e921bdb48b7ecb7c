#pragma once

// The interface of the file-transfer client module ("FileTransferClient").
// The module is loaded by name at run time and makes one file manager through
// its C entry "CreateFileManager"; this header is all its users compile
// against. Every call reports failure by value and never throws.
//
// Passwords: EncodePassword seals a password with a secret key under
// authenticated encryption (libsodium's secretbox, a fresh random nonce per
// value) and returns text fit for a database column:
//
//   "vqpw1:" + base64(nonce[24] + ciphertext[16-byte tag + password])
//
// DecodePassword reverses it, and refuses a value that was changed,
// truncated, is not in that form or was sealed under another key: it never
// returns garbage. Neither call writes the password anywhere but its result.
//
// The key is 32 random bytes in a key file whose path the caller gives with
// SetKeyFile. The first EncodePassword creates the file when it is missing:
// owner read and write only (0600) from the moment it exists, written under
// a temporary name and linked into place, so no reader ever sees a partial
// key and two processes creating it at once end up sharing one. A key file
// that group or others may access is refused. Losing the key file loses
// every password sealed with it: back it up with the data it protects.

#include <utility>

#include <vqutl/vqString.h>

// Header-only and used on both sides of the module boundary: the type's
// run-time information must be one object in the process (sanitizers and
// dynamic_cast compare it), so it keeps default visibility.
#if defined(_WIN32)
#define VQFILETRANSFER_INTERFACE
#else
#define VQFILETRANSFER_INTERFACE __attribute__((visibility("default")))
#endif

enum VQKFileManagerErrorKind {
  VQKFmOk = 0,
  VQKFmFailed,     // the key file could not be created or read, or is unfit
  VQKFmNoKeyFile,  // no key file path was set, or decoding found no key file
  VQKFmRejected,   // the value to decode is not a sound encoded password for this key
};

// Outcome of a file-manager call: a kind and, on failure, a text naming the
// file or value concerned and the reason. Texts never contain a password.
class VQKFileManagerStatus {
 public:
  VQKFileManagerStatus() = default;
  static VQKFileManagerStatus Failure(VQKFileManagerErrorKind kind, vqString text) {
    VQKFileManagerStatus status;
    status.m_kind = kind;
    status.m_text = std::move(text);
    return status;
  }

  bool IsOk() const { return m_kind == VQKFmOk; }
  explicit operator bool() const { return IsOk(); }
  VQKFileManagerErrorKind GetKind() const { return m_kind; }
  const vqString& GetText() const { return m_text; }

 private:
  VQKFileManagerErrorKind m_kind = VQKFmOk;
  vqString m_text;
};

// Thread-safe. Owned by the caller, who deletes it and must keep the module
// loaded while it lives.
class VQFILETRANSFER_INTERFACE iVQKFileManager {
 public:
  virtual ~iVQKFileManager() = default;

  // Names the key file; touches nothing on disk. Relative paths are taken
  // against the current directory when the key is first used, so give an
  // absolute one. A different path forgets the key read before.
  virtual VQKFileManagerStatus SetKeyFile(const vqString& path) = 0;
  virtual vqString GetKeyFile() const = 0;

  // `encoded` is set only on success. Creates the key file if it is missing.
  virtual VQKFileManagerStatus EncodePassword(const vqString& password, vqString& encoded) = 0;
  // `password` is set only on success. Never creates a key file.
  virtual VQKFileManagerStatus DecodePassword(const vqString& encoded, vqString& password) = 0;
};

// The module's "CreateFileManager" entry; null when the crypto library
// cannot start.
typedef iVQKFileManager* (*CreateFileManagerFunction)();
