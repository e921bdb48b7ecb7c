#include <vqlmosa/osaNetwork.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Connects one address without blocking longer than `timeoutMs`; 0 or an errno.
int ConnectOne(const addrinfo& address, int timeoutMs) {
  const int fd = ::socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol);
  if (fd < 0) return errno;
  std::unique_ptr<int, void (*)(int*)> closer(new int(fd), [](int* f) {
    ::close(*f);
    delete f;
  });
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
  if (::connect(fd, address.ai_addr, address.ai_addrlen) == 0) return 0;
  if (errno != EINPROGRESS) return errno;
  pollfd waiting{fd, POLLOUT, 0};
  const int ready = ::poll(&waiting, 1, timeoutMs);
  if (ready == 0) return ETIMEDOUT;
  if (ready < 0) return errno;
  int error = 0;
  socklen_t length = sizeof error;
  ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length);
  return error;
}

}  // namespace

osaStatus osaNetwork::TryConnect(const vqString& host, int port, int timeoutMs) {
  const vqString where = host + ":" + vqString::FromInt(port);
  if (host.empty() || port <= 0 || port > 65535) return osaStatus::Failure("no host and port to reach: " + where);
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int resolved = ::getaddrinfo(host.c_str(), vqString::FromInt(port).c_str(), &hints, &found);
  if (resolved != 0) return osaStatus::Failure("cannot resolve " + where + ": " + ::gai_strerror(resolved));
  std::unique_ptr<addrinfo, void (*)(addrinfo*)> addresses(found, ::freeaddrinfo);
  int error = 0;
  for (const addrinfo* address = found; address; address = address->ai_next) {
    error = ConnectOne(*address, timeoutMs);
    if (error == 0) return osaStatus();
  }
  return osaStatus::Failure("cannot reach " + where + ": " + std::strerror(error),
                            std::error_code(error, std::generic_category()));
}
