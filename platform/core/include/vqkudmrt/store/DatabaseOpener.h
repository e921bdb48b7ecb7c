#pragma once

#include <functional>
#include <memory>

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqString.h>

namespace vqlm {
class iDbDriver;
}

namespace vqkudm::store {

// Loads the driver module "vqlmidbdriver_<driverName>" from the runtime's
// driver directory and opens `connection` with it, touching no table.
// Raises UDMException (ExcSubDatabase) with the driver's or the database's
// own reason.
VQKUDMRT_API std::shared_ptr<vqlm::iDbDriver> ConnectDatabase(const vqString& driverName,
                                                              const vqString& connection);

// ConnectDatabase, then brings the repository schema to the latest version. Raises UDMException (ExcSubDatabase) naming
// the driver or the connection and the database's reason.
VQKUDMRT_API std::shared_ptr<vqlm::iDbDriver> OpenRepositoryDatabase(const vqString& driverName,
                                                                     const vqString& connection);

// Wraps every repository database the process opens from now on, e.g. to
// inject a fault in a test or to trace statements; an empty function stops
// wrapping. Not for concurrent use with opening.
using DriverDecorator =
    std::function<std::shared_ptr<vqlm::iDbDriver>(std::shared_ptr<vqlm::iDbDriver>)>;
VQKUDMRT_API void SetDriverDecorator(DriverDecorator decorator);

}  // namespace vqkudm::store
