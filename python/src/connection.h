#pragma once

// One open profile, shared by a Repository and every Item made from it.
// Items keep it alive, never the profile's session: once the repository is
// closed their operations raise StateError.

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <boost/shared_ptr.hpp>
#include <pybind11/pybind11.h>

#include <vqkudm/IUDMProfile.h>
#include <vqkudm/UDMCoreEntityHandle.h>
#include <vqkudm/UDMProfileExtensions.h>

namespace vqkudm::python {

namespace py = pybind11;

class Connection {
 public:
  Connection(boost::shared_ptr<IUDMProfile> profile, std::string repositoryName);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Runs `work(profile)` with the GIL released: every call that may reach
  // the database or files goes through here. A profile is used by one
  // thread at a time, so Python threads sharing a repository take turns.
  // `work` must not touch Python objects.
  template <class Work>
  auto Run(const char* where, Work&& work) {
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

 private:
  // The profile, or StateError naming `where` once closed.
  const boost::shared_ptr<IUDMProfile>& Open(const char* where) const;

  boost::shared_ptr<IUDMProfile> m_profile;
  std::string m_repositoryName;
  std::vector<UDMItemHandle> m_unstored;
  std::mutex m_mutex;
};

// The core entity behind an item handle, for what the profile does not offer.
boost::shared_ptr<UDMCoreEntityHandle> Core(const UDMItemHandle& item);
// The 32 hex digits of the data-model id: the item across its revisions.
std::string DmidOf(const std::string& uid);
// A text as a literal of the query language.
std::string QueryLiteral(const std::string& text);

}  // namespace vqkudm::python
