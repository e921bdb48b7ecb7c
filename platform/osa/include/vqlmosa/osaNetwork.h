#pragma once

// Reaching a network service, for checking a connection before it is used.

#include <vqlmosa/osaStatus.h>
#include <vqlmosa/vqlmosaApi.h>

class VQLMOSA_API osaNetwork {
 public:
  // Opens and closes a TCP connection to `host` (a name or an address) and
  // `port`, giving up after `timeoutMs`. The failure names the host, the port
  // and the system's reason (unknown host, refused, timed out).
  static osaStatus TryConnect(const vqString& host, int port, int timeoutMs);
};
