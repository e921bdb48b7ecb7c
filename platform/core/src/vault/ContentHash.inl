#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <type_traits>
#include <vector>

#include <vqkudmrt/UDMException.h>

namespace vqkudm::vault {

template <class Piece>
void ReadInPieces(const vqString& path, Piece&& piece) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    ThrowFileException(UDM_FUNCSIG, "cannot read \"" + path + "\": " + std::strerror(errno), ExcSubIo);
  }
  // Buffers per thread: zeroing or mapping fresh ones per file costs more
  // than reading a small file.
  static thread_local std::vector<char> buffers[2] = {std::vector<char>(kReadPiece), std::vector<char>(kReadPiece)};
  for (int turn = 0;; turn ^= 1) {
    std::vector<char>& buffer = buffers[turn];
    const ssize_t got = ::read(fd, buffer.data(), kReadPiece);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      const int error = errno;
      ::close(fd);
      ThrowFileException(UDM_FUNCSIG, "cannot read \"" + path + "\": " + std::strerror(error), ExcSubIo);
    }
    if (got == 0) break;
    try {
      if constexpr (std::is_invocable_v<Piece, int, const char*, std::size_t>) {
        piece(fd, buffer.data(), static_cast<std::size_t>(got));
      } else {
        piece(buffer.data(), static_cast<std::size_t>(got));
      }
    } catch (...) {
      ::close(fd);
      throw;
    }
  }
  ::close(fd);
}

}  // namespace vqkudm::vault
