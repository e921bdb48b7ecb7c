#pragma once

#include <vqutl/vqString.h>

namespace vqkudm {

// How every handle names itself; it ends every handle's failure message.
inline vqString HandleText(const vqString& uid, const vqString& cdef, const vqString& url) {
  return "\n\t UID :: " + uid + "\n\t Content Definition :: " + cdef + "\n\t Versioned Url :: " + url;
}

}  // namespace vqkudm
