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

// Holds the profile weakly: the profile owns its subscriptions.
class ConnectProfile::CheckInSlot final : public IUDMProfileSlot {
 public:
  explicit CheckInSlot(const boost::weak_ptr<UDMCoreProfile>& profile) : m_profile(profile) {}

  void update(UDMProfileUpdate change) override {
    if (change.GetOpCode() != SIGNAL_PERSISTED) return;
    // The revisions of one check-in share the change they are part of.
    const UDMProfileUpdate whole = change.GetParentUpdate();
    const vqString checkIn = (whole.GetOpCode() != SIGNAL_NONE ? whole : change).GetUID().ToString();
    if (checkIn == m_lastCheckIn) return;
    m_lastCheckIn = checkIn;
    if (boost::shared_ptr<UDMCoreProfile> profile = m_profile.lock()) {
      boost::static_pointer_cast<ConnectProfile>(profile)->WriteBack();
    }
  }

 private:
  boost::weak_ptr<UDMCoreProfile> m_profile;
  vqString m_lastCheckIn;
};

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
  m_checkIns.reset(new CheckInSlot(shared_from_this()));
  SubscribeToEntityUpdates(m_checkIns);
  return UDM_SUCCESS;
}

void ConnectProfile::WriteBack() { m_connector->WriteBack(*this, getWorkspaceDir()); }

}  // namespace vqkudm::connect
