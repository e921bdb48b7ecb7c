#pragma once

#include <cstddef>

#include <sodium.h>

#include <vqutl/vqString.h>

namespace vqkudm::vault {

// The vault's content hash (BLAKE2b, 256 bits), fed piece by piece.
class ContentHash {
 public:
  ContentHash();
  void Update(const void* data, std::size_t size);
  // Lowercase hex of the digest; the hash is spent afterwards.
  vqString HexDigest();

 private:
  crypto_generichash_state m_state;
};

// Reads a file in pieces of kReadPiece bytes (the last may be shorter) and
// hands each to `piece`, as (file descriptor, bytes, length) or (bytes, length). Two buffers take turns, so a piece's bytes stay
// valid until the call after the next one: a caller may still be working
// on one piece while the next is read. Raises UDMException (ExcSubIo)
// naming the file when it cannot be read.
constexpr std::size_t kReadPiece = 1 << 20;
template <class Piece>
void ReadInPieces(const vqString& path, Piece&& piece);

}  // namespace vqkudm::vault

#include "ContentHash.inl"
