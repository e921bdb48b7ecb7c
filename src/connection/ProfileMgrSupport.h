#pragma once

// What the connection files share: signature texts, map reading, raising.

#include <vqkudmrt/UDMException.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

#include "../foundation/SignatureText.h"

#define VQ_MGR_SIG(result, rest) VQ_SIG(result, "UDMProfileMgr", rest)
#define VQ_T_PROFILE_PTR VQ_T_SHARED("class vqkudm::IUDMProfile")
#define VQ_T_CONFIG_MAP_BODY VQ_T_MAP(VQ_T_STRING, VQ_T_VARIANT)
#define VQ_T_CONFIG_MAP "const " VQ_T_CONFIG_MAP_BODY " &"
#define VQ_T_STRING_MAP_REF VQ_T_MAP(VQ_T_STRING, VQ_T_STRING) " &"

namespace vqkudm::connection {

// The value of `key` as text; empty when the map lacks it.
inline vqString Setting(const vqStlMap<vqString, vqVariant>& configuration, const char* key) {
  auto found = configuration.find(key);
  return found == configuration.end() ? vqString() : found->second.ToString();
}

// A state error whose message is a fixed text; the lower layer's reason
// goes with it as a context line.
[[noreturn]] inline void RaiseState(const char* signature, const vqString& message, int subCategory,
                                    const vqString& cause) {
  try {
    ThrowStateException(signature, message, subCategory);
  } catch (UDMException& e) {
    if (!cause.empty()) e.AddContext(cause);
    throw;
  }
}

}  // namespace vqkudm::connection
