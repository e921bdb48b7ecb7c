#pragma once

// What the fuzz targets share: a scratch directory of the process, removed
// when it exits, and sessions on repositories inside it.

#include <cstddef>
#include <cstdint>
#include <string>

#include <boost/shared_ptr.hpp>

namespace vqkudm {
class UDMSession;
}

namespace vqkudm::fuzz {

// The process's own scratch directory, made on first use and removed at
// exit. The runtime's registry and its temporary directory (TMPDIR) point
// into it, so nothing an input makes the runtime write lands elsewhere.
const std::string& ScratchDir();

// `size` bytes in the file `name` of the scratch directory, replacing what
// was there; returns the file's path.
std::string WriteScratchFile(const std::string& name, const std::uint8_t* data, std::size_t size);

// A session on the embedded repository `name` in the scratch directory,
// made on first use, by identifier (mode 0) or by versioned URL (mode 1).
// It stays open until CloseRepository or the end of the process. Sessions
// close in an exit handler while the framework is still there: a target
// keeps its own references to them, and to their items, in objects it never
// destroys, so that no session goes after the framework.
boost::shared_ptr<UDMSession> OpenRepository(const std::string& name, int mode = 0);

// Closes the session and removes its repository, so that the next
// OpenRepository of that name starts empty.
void CloseRepository(boost::shared_ptr<UDMSession>& session);

}  // namespace vqkudm::fuzz
