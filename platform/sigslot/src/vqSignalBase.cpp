#include <vqsigslot/vqConnection.h>
#include <vqsigslot/vqListener.h>
#include <vqsigslot/vqSignalBase.h>

vqConnection::~vqConnection() = default;

vqSignal::~vqSignal() = default;

vqListenerBase::~vqListenerBase() { DisconnectAllSignals(); }

void vqListenerBase::SignalConnectPrivate(vqSignal* signal) { m_signals.insert(signal); }

void vqListenerBase::SignalDisconnectPrivate(vqSignal* signal) { m_signals.erase(signal); }

vqSignal* vqListenerBase::GetSignal(const vqConnection* connection) const {
  for (vqSignal* signal : m_signals) {
    if (signal->HoldsConnection(connection)) return signal;
  }
  return nullptr;
}

void vqListenerBase::DisconnectAllSignals() {
  // Each signal calls back SignalDisconnectPrivate; work on a copy.
  const std::set<vqSignal*> signals = m_signals;
  for (vqSignal* signal : signals) signal->DisconnectListener(this);
  m_signals.clear();
}
