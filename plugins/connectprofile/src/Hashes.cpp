#include "Hashes.h"

#include <fstream>
#include <vector>

#include <sodium.h>

#include <vqkudmrt/UDMException.h>

namespace vqkudm::connect {

namespace {

std::string Hex(const unsigned char* bytes, std::size_t size) {
  std::string hex(size * 2 + 1, '\0');
  sodium_bin2hex(hex.data(), hex.size(), bytes, size);
  hex.pop_back();
  return hex;
}

}  // namespace

std::string HashText(std::string_view text, std::size_t bytes) {
  std::vector<unsigned char> digest(bytes);
  crypto_generichash(digest.data(), digest.size(), reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                     nullptr, 0);
  return Hex(digest.data(), digest.size());
}

std::string HashFile(const std::filesystem::path& file) {
  crypto_generichash_state state;
  crypto_generichash_init(&state, nullptr, 0, 32);
  std::ifstream in(file, std::ios::binary);
  char buffer[1 << 16];
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
    crypto_generichash_update(&state, reinterpret_cast<const unsigned char*>(buffer),
                              static_cast<unsigned long long>(in.gcount()));
  }
  if (!in.eof()) {
    ThrowFileException("std::string vqkudm::connect::HashFile(const std::filesystem::path &)",
                       "cannot read " + file.string(), ExcSubIo);
  }
  unsigned char digest[32];
  crypto_generichash_final(&state, digest, sizeof digest);
  return Hex(digest, sizeof digest);
}

}  // namespace vqkudm::connect
