#include "ConnectProfile.h"

#include <new>

#include <vqkudmrt/UDMException.h>
#include <vqutl/vqExport.h>

namespace vqkudm::connect {

namespace {

const char* const kInitSignature =
    "enum vqkudm::UDMResult __cdecl vqkudm::connect::ConnectProfile::Init(const class boost::weak_ptr<class "
    "vqkudm::UDMSession> &,const class boost::shared_ptr<class vqkudm::UDMPluginConfig> &)";

}  // namespace

// The entry the data connection manager looks up by name.
VQ_MODULE_ENTRY UDMResult CreateInstance(boost::shared_ptr<IUDMPlugin>& out) {
  boost::shared_ptr<ConnectProfile> profile(new (std::nothrow) ConnectProfile());
  if (!profile) return UDM_NOT_CREATED;
  out = profile;
  return UDM_SUCCESS;
}

ConnectProfile::~ConnectProfile() {
  try {
    Discard();
  } catch (const UDMException&) {
    // Discarded already, or never initialised.
  }
}

vqString ConnectProfile::GetDisplayName() { return "UDMConnectProfile"; }
vqString ConnectProfile::GetKey() { return "vqkudmrt_connectprofile"; }

UDMResult ConnectProfile::Init(const boost::weak_ptr<UDMSession>& session,
                               const boost::shared_ptr<UDMPluginConfig>& pluginConfig) {
  boost::shared_ptr<UDMConnectPluginConfig> connection =
      boost::dynamic_pointer_cast<UDMConnectPluginConfig>(pluginConfig);
  if (!connection || !connection->GetConnectConfig()) ThrowNullArgument(kInitSignature, "connection configuration ");
  // Chosen first: a source without a connector fails before anything is opened.
  std::unique_ptr<Connector> connector = CreateConnector(*connection->GetConnectConfig());
  const UDMResult result = UDMCoreProfile::Init(session, pluginConfig);
  if (result != UDM_SUCCESS) return result;
  connector->Open(*this, getWorkspaceDir());
  m_connector = std::move(connector);
  return UDM_SUCCESS;
}

}  // namespace vqkudm::connect
