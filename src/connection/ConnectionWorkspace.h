#pragma once

// Where a connection keeps its working repository and workspace.

#include <boost/shared_ptr.hpp>

#include <vqkudmrt/UDMConnectConfig.h>
#include <vqkudmrt/UDMSessionConfig.h>

namespace vqkudm::connection {

// connections/<identifier>-<hash> beside the registry: readable, and apart
// for identifiers that differ only in case or in characters a file name
// cannot hold.
vqString WorkingDirectory(const vqString& identifier);

// An unregistered embedded repository "repository" and workspace
// "workspace" in the connection's working directory, opened as the
// connection's user with its data-model configuration.
boost::shared_ptr<UDMSessionConfig> WorkingSessionConfig(const UDMConnectConfig& config);

}  // namespace vqkudm::connection
