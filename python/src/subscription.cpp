#include "subscription.h"

#include <boost/make_shared.hpp>

#include <vqkudmrt/UDMException.h>

#include "errors.h"
#include "item.h"
#include "records.h"
#include "values.h"

namespace vqkudm::python {

namespace {

// The Change record type.
py::handle g_change;

// Queues each change for the subscription `key`. It is told inside a Run
// (the lock held, no GIL), so it reads what it needs from the profile now.
class QueueingSlot : public IUDMProfileSlot {
 public:
  QueueingSlot(Connection& connection, const void* key, boost::weak_ptr<IUDMProfile> profile)
      : m_connection(connection), m_key(key), m_profile(std::move(profile)) {}

  void update(UDMProfileUpdate change) override {
    QueuedChange queued{m_key, change, {}, {}, {}};
    try {
      queued.item = change.GetUDMHandle();
      queued.child = change.GetChild();
    } catch (const UDMException&) {
      // A change without a child, or about an entity that is gone.
    }
    try {
      const boost::shared_ptr<IUDMProfile> profile = m_profile.lock();
      if (profile && !queued.item.IsEmpty() && !change.GetAttributeName().empty()) {
        queued.valueType =
            profile->GetProfileUtils()
                .GetAttributeDefinitionHandle(queued.item.GetCdef(), change.GetAttributeName())
                .GetDataType()
                .str();
      }
    } catch (const UDMException&) {
      // A use attribute: no definition types it.
    }
    m_connection.Queue().push_back(std::move(queued));
  }

 private:
  Connection& m_connection;
  const void* m_key;
  boost::weak_ptr<IUDMProfile> m_profile;
};

struct Subscription {
  Subscription(std::shared_ptr<Connection> connection_, py::object callback_)
      : connection(std::move(connection_)), callback(std::move(callback_)) {}
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;
  ~Subscription() {
    try {
      Close();
    } catch (const std::exception&) {
      // Collected after its repository's session failed: nothing to undo.
    }
  }

  void Open() {
    const void* key = this;
    connection->Run("Repository.subscribe", [&](const boost::shared_ptr<IUDMProfile>& profile) {
      slot = boost::make_shared<QueueingSlot>(*connection, key, profile);
      profile->SubscribeToEntityUpdates(slot);
    });
    connection->Callbacks()[key] = callback;
  }

  // Unsubscribes; nothing to do once closed, or once the repository is.
  void Close() {
    if (!slot) return;
    connection->Callbacks().erase(this);
    boost::shared_ptr<IUDMProfileSlot> closing = std::move(slot);
    if (connection->IsClosed()) return;
    connection->Run("Subscription.close", [&](const boost::shared_ptr<IUDMProfile>& profile) {
      profile->UnsubscribeFromEntityUpdates(closing);
    });
  }

  bool IsClosed() const { return !slot || !connection->Callbacks().count(this); }

  std::shared_ptr<Connection> connection;
  py::object callback;
  boost::shared_ptr<IUDMProfileSlot> slot;
};

py::object ChangeRecord(const std::shared_ptr<Connection>& connection, const QueuedChange& queued) {
  const UDMProfileUpdate& change = queued.change;
  auto item = [&](const UDMItemHandle& handle) -> py::object {
    return handle.IsEmpty() ? py::object(py::none()) : py::cast(Item(connection, handle));
  };
  const std::string attribute = change.GetAttributeName().str();
  const std::string url = change.GetURL().str();
  return g_change(SignalOptionName(change.GetOpCode()), change.GetUID().ToString().str(),
                  item(queued.item),
                  attribute.empty() ? py::object(py::none()) : py::str(attribute),
                  ToPython(change.GetAttributeValue(), queued.valueType), item(queued.child),
                  url.empty() ? py::object(py::none()) : py::str(url), change.GetSessionId().str());
}

}  // namespace

void DeliverQueuedChanges(Connection& connection) noexcept {
  if (connection.Callbacks().empty()) return;
  for (const QueuedChange& queued : connection.TakeQueue()) {
    const auto found = connection.Callbacks().find(queued.subscription);
    // Closed meanwhile, perhaps by an earlier callback.
    if (found == connection.Callbacks().end()) continue;
    try {
      // Held for the call: the callback may close its own subscription.
      const py::object callback = py::reinterpret_borrow<py::object>(found->second);
      callback(ChangeRecord(connection.shared_from_this(), queued));
    } catch (py::error_already_set& error) {
      error.discard_as_unraisable(py::reinterpret_borrow<py::object>(found->second));
    } catch (const std::exception& error) {
      PyErr_SetString(PyExc_RuntimeError, error.what());
      PyErr_WriteUnraisable(nullptr);
    }
  }
}

py::object Subscribe(const std::shared_ptr<Connection>& connection, py::handle callback) {
  if (!PyCallable_Check(callback.ptr())) {
    RefuseArgument("Repository.subscribe",
                   "the callback must be callable, not " +
                       py::str(py::type::of(callback).attr("__name__")).cast<std::string>(),
                   ExcSubWrongType);
  }
  auto subscription =
      std::make_unique<Subscription>(connection, py::reinterpret_borrow<py::object>(callback));
  subscription->Open();
  return py::cast(std::move(subscription));
}

void RegisterSubscription(py::module_& module) {
  py::class_<Subscription>(
      module, "Subscription",
      "What Repository.subscribe returns: the callback is called until close(), the\n"
      "repository's close(), or until the subscription is collected. A context manager\n"
      "that closes it on exit.")
      .def("close", &Subscription::Close, "Stops the calls; closing again does nothing.")
      .def_property_readonly("closed", &Subscription::IsClosed,
                             "Whether the callback is no longer called.")
      .def(
          "__enter__", [](py::object self) { return self; }, "The subscription itself.")
      .def(
          "__exit__",
          [](Subscription& self, py::object, py::object, py::object) {
            self.Close();
            return false;
          },
          "Closes the subscription.");

  g_change = RecordType(
      module, "Change", {"kind", "uid", "item", "attribute", "value", "child", "url", "session_id"},
      "One change of the session, told to a subscription: its kind (\"created\", \"attribute "
      "set\",\n"
      "\"child added\", \"child removed\", \"checked out\", \"saved\", \"persisted\", \"check-out "
      "undone\",\n"
      "\"deleted\", \"restored\", \"obliterated\", \"modified\"), the uid of the revision, the "
      "Item\n"
      "(None once obliterated), the attribute and its new value for \"attribute set\", the child\n"
      "Item for the child changes (and for a use's attribute), the versioned URL when the session\n"
      "works by URL, and the id of the session that made it.");
}

}  // namespace vqkudm::python
