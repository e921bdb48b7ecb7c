#pragma once

// Profiles of data sources that another product keeps (a PLM XML file, a
// PDM server): one per connection identifier, made on first use by the
// connect-profile plug-in "vqkudmrt_connectprofile". Applications reach it
// through UDMProfileMgr::GetProfile with "DataSource" "UDMXML", "Teamcenter"
// or "Windchill".
//
// Each connection works in an embedded repository of its own, under the
// registry's directory (NORVEL_VQK_UDMRT_DB_DIR, else ~/.vqkudm) in
// connections/<identifier>-<hash>/, so every profile operation works on it
// as on a local repository.

#include <memory>

#include <boost/shared_ptr.hpp>

#include <vqkudm/IUDMProfile.h>
#include <vqkudmrt/UDMConnectConfig.h>
#include <vqutl/vqStl.h>

class osaDynamicObject;

namespace vqkudm {

class VQKUDM_API UDMDataConnectionMgr {
 public:
  // The manager of the process, made on first call.
  static boost::shared_ptr<UDMDataConnectionMgr> GetInstance();
  // Releases the process's manager; profiles it handed out stay usable.
  static void DestroyInstance();

  UDMDataConnectionMgr(const UDMDataConnectionMgr& other) = default;
  UDMDataConnectionMgr& operator=(const UDMDataConnectionMgr& other) = default;
  virtual ~UDMDataConnectionMgr();

  // The profile of the connection `config` identifies (exact, case-sensitive
  // identifier): the one made before, else a new one from the plug-in found
  // in config's plug-in directory plus the platform's sub-directory. Raises
  // when the configuration is null, has no identifier, or the plug-in cannot
  // be loaded, made or initialised; nothing is kept then.
  boost::shared_ptr<IUDMProfile> GetDataConnectionProfile(boost::shared_ptr<UDMConnectConfig>& config);
  // Forgets the connection's profile; an unknown identifier is ignored. The
  // profile's working session closes when the last reference to it goes.
  void RemoveDataConnectionProfile(const vqString& identifier);
  // Forgets whichever connection `profile` serves (UDMProfileMgr::DiscardProfile).
  void RemoveDataConnectionProfile(const IUDMProfile* profile);

 private:
  UDMDataConnectionMgr() = default;
  boost::shared_ptr<IUDMProfile> CreateProfile(const boost::shared_ptr<UDMConnectConfig>& config);

  static boost::shared_ptr<UDMDataConnectionMgr> _instance;
  vqStlMap<vqString, boost::shared_ptr<IUDMProfile>> m_profiles;
  // Loaded once, kept for the life of the process: its code backs every profile it made.
  std::shared_ptr<osaDynamicObject> m_library;
};

}  // namespace vqkudm
