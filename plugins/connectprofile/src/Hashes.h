#pragma once

// BLAKE2b digests as lower-case hex: the vault's content keys (32 bytes)
// and shorter identities and fingerprints.

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace vqkudm::connect {

std::string HashText(std::string_view text, std::size_t bytes = 32);
// The content key the vault gives the file's bytes; raises UDMException
// when it cannot be read.
std::string HashFile(const std::filesystem::path& file);

}  // namespace vqkudm::connect
