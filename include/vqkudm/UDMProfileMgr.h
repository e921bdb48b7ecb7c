#pragma once

// The entry point of applications: a configuration map in, a connected
// profile out.
//
//   vqStlMap<vqString, vqVariant> config;
//   config["RepositoryBaseDir"] = "/data";  config["RepositoryName"] = "parts";
//   config["WorkspaceBaseDir"] = "/work";   config["WorkspaceName"] = "alice";
//   boost::shared_ptr<IUDMProfile> profile = UDMProfileMgr::GetProfile(config);
//
// "DataSource" "local" (or empty, or absent) opens the embedded repository
// under RepositoryBaseDir/RepositoryName, creating it on first use;
// "PostGres" a PostgreSQL database reached with the client settings
// ("dbhost", "dbport", "dbusername", "dbpasswd", "dbconnectstring").

#include <boost/shared_ptr.hpp>

#include <vqkudm/IUDMProfile.h>
#include <vqkudmrt/UDMSessionConfig.h>

namespace vqkudm {

class VQKUDM_API UDMProfileMgr {
 public:
  // Raises for an empty map, and for a data source this build cannot reach.
  static boost::shared_ptr<IUDMProfile> GetProfile(const vqStlMap<vqString, vqVariant>& configuration);
  // Opens a session with `sessionConfig` and returns its plug-in of `key`.
  static boost::shared_ptr<IUDMProfile> GetProfile(boost::shared_ptr<UDMSessionConfig>& sessionConfig,
                                                   vqString& key);
  // The plug-in of `key` of an open session.
  static boost::shared_ptr<IUDMProfile> GetProfile(const vqString& sessionId, const vqString& key);
  // Closes the profile's session and releases the caller's reference.
  static void DiscardProfile(boost::shared_ptr<IUDMProfile>& profile);

 private:
  static void FillSessionConfigPtr(boost::shared_ptr<UDMSessionConfig>& sessionConfig,
                                   const vqStlMap<vqString, vqVariant>& configuration);
  static void DiscardProfile(IUDMProfile* profile);
};

}  // namespace vqkudm
