#pragma once

// The engine session behind a profile, for the extensions.

#include <boost/shared_ptr.hpp>

#include <vqkudm/IUDMProfile.h>
#include <vqkudmrt/UDMSession.h>

namespace vqkudm {

// Raises, naming `signature`, when the profile is null or its session gone.
boost::shared_ptr<UDMSession> SessionOf(const char* signature, const boost::shared_ptr<IUDMProfile>& profile);

}  // namespace vqkudm
