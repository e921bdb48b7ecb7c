#pragma once

// What the profile manager's files share: signature texts and map reading.

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

}  // namespace vqkudm::connection
