#pragma once

// Identifier of one revision of an entity or relation. Text form: the
// data-model id (32 lower-case hex digits of a time-ordered 128-bit value:
// 48 bits of milliseconds, then random bits) followed directly by the
// revision in decimal, without sign or leading zeros ("…a3f0" + "12").
// Constructing from text never throws: text that is not of that form gives
// an invalid UDMUID that still holds the text, so messages can show it.

#include <cstddef>
#include <functional>

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqString.h>

namespace vqkudm {

class VQKUDMRT_API UDMUID {
 public:
  static constexpr std::size_t kDmUidLength = 32;

  UDMUID();
  UDMUID(const char* text);
  UDMUID(const vqString& text);
  UDMUID(vqString&& text);
  UDMUID(const std::string& text);
  UDMUID(const UDMUID& other);
  UDMUID& operator=(const UDMUID& other);
  // Without these every move of a record holding an identifier, and every
  // growth of a vector of them, would copy both texts.
  UDMUID(UDMUID&& other) noexcept;
  UDMUID& operator=(UDMUID&& other) noexcept;
  ~UDMUID();

  bool IsValid() const { return m_valid; }
  const vqString& ToString() const { return m_text; }
  operator vqString() const { return m_text; }
  unsigned long long size() const { return m_text.size(); }
  unsigned long long length() const { return size(); }
  bool isEmpty() const { return m_text.size() == 0; }

  // The identifier without its revision; empty when invalid.
  const vqString& GetDmUid() const;
  // The revision; -1 when invalid.
  int GetRevision() const;
  // The same data-model id at another revision (invalid if this one is).
  UDMUID WithRevision(int revision) const;

  // A new identifier, later in order than every one made before by this process.
  static UDMUID Generate(int revision = 0);
  // Why `text` is not an identifier; empty when it is one.
  static vqString Validate(const vqString& text);
  // Like the constructor, but refuses invalid text with a UDMException
  // (invalid argument, ExcSubSyntax) naming the text and the reason.
  static UDMUID Parse(const vqString& text);

 private:
  void Assign(vqString text);

  bool m_valid;
  vqString m_dmUid;
  vqString m_text;
};

VQKUDMRT_API bool operator==(const UDMUID& a, const UDMUID& b);
VQKUDMRT_API bool operator!=(const UDMUID& a, const UDMUID& b);
// Orders by data-model id (creation order), then by revision; invalid
// identifiers first.
VQKUDMRT_API bool operator<(const UDMUID& a, const UDMUID& b);
VQKUDMRT_API std::size_t hash_value(const UDMUID& uid);

}  // namespace vqkudm

namespace std {
template <>
struct hash<vqkudm::UDMUID> {
  size_t operator()(const vqkudm::UDMUID& uid) const noexcept { return vqkudm::hash_value(uid); }
};
}  // namespace std
