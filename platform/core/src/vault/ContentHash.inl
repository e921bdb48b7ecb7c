#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include <vqkudmrt/UDMException.h>

namespace vqkudm::vault {

template <class Piece>
void ReadInPieces(const vqString& path, Piece&& piece) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    ThrowFileException(UDM_FUNCSIG, "cannot read \"" + path + "\": " + std::strerror(errno), ExcSubIo);
  }
  constexpr std::size_t kPiece = 1 << 20;
  // One buffer per thread: zeroing or mapping a fresh one per file costs more
  // than reading a small file.
  static thread_local std::vector<char> buffer(kPiece);
  for (;;) {
    const ssize_t got = ::read(fd, buffer.data(), kPiece);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      const int error = errno;
      ::close(fd);
      ThrowFileException(UDM_FUNCSIG, "cannot read \"" + path + "\": " + std::strerror(error), ExcSubIo);
    }
    if (got == 0) break;
    try {
      piece(buffer.data(), static_cast<std::size_t>(got));
    } catch (...) {
      ::close(fd);
      throw;
    }
  }
  ::close(fd);
}

}  // namespace vqkudm::vault
