#include "KeyFile.h"

#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace vqfiletransfer {

namespace {

VQKFileManagerStatus Fail(const vqString& action, const vqString& path, int error) {
  return VQKFileManagerStatus::Failure(VQKFmFailed,
                                       action + " '" + path + "': " + std::strerror(error));
}

vqString OctalMode(mode_t mode) {
  char text[8];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
  return text;
}

// Closes on every path out, keeping errno of the failure being reported.
class Descriptor {
 public:
  explicit Descriptor(int fd) : m_fd(fd) {}
  ~Descriptor() {
    if (m_fd >= 0) {
      const int saved = errno;
      ::close(m_fd);
      errno = saved;
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return m_fd; }
  // Reports a failing close: for a file just written that can mean lost data.
  int Close() {
    const int rc = ::close(m_fd);
    m_fd = -1;
    return rc;
  }

 private:
  int m_fd;
};

bool WriteAll(int fd, const unsigned char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(fd, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

// Reads exactly `size` bytes; false (errno 0) if the file ends first.
bool ReadAll(int fd, unsigned char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t got = ::read(fd, data, size);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      if (got == 0) errno = 0;
      return false;
    }
    data += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

vqString DirectoryOf(const vqString& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == vqString::npos) return ".";
  return slash == 0 ? vqString("/") : vqString(path.substr(0, slash));
}

vqString FileNameOf(const vqString& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == vqString::npos ? path : vqString(path.substr(slash + 1));
}

}  // namespace

void SecretKey::Clear() {
  sodium_memzero(m_bytes.data(), m_bytes.size());
  m_set = false;
}

VQKFileManagerStatus ReadKeyFile(const vqString& path, SecretKey& key) {
  key.Clear();
  Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) {
    if (errno == ENOENT) {
      return VQKFileManagerStatus::Failure(VQKFmNoKeyFile, "there is no key file '" + path + "'");
    }
    return Fail("cannot open key file", path, errno);
  }
  struct stat info {};
  if (::fstat(fd.get(), &info) != 0) return Fail("cannot examine key file", path, errno);
  if (!S_ISREG(info.st_mode)) {
    return VQKFileManagerStatus::Failure(VQKFmFailed,
                                         "key file '" + path + "' is not a regular file");
  }
  // Like ssh with private keys: a key others can read protects nothing.
  if ((info.st_mode & 077) != 0) {
    return VQKFileManagerStatus::Failure(
        VQKFmFailed, "key file '" + path + "' may be accessed by group or others (mode " +
                         OctalMode(info.st_mode) +
                         "); it must be readable by its owner only (0600)");
  }
  if (info.st_size != static_cast<off_t>(SecretKey::kSize)) {
    return VQKFileManagerStatus::Failure(
        VQKFmFailed, "key file '" + path + "' holds no key: expected " +
                         vqString::FromInt(static_cast<int>(SecretKey::kSize)) + " bytes, found " +
                         vqString::FromInt64(static_cast<std::int64_t>(info.st_size)));
  }
  if (!ReadAll(fd.get(), key.MutableBytes(), SecretKey::kSize)) {
    const int error = errno;
    key.Clear();
    if (error == 0) {
      return VQKFileManagerStatus::Failure(VQKFmFailed, "key file '" + path + "' ended early");
    }
    return Fail("cannot read key file", path, error);
  }
  key.MarkSet();
  return VQKFileManagerStatus();
}

VQKFileManagerStatus CreateKeyFile(const vqString& path) {
  const vqString directory = DirectoryOf(path);
  std::string temp =
      (directory == "/" ? vqString() : directory) + "/." + FileNameOf(path) + ".XXXXXX";
  // mkostemp creates the file for its owner only (0600 at most, whatever the
  // umask), so the key is never readable by others, not even briefly.
  Descriptor fd(::mkostemp(temp.data(), O_CLOEXEC));
  if (fd.get() < 0) return Fail("cannot create a key file in", directory, errno);
  auto discard = [&temp](VQKFileManagerStatus status) {
    ::unlink(temp.c_str());
    return status;
  };
  // A umask may also have taken the owner's own bits.
  if (::fchmod(fd.get(), S_IRUSR | S_IWUSR) != 0) {
    return discard(Fail("cannot set the permissions of key file", path, errno));
  }
  SecretKey key;
  crypto_secretbox_keygen(key.MutableBytes());
  if (!WriteAll(fd.get(), key.Bytes(), SecretKey::kSize) || ::fsync(fd.get()) != 0) {
    return discard(Fail("cannot write key file", path, errno));
  }
  if (fd.Close() != 0) return discard(Fail("cannot write key file", path, errno));
  // link, unlike rename, never replaces a key someone else put there: every
  // password sealed with that key stays readable.
  if (::link(temp.c_str(), path.c_str()) != 0 && errno != EEXIST) {
    return discard(Fail("cannot create key file", path, errno));
  }
  ::unlink(temp.c_str());
  Descriptor dir(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (dir.get() >= 0) ::fsync(dir.get());
  return VQKFileManagerStatus();
}

}  // namespace vqfiletransfer
