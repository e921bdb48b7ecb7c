#pragma once

// The profile of a connection: the core profile over the connection's
// working repository, filled by the connector of its data source when it
// is initialised, and written back to the source after every check-in.

#include <memory>

#include <vqkudm/UDMCoreProfile.h>
#include <vqkudm/UDMProfileUpdate.h>

#include "Connector.h"

namespace vqkudm::connect {

class ConnectProfile final : public UDMCoreProfile {
 public:
  ConnectProfile() = default;
  // Closes the working session should the profile go without being discarded.
  ~ConnectProfile() override;

  vqString GetDisplayName() override;
  vqString GetKey() override;
  // `session` is the connection's working session; `pluginConfig` must be a
  // UDMConnectPluginConfig. Raises when the source has no connector or
  // cannot be read.
  UDMResult Init(const boost::weak_ptr<UDMSession>& session,
                 const boost::shared_ptr<UDMPluginConfig>& pluginConfig) override;

 private:
  class CheckInSlot;
  // Once per check-in, however many revisions it stored.
  void WriteBack();

  std::unique_ptr<Connector> m_connector;
  boost::shared_ptr<IUDMProfileSlot> m_checkIns;
};

}  // namespace vqkudm::connect
