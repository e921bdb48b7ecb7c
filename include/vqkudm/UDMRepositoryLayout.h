#pragma once

// Where the clients of a repository (the udm tool, the Python package) keep
// it: `udm init DIR` makes DIR/.udm/<name>/ the repository and
// DIR/.udm/workspace its workspace; a server repository's workspace lives
// beside the registry. Each function gives the configuration map
// UDMProfileMgr::GetProfile takes.

#include <vqkudm/vqkudmApi.h>
#include <vqutl/vqStl.h>
#include <vqutl/vqString.h>
#include <vqutl/vqVariant.h>

namespace vqkudm {

class VQKUDM_API UDMRepositoryLayout {
 public:
  using Configuration = vqStlMap<vqString, vqVariant>;

  // The workspace's directory name in a .udm directory; no repository may take it.
  static const char* const kWorkspaceName;

  // The .udm directory of `dir`.
  static vqString UdmDirectory(const vqString& dir);
  // The embedded repository `name` of the .udm directory `udmDir` (made
  // absolute), with its workspace. Raises for a name that cannot be one.
  static Configuration LocalConfiguration(const vqString& udmDir, const vqString& name);
  // The name of the repository the .udm directory `udmDir` holds; empty when none.
  static vqString LocalRepositoryName(const vqString& udmDir);
  // The registry's directory: NORVEL_VQK_UDMRT_DB_DIR, else ~/.vqkudm.
  static vqString RegistryDirectory();
  // The registered repository of that name or identifier, with its
  // workspace: its base directory's when embedded, else one under the
  // registry's "workspaces" (server credentials come from libpq's
  // environment). Raises when none is registered so.
  static Configuration RegisteredConfiguration(const vqString& nameOrId);
};

}  // namespace vqkudm
