#pragma once

#include <array>
#include <cstdint>

#include <vqutl/vqString.h>
#include <vqutl/vqutlApi.h>

namespace vqlm {

// A random (version 4) UUID, for names that must not collide: temporary
// files, session identifiers. Entity identifiers are made by the core.
class VQUTL_API UUID {
 public:
  // The nil UUID until Generate() is called.
  UUID();

  // Replaces the value with a new random one.
  void Generate();
  bool IsNil() const;
  // Canonical lower-case form, "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx".
  vqString ToString() const;

  friend bool operator==(const UUID& a, const UUID& b) { return a.m_bytes == b.m_bytes; }
  friend bool operator!=(const UUID& a, const UUID& b) { return !(a == b); }

 private:
  std::array<std::uint8_t, 16> m_bytes;
};

}  // namespace vqlm
