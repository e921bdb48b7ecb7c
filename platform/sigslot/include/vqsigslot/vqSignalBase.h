#pragma once

#include <vqsigslot/vqsigslotApi.h>

class vqConnection;
class vqListenerBase;

// What listeners need to know of any signal, whatever its argument type.
class VQSIGSLOT_API vqSignal {
 public:
  // Flags word bits.
  enum : unsigned { kBlocked = 1u << 0, kEmitting = 1u << 1, kCleanupPending = 1u << 2 };

  virtual ~vqSignal();
  // Removes (or, during an emission, disables) every connection of `listener`.
  virtual void DisconnectListener(vqListenerBase* listener) = 0;
  virtual bool HoldsConnection(const vqConnection* connection) const = 0;
};
