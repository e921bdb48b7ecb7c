#pragma once

namespace vqkudm {

// Coarse outcome of set-up operations (initialising plug-ins, creating
// profiles and sessions). Everything else reports failure with UDMException.
enum UDMResult {
  UDM_SUCCESS = 0,
  UDM_FAILURE = 1,          // failed for a reason reported elsewhere (log, exception)
  UDM_INVALID_ARGUMENT = 2, // an argument was null, empty or malformed
  UDM_NOT_CREATED = 3,      // the requested object could not be created
  UDM_NOT_FOUND = 4,        // what was asked for does not exist
};

}  // namespace vqkudm
