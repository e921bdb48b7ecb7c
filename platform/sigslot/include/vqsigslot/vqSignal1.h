#pragma once

// A signal with one argument.
//
// Emission: with the policy's lock held, an emission delivers nothing when
// there are no connections, when the signal is blocked, or when the same
// signal is already emitting (a re-entrant emission is dropped on purpose,
// not queued). Otherwise it walks the connections by index, reading their
// number afresh at every step, so connections appended during delivery are
// reached in the same pass; disabled and expired connections are skipped;
// each receiver gets its own copy of the argument. Connections disconnected
// during delivery are only disabled, and removed once delivery ends.
//
// A receiver that throws ends the delivery: the exception propagates to the
// emitter after the signal's state is restored, and later receivers are not
// called for that emission.
//
// A copy of a signal starts with no connections.

#include <algorithm>
#include <memory>
#include <vector>

#include <boost/shared_ptr.hpp>

#include <vqsigslot/vqConnections1.h>
#include <vqsigslot/vqSignalBase.h>

template <class R, class A, class MT = single_threaded>
class vqSignal1 : public vqSignal {
 public:
  vqSignal1() = default;
  vqSignal1(const vqSignal1&) : vqSignal(), m_flags(0) {}
  vqSignal1& operator=(const vqSignal1& other) {
    if (this != &other) DisconnectAll();
    return *this;
  }
  ~vqSignal1() override {
    for (const auto& connection : m_connections) {
      if (vqListenerBase* listener = connection->GetListener()) listener->SignalDisconnectPrivate(this);
    }
  }

  template <class Listener>
  const vqConnection* Connect(Listener* listener, R (Listener::*method)(A)) {
    Guard guard(m_policy);
    auto* connection = new _vqListenerConnection1<Listener, R, A, MT>(listener, method);
    m_connections.emplace_back(connection);
    listener->SignalConnectPrivate(this);
    return connection;
  }

  const vqConnection* ConnectGlobal(std::function<R(A)> callable) {
    return Append(new _vqScriptGlobalConnection1<R, A, MT>(std::move(callable)));
  }

  const vqConnection* ConnectScriptListener(vqListenerBase* listener, std::function<R(A)> callable) {
    Guard guard(m_policy);
    auto* connection = new _vqScriptListenerConnection1<R, A, MT>(listener, std::move(callable));
    m_connections.emplace_back(connection);
    listener->SignalConnectPrivate(this);
    return connection;
  }

  const vqConnection* ConnectTracked(const boost::shared_ptr<void>& tracked,
                                     std::function<R(A)> callable) {
    return Append(new _vqScriptNonListenerConnection1<R, A, MT>(tracked, std::move(callable)));
  }

  // Removes every connection of `listener`.
  void DisconnectListener(vqListenerBase* listener) override {
    Guard guard(m_policy);
    bool found = false;
    for (const auto& connection : m_connections) {
      if (connection->GetListener() == listener) {
        connection->Disable();
        found = true;
      }
    }
    if (found) {
      RemoveDisabled();
      listener->SignalDisconnectPrivate(this);
    }
  }
  void Disconnect(vqListenerBase* listener) { DisconnectListener(listener); }

  // Removes one connection, as returned by a Connect call.
  void Disconnect(const vqConnection* connection) {
    Guard guard(m_policy);
    auto it = std::find_if(m_connections.begin(), m_connections.end(),
                           [&](const auto& c) { return c.get() == connection; });
    if (it == m_connections.end()) return;
    vqListenerBase* listener = (*it)->GetListener();
    (*it)->Disable();
    RemoveDisabled();
    if (listener && !IsConnected(listener)) listener->SignalDisconnectPrivate(this);
  }

  void DisconnectAll() {
    Guard guard(m_policy);
    for (const auto& connection : m_connections) {
      connection->Disable();
      if (vqListenerBase* listener = connection->GetListener()) listener->SignalDisconnectPrivate(this);
    }
    RemoveDisabled();
  }

  bool HoldsConnection(const vqConnection* connection) const override {
    return std::any_of(m_connections.begin(), m_connections.end(),
                       [&](const auto& c) { return c.get() == connection && !c->IsDisabled(); });
  }
  bool IsConnected(const vqListenerBase* listener) const {
    return std::any_of(m_connections.begin(), m_connections.end(), [&](const auto& c) {
      return c->GetListener() == listener && !c->IsDisabled();
    });
  }
  // Live connections, not counting those waiting to be removed.
  std::size_t GetConnectionCount() const {
    return static_cast<std::size_t>(std::count_if(m_connections.begin(), m_connections.end(),
                                                  [](const auto& c) { return !c->IsDisabled(); }));
  }
  bool IsEmpty() const { return GetConnectionCount() == 0; }

  void Block() { m_flags |= kBlocked; }
  void Unblock() { m_flags &= ~kBlocked; }
  bool IsBlocked() const { return (m_flags & kBlocked) != 0; }
  bool IsEmitting() const { return (m_flags & kEmitting) != 0; }
  unsigned GetFlags() const { return m_flags; }

  void Emit(A arg) {
    Guard guard(m_policy);
    if (m_connections.empty() || (m_flags & (kBlocked | kEmitting))) return;
    EmittingScope scope(*this);
    for (std::size_t i = 0; i < m_connections.size(); ++i) {
      _vqConnection1<R, A>* connection = m_connections[i].get();
      if (connection->IsDisabled()) continue;
      if (connection->IsExpired()) {
        connection->Disable();
        m_flags |= kCleanupPending;
        continue;
      }
      connection->Emit(arg);
    }
  }
  void operator()(A arg) { Emit(std::move(arg)); }

 private:
  class Guard {
   public:
    explicit Guard(MT& policy) : m_policy(policy) { m_policy.lock(); }
    ~Guard() { m_policy.unlock(); }

   private:
    MT& m_policy;
  };

  // Clears the emitting bit and runs a pending cleanup however delivery ends.
  class EmittingScope {
   public:
    explicit EmittingScope(vqSignal1& signal) : m_signal(signal) { m_signal.m_flags |= kEmitting; }
    ~EmittingScope() {
      m_signal.m_flags &= ~kEmitting;
      if (m_signal.m_flags & kCleanupPending) m_signal.RemoveDisabled();
    }

   private:
    vqSignal1& m_signal;
  };

  const vqConnection* Append(_vqConnection1<R, A>* connection) {
    Guard guard(m_policy);
    m_connections.emplace_back(connection);
    return connection;
  }

  // During an emission only marks the list for cleanup; afterwards removes
  // every disabled connection.
  void RemoveDisabled() {
    if (m_flags & kEmitting) {
      m_flags |= kCleanupPending;
      return;
    }
    m_connections.erase(std::remove_if(m_connections.begin(), m_connections.end(),
                                       [](const auto& c) { return c->IsDisabled(); }),
                        m_connections.end());
    m_flags &= ~kCleanupPending;
  }

  std::vector<std::unique_ptr<_vqConnection1<R, A>>> m_connections;
  unsigned m_flags = 0;
  MT m_policy;
};
