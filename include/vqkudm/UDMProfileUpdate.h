#pragma once

// Change notification through a profile. Subscribe an IUDMProfileSlot with
// IUDMProfile::SubscribeToEntityUpdates; every change made through the
// profile's session reaches its update() synchronously, on the thread that
// made the change. A change that arrives while the same subscription is still
// delivering another one is dropped, not queued.

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include <vqkudm/UDMHandle.h>
#include <vqkudmrt/UDMUpdateWrapper.h>
#include <vqsigslot/vqListener.h>
#include <vqsigslot/vqSignal1.h>

namespace vqkudm {

class UDMCoreProfile;

// One change as a subscriber sees it. The data accessors always work; the
// handle accessors need the profile and raise once it is gone.
class VQKUDM_API UDMProfileUpdate {
 public:
  UDMProfileUpdate() = default;
  UDMProfileUpdate(UDMUpdateWrapper& change, boost::shared_ptr<UDMCoreProfile> profile);
  UDMProfileUpdate(const UDMProfileUpdate&) = default;
  UDMProfileUpdate(UDMProfileUpdate&&) = default;
  UDMProfileUpdate& operator=(const UDMProfileUpdate&) = default;
  UDMProfileUpdate& operator=(UDMProfileUpdate&&) = default;
  ~UDMProfileUpdate();

  SignalOption GetOpCode() const;
  UDMUID GetUID() const;
  vqString GetURL() const;
  vqString GetSessionId() const;
  vqString GetAttributeName() const;
  vqVariant GetAttributeValue() const;
  UDMItemHandle GetUDMHandle() const;
  UDMItemHandle GetChild() const;
  // The change this one is part of (a check-in, for the revisions it stored).
  UDMProfileUpdate GetParentUpdate() const;

 private:
  boost::shared_ptr<UDMCoreProfile> LockProfile(const char* signature) const;

  UDMUpdateWrapper m_change;
  boost::weak_ptr<UDMCoreProfile> m_profile;
};

class VQKUDM_API IUDMProfileSlot : public vqListener<single_threaded> {
 public:
  IUDMProfileSlot() = default;
  IUDMProfileSlot(const IUDMProfileSlot&) = default;
  IUDMProfileSlot(IUDMProfileSlot&&) = default;
  IUDMProfileSlot& operator=(const IUDMProfileSlot&) = default;
  IUDMProfileSlot& operator=(IUDMProfileSlot&&) = default;
  virtual ~IUDMProfileSlot();
  virtual void update(UDMProfileUpdate change);
};

// Passes a session's changes on to the subscribers connected to its signal.
class VQKUDM_API UDMBridgeSlot : public IUDMSlot, public vqListener<single_threaded> {
 public:
  explicit UDMBridgeSlot(const boost::shared_ptr<UDMCoreProfile>& profile);
  UDMBridgeSlot(const UDMBridgeSlot&) = default;
  UDMBridgeSlot(UDMBridgeSlot&&) = default;
  ~UDMBridgeSlot() override;

  // Raises when the profile is gone.
  void update(UDMUpdateWrapper change) override;
  vqSignal1<void, UDMProfileUpdate, single_threaded>& GetSignal() { return m_signal; }

 private:
  boost::shared_ptr<UDMCoreProfile> GetProfilePtr() const;

  boost::weak_ptr<UDMCoreProfile> m_profile;
  vqSignal1<void, UDMProfileUpdate, single_threaded> m_signal;
};

}  // namespace vqkudm
