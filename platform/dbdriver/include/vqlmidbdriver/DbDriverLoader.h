#pragma once

#include <memory>

#include <vqlmidbdriver/iDbDriver.h>

namespace vqlm {

// Loads a driver module (a path, or a file name searched the platform's way)
// and creates one driver through its "CreateDriver" entry. The module stays
// loaded for as long as the returned driver lives. On failure `out` is left
// empty and the status names the module or the missing entry.
VQLMIDBDRIVER_API DbStatus LoadDbDriver(const vqString& modulePath, std::shared_ptr<iDbDriver>& out);

}  // namespace vqlm
