#pragma once

// What to look up in the installation's registry of repositories and
// workspaces: the data model, the master database of connections and the
// user the answers are for.

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqString.h>

namespace vqkudm {

class VQKUDMRT_API UDMRetrieveConfig {
 public:
  void SetUDMConfigFile(const vqString& path) { m_udmConfigFile = path; }
  void SetMasterDBFile(const vqString& path) { m_masterDbFile = path; }
  void SetUserName(const vqString& name) { m_userName = name; }
  const vqString& GetUDMConfigFile() const { return m_udmConfigFile; }
  const vqString& GetMasterDBFile() const { return m_masterDbFile; }
  // Empty: every user.
  const vqString& GetUserName() const { return m_userName; }

 private:
  vqString m_udmConfigFile;
  vqString m_masterDbFile;
  vqString m_userName;
};

}  // namespace vqkudm
