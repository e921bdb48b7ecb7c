#include <vqkudmrt/UDMUID.h>

#include <charconv>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <random>

#include <vqkudmrt/UDMException.h>

namespace vqkudm {

namespace {

bool IsLowerHex(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); }

const vqString& EmptyText() {
  static const vqString empty;
  return empty;
}

// 48 bits of Unix milliseconds, then 80 random bits. Within one millisecond
// the random part counts up, so ids made by one process are strictly
// increasing and new rows land at the end of B-tree indexes.
class TimeOrderedIdSource {
 public:
  vqString Next() {
    std::lock_guard<std::mutex> lock(m_mutex);
    const std::uint64_t now = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::system_clock::now().time_since_epoch())
            .count());
    if (now > m_lastMs) {
      m_lastMs = now;
      m_randomHigh = static_cast<std::uint16_t>(m_engine());
      m_randomLow = m_engine();
    } else if (++m_randomLow == 0 && ++m_randomHigh == 0) {
      ++m_lastMs;  // 2^80 ids in one millisecond: borrow the next one
    }
    char text[UDMUID::kDmUidLength + 1];
    std::snprintf(text, sizeof text, "%012llx%04x%016llx",
                  static_cast<unsigned long long>(m_lastMs & 0xFFFFFFFFFFFFull),
                  static_cast<unsigned>(m_randomHigh),
                  static_cast<unsigned long long>(m_randomLow));
    vqString id;
    id.reserve(UDMUID::kDmUidLength + 10);  // room for any revision
    id.append(text, UDMUID::kDmUidLength);
    return id;
  }

 private:
  std::mutex m_mutex;
  std::mt19937_64 m_engine{std::random_device{}()};
  std::uint64_t m_lastMs = 0;
  std::uint16_t m_randomHigh = 0;
  std::uint64_t m_randomLow = 0;
};

}  // namespace

UDMUID::UDMUID() : m_valid(false) {}
UDMUID::UDMUID(const char* text) : m_valid(false) { Assign(vqString(text)); }
UDMUID::UDMUID(const vqString& text) : m_valid(false) { Assign(vqString(text)); }
UDMUID::UDMUID(vqString&& text) : m_valid(false) { Assign(std::move(text)); }
UDMUID::UDMUID(const std::string& text) : m_valid(false) { Assign(vqString(text)); }
UDMUID::UDMUID(const UDMUID& other) = default;
UDMUID& UDMUID::operator=(const UDMUID& other) = default;
UDMUID::UDMUID(UDMUID&& other) noexcept = default;
UDMUID& UDMUID::operator=(UDMUID&& other) noexcept = default;
UDMUID::~UDMUID() = default;

vqString UDMUID::Validate(const vqString& text) {
  if (text.size() <= kDmUidLength) {
    return "it has " + vqString::FromInt(static_cast<int>(text.size())) +
           " characters; an identifier has 32 hex digits and a revision";
  }
  for (std::size_t i = 0; i < kDmUidLength; ++i) {
    if (!IsLowerHex(text[i])) {
      return "character " + vqString::FromInt(static_cast<int>(i + 1)) +
             " is not a lower-case hex digit";
    }
  }
  const vqString revision = text.substr(kDmUidLength);
  for (char c : revision) {
    if (c < '0' || c > '9') return "the revision \"" + revision + "\" is not a decimal number";
  }
  if (revision.size() > 1 && revision[0] == '0') {
    return "the revision \"" + revision + "\" has a leading zero";
  }
  int value;
  if (!revision.ToInt(value)) return "the revision \"" + revision + "\" is too large";
  return vqString();
}

void UDMUID::Assign(vqString text) {
  m_valid = Validate(text).empty();
  m_dmUid = m_valid ? text.substr(0, kDmUidLength) : vqString();
  m_text = std::move(text);
}

UDMUID UDMUID::Parse(const vqString& text) {
  const vqString reason = Validate(text);
  if (!reason.empty()) {
    ThrowInvalidArgException(UDM_FUNCSIG,
                             "\"" + text + "\" is not a valid identifier: " + reason,
                             ExcSubSyntax);
  }
  return UDMUID(text);
}

const vqString& UDMUID::GetDmUid() const { return m_valid ? m_dmUid : EmptyText(); }

int UDMUID::GetRevision() const {
  // Read in place: stored rows and messages ask for it per identifier.
  int revision = -1;
  if (m_valid) std::from_chars(m_text.data() + kDmUidLength, m_text.data() + m_text.size(), revision);
  return revision;
}

UDMUID UDMUID::WithRevision(int revision) const {
  UDMUID uid;
  if (m_valid && revision >= 0) uid.Assign(m_dmUid + vqString::FromInt(revision));
  return uid;
}

UDMUID UDMUID::Generate(int revision) {
  static TimeOrderedIdSource source;
  vqString text = source.Next();
  text += vqString::FromInt(revision < 0 ? 0 : revision);
  UDMUID uid;
  uid.Assign(std::move(text));
  return uid;
}

bool operator==(const UDMUID& a, const UDMUID& b) {
  return a.IsValid() == b.IsValid() && a.ToString() == b.ToString();
}

bool operator!=(const UDMUID& a, const UDMUID& b) { return !(a == b); }

bool operator<(const UDMUID& a, const UDMUID& b) {
  if (a.IsValid() && b.IsValid()) {
    const int byId = a.GetDmUid().compare(b.GetDmUid());
    return byId != 0 ? byId < 0 : a.GetRevision() < b.GetRevision();
  }
  if (a.IsValid() != b.IsValid()) return !a.IsValid();
  return a.ToString() < b.ToString();
}

std::size_t hash_value(const UDMUID& uid) { return std::hash<vqString>()(uid.ToString()); }

}  // namespace vqkudm
