#pragma once

#include <set>

#include <vqsigslot/vqThreadPolicy.h>
#include <vqsigslot/vqsigslotApi.h>

class vqSignal;
class vqConnection;

// Base of every object that receives signals. It records the signals it is
// connected to, so that its destruction disconnects it from all of them and
// no signal ever calls a destroyed receiver. A copy starts unconnected.
class VQSIGSLOT_API vqListenerBase {
 public:
  vqListenerBase() = default;
  vqListenerBase(const vqListenerBase&) {}
  vqListenerBase(vqListenerBase&&) noexcept {}
  vqListenerBase& operator=(const vqListenerBase&) { return *this; }
  vqListenerBase& operator=(vqListenerBase&&) noexcept { return *this; }
  virtual ~vqListenerBase();

  // Called by signals when they connect or forget this listener.
  void SignalConnectPrivate(vqSignal* signal);
  void SignalDisconnectPrivate(vqSignal* signal);
  // The signal, among those this listener is connected to, that holds
  // `connection`; null if none does.
  vqSignal* GetSignal(const vqConnection* connection) const;
  // Disconnects from every signal now (the destructor does it too).
  void DisconnectAllSignals();

  std::size_t GetSignalCount() const { return m_signals.size(); }

 private:
  std::set<vqSignal*> m_signals;
};

template <class MT = single_threaded>
class vqListener : public vqListenerBase {};
