#include <vqutl/vqUUID.h>

#include <algorithm>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace vqlm {

UUID::UUID() { m_bytes.fill(0); }

void UUID::Generate() {
  // The generator seeds itself from the operating system's entropy source;
  // one per thread avoids both locking and re-seeding on every call.
  thread_local boost::uuids::random_generator generator;
  const boost::uuids::uuid value = generator();
  std::copy(value.begin(), value.end(), m_bytes.begin());
}

bool UUID::IsNil() const {
  return std::all_of(m_bytes.begin(), m_bytes.end(), [](std::uint8_t b) { return b == 0; });
}

vqString UUID::ToString() const {
  boost::uuids::uuid value;
  std::copy(m_bytes.begin(), m_bytes.end(), value.begin());
  return boost::uuids::to_string(value);
}

}  // namespace vqlm
