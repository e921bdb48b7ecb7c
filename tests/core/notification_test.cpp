#include "session_fixture.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMUpdateWrapper.h>

#include <chrono>
#include <thread>

using namespace vqkudm;

namespace {

class Recorder : public IUDMSlot {
 public:
  void update(UDMUpdateWrapper change) override {
    changes.push_back(change);
    if (onUpdate) onUpdate(change);
  }
  std::vector<std::string> Kinds() const {
    std::vector<std::string> kinds;
    for (const auto& change : changes) {
      std::string kind = SignalOptionName(change.GetOpCode());
      if (!change.GetAttributeName().empty()) kind += ":" + change.GetAttributeName();
      kinds.push_back(kind);
    }
    return kinds;
  }
  std::vector<UDMUpdateWrapper> changes;
  std::function<void(const UDMUpdateWrapper&)> onUpdate;
};

}  // namespace

class NotificationTest : public RepositoryTest {};

TEST_P(NotificationTest, ChangesArriveInOrderWithWhatChanged) {
  auto recorder = boost::make_shared<Recorder>();
  m_session->RegisterSlot(recorder);
  UDMItemPtr project = m_session->CreateEntity(kClassProject, "kart", UDMUID());
  UDMItemPtr seat = m_session->CreateEntity(kClassPart, "seat", UDMUID());
  seat->SetAttribute("material", vqVariant("foam"));
  project->AddChild(seat, "parts");
  project->Persist("", GDM_RECURSE_ALL, -1, false, true);

  EXPECT_EQ(recorder->Kinds(), (std::vector<std::string>{"created", "created", "attribute set:material",
                                                         "child added", "persisted", "persisted"}));
  const UDMUpdateWrapper& attribute = recorder->changes[2];
  EXPECT_EQ(attribute.GetAttributeValue(), vqVariant("foam"));
  EXPECT_EQ(attribute.GetSessionId(), m_session->GetSessionId());
  EXPECT_EQ(recorder->changes[3].GetChild(), seat);
  const UDMUpdateWrapper& childPersist = recorder->changes[5];
  EXPECT_EQ(childPersist.GetEntity(), seat);
  EXPECT_EQ(childPersist.GetParentUpdate().GetEntity(), project);
  EXPECT_FALSE(recorder->changes[4].GetParentUpdate().IsValid());

  m_session->UnregisterSlot(recorder);
  m_session->DeleteEntity(project->GetUID());
  EXPECT_EQ(recorder->changes.size(), 6u);
}

TEST_P(NotificationTest, SlotsRegisteredDuringDeliveryHearTheNextChangeAndUidSlotsFilter) {
  auto late = boost::make_shared<Recorder>();
  auto first = boost::make_shared<Recorder>();
  first->onUpdate = [&](const UDMUpdateWrapper&) {
    if (first->changes.size() == 1) m_session->RegisterSlot(late);
  };
  m_session->RegisterSlot(first);
  UDMItemPtr part = m_session->CreateEntity(kClassPart, "axle", UDMUID());
  EXPECT_TRUE(late->changes.empty());
  part->SetAttribute("mass", vqVariant(2.0));
  EXPECT_EQ(late->Kinds(), (std::vector<std::string>{"attribute set:mass"}));

  auto filtered = boost::make_shared<Recorder>();
  m_session->RegisterSlot(boost::make_shared<UDMUIDSlot>(part->GetUID(), filtered));
  m_session->CreateEntity(kClassPart, "other", UDMUID());
  part->SetAttribute("material", vqVariant("steel"));
  EXPECT_EQ(filtered->Kinds(), (std::vector<std::string>{"attribute set:material"}));
}

TEST_P(NotificationTest, OtherSessionsReadStoredChangesFromTheLog) {
  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  auto bobSession = boost::dynamic_pointer_cast<UDMSession>(bob);
  vqStlVector<UDMSession::LoggedChange> before;
  bobSession->ReadChangesOfOthers(0, before);
  EXPECT_TRUE(before.empty());

  UDMItemPtr part = m_session->CreateEntity(kClassPart, "wheel", UDMUID());
  part->SetAttribute("material", vqVariant("rubber"));  // private until persisted: not logged
  part->Persist("", GDM_RECURSE_NONE, -1, false, true);
  m_session->DeleteEntity(part->GetUID());

  vqStlVector<UDMSession::LoggedChange> seen;
  bobSession->ReadChangesOfOthers(0, seen);
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].op, SIGNAL_PERSISTED);
  EXPECT_EQ(seen[0].uid, part->GetUID());
  EXPECT_EQ(seen[1].op, SIGNAL_DELETED);
  EXPECT_EQ(seen[0].sessionId, m_session->GetSessionId());

  vqStlVector<UDMSession::LoggedChange> later;
  bobSession->ReadChangesOfOthers(seen.back().sequence, later);
  EXPECT_TRUE(later.empty());
  vqStlVector<UDMSession::LoggedChange> own;
  boost::dynamic_pointer_cast<UDMSession>(m_session)->ReadChangesOfOthers(0, own);
  EXPECT_TRUE(own.empty()) << "a session's own changes are not news to it";
}

TEST_P(NotificationTest, AWaitingSessionWakesWhenAnotherStoresAChange) {
  auto bob = boost::dynamic_pointer_cast<UDMSession>(OpenSession("bob"));
  vqStlVector<UDMSession::LoggedChange> none;
  bob->WaitForChangesOfOthers(0, 50, none);
  EXPECT_TRUE(none.empty());

  std::thread writer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    m_session->CreateEntity(kClassPart, "spoke", UDMUID())->Persist("", GDM_RECURSE_NONE, -1, false, true);
  });
  vqStlVector<UDMSession::LoggedChange> seen;
  bob->WaitForChangesOfOthers(0, 20000, seen);
  writer.join();
  ASSERT_EQ(seen.size(), 1u) << "the wait ended without the change";
  EXPECT_EQ(seen[0].op, SIGNAL_PERSISTED);
}

TEST_P(NotificationTest, ReadersStartAtTheLogsEndOrAtATime) {
  auto bob = boost::dynamic_pointer_cast<UDMSession>(OpenSession("bob"));
  EXPECT_EQ(bob->LastChangeSequence(), 0);
  EXPECT_EQ(bob->ChangeSequenceBefore(UDMSession::Now()), 0);

  m_session->CreateEntity(kClassPart, "early", UDMUID())->Persist("", GDM_RECURSE_NONE, -1, false, true);
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  const vqString between = UDMSession::Now();
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  UDMItemPtr late = m_session->CreateEntity(kClassPart, "late", UDMUID());
  late->Persist("", GDM_RECURSE_NONE, -1, false, true);

  vqStlVector<UDMSession::LoggedChange> all;
  bob->ReadChangesOfOthers(0, all);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(bob->LastChangeSequence(), all.back().sequence);
  vqStlVector<UDMSession::LoggedChange> sinceThen;
  bob->ReadChangesOfOthers(bob->ChangeSequenceBefore(between), sinceThen);
  ASSERT_EQ(sinceThen.size(), 1u);
  EXPECT_EQ(sinceThen[0].uid, late->GetUID());
  EXPECT_EQ(bob->ChangeSequenceBefore("2000-01-01T00:00:00.000Z"), all.front().sequence - 1);
  EXPECT_EQ(bob->ChangeSequenceBefore("2999-01-01T00:00:00.000Z"), all.back().sequence);
}

UDM_ON_EVERY_BACKEND(NotificationTest);
