#pragma once

#include <vqsigslot/vqsigslotApi.h>

class vqListenerBase;

// One connection of a signal to a receiver. The signal owns its connections.
// A disabled connection is skipped by emission and removed by the signal as
// soon as no emission is walking the list.
class VQSIGSLOT_API vqConnection {
 public:
  vqConnection() = default;
  vqConnection(const vqConnection&) = delete;
  vqConnection& operator=(const vqConnection&) = delete;
  virtual ~vqConnection();

  bool IsDisabled() const { return m_disabled != 0; }
  void Disable() { m_disabled = 1; }

  // The listener whose lifetime bounds the connection, or null.
  virtual vqListenerBase* GetListener() const { return nullptr; }
  // True once the receiver is gone (for receivers tracked weakly).
  virtual bool IsExpired() const { return false; }

 private:
  unsigned char m_disabled = 0;
};
