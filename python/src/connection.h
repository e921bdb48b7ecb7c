#pragma once

// One open profile, shared by a Repository and every Item made from it.
// Items keep it alive, never the profile's session: once the repository is
// closed their operations raise StateError.

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/pybind11.h>
#include <boost/shared_ptr.hpp>

#include <vqkudm/IUDMProfile.h>
#include <vqkudm/UDMCoreEntityHandle.h>
#include <vqkudm/UDMProfileExtensions.h>
#include <vqkudm/UDMProfileUpdate.h>

namespace vqkudm::python {

namespace py = pybind11;

class Connection;

// A change the session made, waiting for the end of the Run that made it.
struct QueuedChange {
  // The subscription it is for.
  const void* subscription = nullptr;
  UDMProfileUpdate change;
  // Handles made while the profile could still tell them: empty when the
  // change has no such entity or it is gone (obliterated).
  UDMItemHandle item;
  UDMItemHandle child;
  // The data type of the attribute an "attribute set" change is about.
  std::string valueType;
};

// Calls the subscriptions' callbacks with the changes queued during a Run;
// the GIL held, outside the lock. A callback's exception goes to
// sys.unraisablehook: the change it was told of is made all the same.
void DeliverQueuedChanges(Connection& connection) noexcept;

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(boost::shared_ptr<IUDMProfile> profile, std::string repositoryName);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Runs `work(profile)` with the GIL released: every call that may reach
  // the database or files goes through here. A profile is used by one
  // thread at a time, so Python threads sharing a repository take turns.
  // `work` must not touch Python objects. Subscribers hear of the changes
  // it made once it is done, on this thread.
  template <class Work>
  auto Run(const char* where, Work&& work) {
    const Delivery delivery{*this};
    py::gil_scoped_release release;
    std::lock_guard<std::mutex> lock(m_mutex);
    return work(Open(where));
  }

  // Discards the profile (closes its session); later Runs raise.
  void Close();
  bool IsClosed();
  const std::string& RepositoryName() const { return m_repositoryName; }

  // Items this connection knows that no query finds: the user's saved
  // work taken up when opening, and the items created here. Only read and
  // changed inside Run.
  std::vector<UDMItemHandle>& Unstored() { return m_unstored; }

  // The subscriptions' callbacks by subscription, borrowed from the
  // subscriptions that own them; read and changed with the GIL held.
  std::map<const void*, py::handle>& Callbacks() { return m_callbacks; }
  // Filled by the subscriptions' slots inside Run.
  std::vector<QueuedChange>& Queue() { return m_queue; }
  // The queued changes, taken out under the lock.
  std::vector<QueuedChange> TakeQueue();

 private:
  struct Delivery {
    Connection& connection;
    ~Delivery() { DeliverQueuedChanges(connection); }
  };

  // The lock, waited for without the GIL: a Run holding it may need the
  // GIL for a progress callback.
  std::unique_lock<std::mutex> Lock();
  // The profile, or StateError naming `where` once closed.
  const boost::shared_ptr<IUDMProfile>& Open(const char* where) const;

  boost::shared_ptr<IUDMProfile> m_profile;
  std::string m_repositoryName;
  std::vector<UDMItemHandle> m_unstored;
  std::map<const void*, py::handle> m_callbacks;
  std::vector<QueuedChange> m_queue;
  std::mutex m_mutex;
};

// The core entity behind an item handle, for what the profile does not offer.
boost::shared_ptr<UDMCoreEntityHandle> Core(const UDMItemHandle& item);
// The 32 hex digits of the data-model id: the item across its revisions.
std::string DmidOf(const std::string& uid);
// A text as a literal of the query language.
std::string QueryLiteral(const std::string& text);

}  // namespace vqkudm::python
