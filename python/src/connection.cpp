#include "connection.h"

#include <vqkudm/UDMProfileMgr.h>
#include <vqkudmrt/UDMException.h>

#include "errors.h"

namespace vqkudm::python {

Connection::Connection(boost::shared_ptr<IUDMProfile> profile, std::string repositoryName)
    : m_profile(std::move(profile)), m_repositoryName(std::move(repositoryName)) {}

Connection::~Connection() {
  try {
    if (m_profile) UDMProfileMgr::DiscardProfile(m_profile);
  } catch (const UDMException&) {
    // Nothing is left to report it to.
  }
}

void Connection::Close() {
  // Subscriptions end with the session; their changes not yet told are dropped.
  m_callbacks.clear();
  py::gil_scoped_release release;
  std::lock_guard<std::mutex> lock(m_mutex);
  m_unstored.clear();
  m_queue.clear();
  if (m_profile) UDMProfileMgr::DiscardProfile(m_profile);
  m_profile.reset();
}

bool Connection::IsClosed() {
  const std::unique_lock<std::mutex> lock = Lock();
  return !m_profile;
}

std::vector<QueuedChange> Connection::TakeQueue() {
  const std::unique_lock<std::mutex> lock = Lock();
  return std::exchange(m_queue, {});
}

std::unique_lock<std::mutex> Connection::Lock() {
  py::gil_scoped_release release;
  return std::unique_lock<std::mutex>(m_mutex);
}

const boost::shared_ptr<IUDMProfile>& Connection::Open(const char* where) const {
  if (!m_profile) {
    RefuseState(where, "the repository \"" + m_repositoryName + "\" is closed", ExcSubNull);
  }
  return m_profile;
}

boost::shared_ptr<UDMCoreEntityHandle> Core(const UDMItemHandle& item) {
  auto core = boost::dynamic_pointer_cast<UDMCoreEntityHandle>(item.GetEntityHandlePtr());
  if (!core)
    RefuseState("Item", "the item " + item.ToString().str() + " is not of the Core profile",
                ExcSubNull);
  return core;
}

std::string DmidOf(const std::string& uid) { return uid.substr(0, UDMUID::kDmUidLength); }

std::string QueryLiteral(const std::string& text) {
  std::string literal = "'";
  for (char c : text) literal += c == '\'' ? std::string("''") : std::string(1, c);
  return literal + "'";
}

}  // namespace vqkudm::python
