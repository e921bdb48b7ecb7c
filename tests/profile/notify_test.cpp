#include "profile_fixture.h"

#include <vqkudm/UDMProfileUpdate.h>

using namespace vqkudm;

namespace {

class Recorder : public IUDMProfileSlot {
 public:
  void update(UDMProfileUpdate change) override {
    changes.push_back(change);
    // A copy, since a callback may replace itself.
    if (auto callback = onUpdate) callback(change);
  }
  std::vector<UDMProfileUpdate> changes;
  std::function<void(const UDMProfileUpdate&)> onUpdate;
};

}  // namespace

TEST_F(ProfileTest, SubscribersHearEveryChangeWithHandlesOnTheEntities) {
  auto recorder = boost::make_shared<Recorder>();
  boost::shared_ptr<IUDMProfileSlot> slot = recorder;
  m_profile->SubscribeToEntityUpdates(slot);
  UDMItemHandle project = m_profile->CreateEntity("UDMProject", "rover");
  UDMItemHandle wheel = m_profile->CreateAndAdd("UDMPart", "wheel", project, "parts");
  m_profile->SetAttribute(wheel, "description", vqVariant("rubber"));

  ASSERT_EQ(recorder->changes.size(), 4u);
  EXPECT_EQ(recorder->changes[2].GetOpCode(), SIGNAL_CHILD_ADDED);
  EXPECT_TRUE(recorder->changes[2].GetUDMHandle() == project);
  EXPECT_TRUE(recorder->changes[2].GetChild() == wheel);
  EXPECT_EQ(recorder->changes[3].GetAttributeName(), "description");
  EXPECT_EQ(recorder->changes[3].GetAttributeValue().ToString(), "rubber");
  EXPECT_EQ(recorder->changes[3].GetSessionId(), m_profile->GetSessionId());

  EXPECT_THROW(recorder->changes[3].GetChild(), UDMException) << "an attribute change has no child";

  m_profile->UnsubscribeFromEntityUpdates(slot);
  m_profile->SetAttribute(wheel, "description", vqVariant("steel"));
  EXPECT_EQ(recorder->changes.size(), 4u);
}

TEST_F(ProfileTest, AChangeMadeWhileTheBridgeDeliversIsDropped) {
  auto recorder = boost::make_shared<Recorder>();
  boost::shared_ptr<IUDMProfileSlot> slot = recorder;
  m_profile->SubscribeToEntityUpdates(slot);
  UDMItemHandle part = m_profile->CreateEntity("UDMPart", "bolt");
  recorder->onUpdate = [&](const UDMProfileUpdate&) {
    recorder->onUpdate = nullptr;
    m_profile->SetAttribute(part, "description", vqVariant("nested"));
  };
  m_profile->SetAttribute(part, "description", vqVariant("outer"));
  ASSERT_EQ(recorder->changes.size(), 2u) << "the creation and the outer change, not the nested one";
  EXPECT_EQ(recorder->changes[1].GetAttributeValue().ToString(), "outer");
  EXPECT_EQ(m_profile->GetAttributeValue(part, "description").ToString(), "nested") << "the change itself was made";
}

TEST_F(ProfileTest, AConnectionAddedDuringDeliveryIsReachedInTheSamePass) {
  auto profile = boost::dynamic_pointer_cast<UDMCoreProfile>(m_profile);
  UDMBridgeSlot bridge(profile);
  Recorder first, late;
  first.onUpdate = [&](const UDMProfileUpdate&) {
    first.onUpdate = nullptr;
    bridge.GetSignal().Connect(static_cast<IUDMProfileSlot*>(&late), &IUDMProfileSlot::update);
  };
  bridge.GetSignal().Connect(static_cast<IUDMProfileSlot*>(&first), &IUDMProfileSlot::update);
  auto record = boost::make_shared<UDMChangeRecord>();
  record->op = SIGNAL_MODIFIED;
  bridge.update(UDMUpdateWrapper(record));
  EXPECT_EQ(first.changes.size(), 1u);
  EXPECT_EQ(late.changes.size(), 1u);
}

TEST_F(ProfileTest, AnUpdateKeptPastItsProfileStillTellsWhatChanged) {
  boost::shared_ptr<IUDMPlugin> plugin;
  UDMCoreProfile::CreateInstance(plugin);
  plugin->Init(boost::dynamic_pointer_cast<UDMSession>(UDMFramework::GetInstance()->FindSession(m_profile->GetSessionId())),
               boost::make_shared<UDMPluginConfig>("Core", "in-process"));
  auto own = boost::dynamic_pointer_cast<UDMCoreProfile>(plugin);
  auto recorder = boost::make_shared<Recorder>();
  boost::shared_ptr<IUDMProfileSlot> slot = recorder;
  own->SubscribeToEntityUpdates(slot);
  UDMItemHandle part = own->CreateEntity("UDMPart", "bolt");
  own->SetAttribute(part, "description", vqVariant("kept"));
  UDMBridgeSlot orphan(own);
  plugin.reset();
  own.reset();

  m_profile->SetAttribute(m_profile->GetUDMItemHandle(part.GetUID()), "description", vqVariant("after"));
  ASSERT_EQ(recorder->changes.size(), 2u) << "the profile's subscriptions went with it";
  const UDMProfileUpdate& kept = recorder->changes[1];
  EXPECT_EQ(kept.GetOpCode(), SIGNAL_ATTRIBUTE_SET);
  EXPECT_EQ(kept.GetAttributeValue().ToString(), "kept");
  EXPECT_EQ(std::string(RaisedBy([&] { kept.GetUDMHandle(); }).what()), "Profile Ptr NULL");
  EXPECT_EQ(std::string(RaisedBy([&] { orphan.update(UDMUpdateWrapper()); }).what()), "Profile Ptr NULL");
}
