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

// Reads a file in large pieces and hands each to `piece`; raises
// UDMException (ExcSubIo) naming the file when it cannot be read.
template <class Piece>
void ReadInPieces(const vqString& path, Piece&& piece);

}  // namespace vqkudm::vault

#include "ContentHash.inl"
