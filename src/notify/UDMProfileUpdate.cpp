#include <vqkudm/UDMCoreProfile.h>
#include <vqkudm/UDMProfileUpdate.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>

#include "../foundation/SignatureText.h"

namespace vqkudm {

#define VQ_UPDATE_SIG(result, rest) VQ_SIG(result, "UDMProfileUpdate", rest)

UDMProfileUpdate::UDMProfileUpdate(UDMUpdateWrapper& change, boost::shared_ptr<UDMCoreProfile> profile)
    : m_change(change), m_profile(profile) {}

UDMProfileUpdate::~UDMProfileUpdate() = default;

SignalOption UDMProfileUpdate::GetOpCode() const { return m_change.GetOpCode(); }
UDMUID UDMProfileUpdate::GetUID() const { return m_change.GetUID(); }
vqString UDMProfileUpdate::GetURL() const { return m_change.GetURL(); }
vqString UDMProfileUpdate::GetSessionId() const { return m_change.GetSessionId(); }
vqString UDMProfileUpdate::GetAttributeName() const { return m_change.GetAttributeName(); }
vqVariant UDMProfileUpdate::GetAttributeValue() const { return m_change.GetAttributeValue(); }

boost::shared_ptr<UDMCoreProfile> UDMProfileUpdate::LockProfile(const char* signature) const {
  boost::shared_ptr<UDMCoreProfile> profile = m_profile.lock();
  if (!profile) ThrowUDMException(signature, "Profile Ptr NULL", ExcCatState, ExcSubNull);
  return profile;
}

namespace {

// A change without that entity (a child for any but a child change) has none to hand out.
UDMItemHandle HandleOf(const char* signature, const boost::shared_ptr<UDMCoreProfile>& profile,
                       const boost::shared_ptr<UDMItem>& entity, const char* which) {
  if (!entity) ThrowUDMException(signature, vqString("the change has no ") + which, ExcCatState, ExcSubNull);
  return profile->GetUDMItemHandle(entity->GetUID().ToString());
}

}  // namespace

UDMItemHandle UDMProfileUpdate::GetUDMHandle() const {
  static const char* const kSignature = VQ_UPDATE_SIG(VQ_T_ITEM, "GetUDMHandle(void) const");
  return HandleOf(kSignature, LockProfile(kSignature), m_change.GetEntity(), "entity");
}

UDMItemHandle UDMProfileUpdate::GetChild() const {
  static const char* const kSignature = VQ_UPDATE_SIG(VQ_T_ITEM, "GetChild(void) const");
  return HandleOf(kSignature, LockProfile(kSignature), m_change.GetChild(), "child");
}

UDMProfileUpdate UDMProfileUpdate::GetParentUpdate() const {
  boost::shared_ptr<UDMCoreProfile> profile =
      LockProfile(VQ_UPDATE_SIG("class vqkudm::UDMProfileUpdate", "GetParentUpdate(void) const"));
  UDMUpdateWrapper parent = m_change.GetParentUpdate();
  return UDMProfileUpdate(parent, profile);
}

IUDMProfileSlot::~IUDMProfileSlot() = default;
void IUDMProfileSlot::update(UDMProfileUpdate) {}

// ---- the bridge

UDMBridgeSlot::UDMBridgeSlot(const boost::shared_ptr<UDMCoreProfile>& profile) : m_profile(profile) {}
UDMBridgeSlot::~UDMBridgeSlot() = default;

boost::shared_ptr<UDMCoreProfile> UDMBridgeSlot::GetProfilePtr() const {
  boost::shared_ptr<UDMCoreProfile> profile = m_profile.lock();
  if (!profile) {
    ThrowUDMException(VQ_SIG(VQ_T_SHARED("class vqkudm::UDMCoreProfile"), "UDMBridgeSlot", "GetProfilePtr(void) const"),
                      "Profile Ptr NULL", ExcCatState, ExcSubNull);
  }
  return profile;
}

void UDMBridgeSlot::update(UDMUpdateWrapper change) {
  boost::shared_ptr<UDMCoreProfile> profile = m_profile.lock();
  if (!profile) {
    ThrowUDMException(VQ_SIG("void", "UDMBridgeSlot", "update(class vqkudm::UDMUpdateWrapper)"), "Profile Ptr NULL",
                      ExcCatState, ExcSubNull);
  }
  m_signal.Emit(UDMProfileUpdate(change, profile));
}

// ---- subscriptions

void UDMCoreProfile::SubscribeToEntityUpdates(boost::shared_ptr<IUDMProfileSlot>& subscriber) {
  boost::shared_ptr<IUDMSession> session = Session();
  boost::shared_ptr<UDMBridgeSlot> bridge(new UDMBridgeSlot(shared_from_this()));
  if (subscriber) bridge->GetSignal().Connect(subscriber.get(), &IUDMProfileSlot::update);
  session->RegisterSlot(bridge);
  // A second subscription of the same subscriber replaces the first.
  auto previous = m_subscribers.find(subscriber);
  if (previous != m_subscribers.end()) {
    session->UnregisterSlot(previous->second);
    m_subscribers.erase(previous);
  }
  m_subscribers.emplace(subscriber, bridge);
}

void UDMCoreProfile::UnsubscribeFromEntityUpdates(boost::shared_ptr<IUDMProfileSlot>& subscriber) {
  boost::shared_ptr<IUDMSession> session = Session();
  auto found = m_subscribers.find(subscriber);
  if (found == m_subscribers.end()) return;
  session->UnregisterSlot(found->second);
  m_subscribers.erase(found);
}

}  // namespace vqkudm
