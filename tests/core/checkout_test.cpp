#include "session_fixture.h"

#include <sys/wait.h>
#include <unistd.h>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMSession.h>

#include <atomic>
#include <thread>

using namespace vqkudm;

namespace {

class CheckOutTest : public RepositoryTest {
 protected:
  UDMItemPtr StoredPart(const vqString& name, double mass) {
    UDMItemPtr part = m_session->CreateEntity(kClassPart, name, UDMUID());
    part->SetAttribute("mass", vqVariant(mass));
    part->Persist("first", GDM_RECURSE_NONE, -1, false, true);
    return part;
  }
  std::vector<vqString> ChildNames(const UDMItemPtr& item) {
    vqStlVector<UDMItemPtr> children;
    item->GetChildren(children, "");
    std::vector<vqString> names;
    for (const UDMItemPtr& child : children) names.push_back(child->GetName());
    return names;
  }
};

UDMItemPtr Latest(const boost::shared_ptr<IUDMSession>& session, const vqString& dmid) {
  return boost::dynamic_pointer_cast<UDMSession>(session)->FindLatest(dmid);
}

}  // namespace

TEST_P(CheckOutTest, CheckInStoresTheNextRevisionAndKeepsTheOldOneReachable) {
  UDMItemPtr part = StoredPart("axle", 10.0);
  const UDMUID first = part->GetUID();
  EXPECT_FALSE(part->IsCheckedOut());
  EXPECT_EQ(SubCategoryOf([&] { part->SetAttribute("mass", vqVariant(9.0)); }), ExcSubGeneral)
      << "editing without a check-out must be refused";
  EXPECT_EQ(SubCategoryOf([&] { part->Persist("", GDM_RECURSE_NONE, -1, false, true); }), ExcSubGeneral);

  part->CheckOut("lighter");
  ASSERT_TRUE(part->IsCheckedOut());
  part->SetAttribute("mass", vqVariant(8.5));
  part->Save("halfway", GDM_RECURSE_NONE, -1);
  EXPECT_TRUE(part->IsCheckedOut()) << "saving keeps the check-out";

  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  EXPECT_EQ(bob->FindItemById(first, true, "")->GetAttributeValue("mass"), vqVariant(10.0))
      << "saved work is not a revision";

  part->Persist("made lighter", GDM_RECURSE_NONE, -1, false, true);
  EXPECT_FALSE(part->IsCheckedOut());
  EXPECT_EQ(part->GetRevision(), 1);
  EXPECT_EQ(part->GetUID().GetDmUid(), first.GetDmUid());
  EXPECT_EQ(part->GetAttributeValue(kSmdComment), vqVariant("made lighter"));
  EXPECT_EQ(m_session->FindItemById(part->GetUID(), true, "").get(), part.get());

  UDMItemPtr old = bob->FindItemById(first, true, "");
  EXPECT_EQ(old->GetAttributeValue("mass"), vqVariant(10.0));
  EXPECT_FALSE(old->IsLatestVersion()) << "the old object learns of the newer revision";
  EXPECT_EQ(old->GetLatestRevision(), 1);
  UDMItemPtr latest = Latest(bob, first.GetDmUid());
  EXPECT_EQ(latest->GetAttributeValue("mass"), vqVariant(8.5));

  vqStlVector<UDMItemPtr> revisions = part->GetAllRevisions();
  ASSERT_EQ(revisions.size(), 2u);
  EXPECT_EQ(revisions[0]->GetRevision(), 0);
  EXPECT_EQ(revisions[1].get(), part.get()) << "the asking object stands for its own revision";
}

TEST_P(CheckOutTest, OfTwoSessionsOnlyOneWinsAndTheLoserLearnsTheHolder) {
  const UDMUID uid = StoredPart("hub", 3.0)->GetUID();
  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  boost::shared_ptr<IUDMSession> carol = OpenSession("carol");
  UDMItemPtr bobs = bob->FindItemById(uid, true, "");
  UDMItemPtr carols = carol->FindItemById(uid, true, "");

  std::atomic<int> winners{0}, losers{0};
  std::string loserMessage;
  auto attempt = [&](const UDMItemPtr& item) {
    try {
      item->CheckOut("race");
      ++winners;
    } catch (const UDMException& e) {
      ++losers;
      loserMessage = e.what();
    }
  };
  std::thread first(attempt, bobs), second(attempt, carols);
  first.join();
  second.join();
  EXPECT_EQ(winners, 1);
  EXPECT_EQ(losers, 1);
  UDMItemPtr winner = bobs->IsCheckedOut() ? bobs : carols;
  UDMItemPtr loser = bobs->IsCheckedOut() ? carols : bobs;
  const std::string holder = winner == bobs ? "bob" : "carol";
  EXPECT_NE(loserMessage.find("checked out by " + holder), std::string::npos) << loserMessage;

  EXPECT_FALSE(loser->IsCheckedOut());
  winner->SetAttribute("mass", vqVariant(2.5));
  winner->Persist("won", GDM_RECURSE_NONE, -1, false, true);
  EXPECT_FALSE(loser->IsLatestVersion()) << "the loser's copy knows it is out of date";
}

TEST_P(CheckOutTest, OfTwoCheckInsOfOneItemExactlyOneWinsAndTheLoserKeepsItsWork) {
  const UDMUID uid = StoredPart("spindle", 1.0)->GetUID();
  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  boost::shared_ptr<IUDMSession> carol = OpenSession("carol");
  UDMItemPtr bobs = bob->FindItemById(uid, true, "");
  UDMItemPtr carols = carol->FindItemById(uid, true, "");
  bobs->CheckOut("");
  // An administrator breaks bob's lock, so both end up editing.
  auto admin = boost::dynamic_pointer_cast<UDMSession>(m_session);
  ASSERT_TRUE(admin->Database().ExecSqlStatement("DELETE FROM udm_lock WHERE dmid = ?", {uid.GetDmUid()}));
  carols->CheckOut("");
  bobs->SetAttribute("mass", vqVariant(2.0));
  carols->SetAttribute("mass", vqVariant(3.0));

  std::atomic<int> won{0};
  std::string failure;
  auto checkIn = [&](const UDMItemPtr& item) {
    try {
      item->Persist("", GDM_RECURSE_NONE, -1, false, true);
      ++won;
    } catch (const UDMException& e) {
      failure = e.what();
    }
  };
  std::thread first(checkIn, bobs), second(checkIn, carols);
  first.join();
  second.join();
  ASSERT_EQ(won, 1);
  EXPECT_NE(failure.find("does not hold its check-out"), std::string::npos) << failure;
  UDMItemPtr loser = bobs->IsCheckedOut() ? bobs : carols;
  EXPECT_EQ(loser, bobs) << "the broken lock was bob's";
  EXPECT_EQ(loser->GetAttributeValue("mass"), vqVariant(2.0)) << "the loser keeps its work";
  EXPECT_NO_THROW(loser->Save("kept", GDM_RECURSE_NONE, -1));
  EXPECT_EQ(Latest(OpenSession("dave"), uid.GetDmUid())->GetAttributeValue("mass"), vqVariant(3.0));
}

TEST_P(CheckOutTest, AnotherProcessCannotTakeACheckOut) {
  UDMItemPtr part = StoredPart("crank", 4.0);
  part->CheckOut("mine");
  const UDMUID uid = part->GetUID();
  ::fflush(nullptr);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // A process of its own: new connections, its own session.
    int code = 3;
    try {
      boost::shared_ptr<IUDMSession> other = OpenSession("dave");
      other->FindItemById(uid, true, "")->CheckOut("theirs");
      code = 1;
    } catch (const UDMException& e) {
      code = std::string(e.what()).find("checked out by alice") != std::string::npos ? 0 : 2;
    }
    ::_exit(code);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: the other process won; 2: its error did not name the holder";
}

TEST_P(CheckOutTest, UndoingACheckOutReturnsToTheStoredStateAndFreesTheLock) {
  UDMItemPtr project = m_session->CreateEntity(kClassProject, "frame", UDMUID());
  project->AddChild(m_session->CreateEntity(kClassPart, "tube", UDMUID()), "parts");
  project->Persist("", GDM_RECURSE_ALL, -1, false, true);
  EXPECT_EQ(SubCategoryOf([&] { project->UndoCheckOut(-1, GDM_RECURSE_ALL); }), ExcSubGeneral)
      << "there is no check-out to undo";

  project->CheckOut("try");
  project->SetAttribute("description", vqVariant("changed"));
  project->AddChild(m_session->CreateEntity(kClassPart, "strut", UDMUID()), "parts");
  project->Save("", GDM_RECURSE_ALL, -1);
  project->UndoCheckOut(-1, GDM_RECURSE_ALL);

  EXPECT_FALSE(project->IsCheckedOut());
  EXPECT_TRUE(project->GetAttributeValue("description").IsEmpty());
  EXPECT_EQ(ChildNames(project), std::vector<vqString>{"tube"});
  EXPECT_EQ(project->GetRevision(), 0);
  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  UDMItemPtr bobs = bob->FindItemById(project->GetUID(), true, "");
  EXPECT_NO_THROW(bobs->CheckOut("free now"));
  vqStlVector<UDMItemPtr> resumed;
  boost::dynamic_pointer_cast<UDMSession>(OpenSession("alice"))->ResumeDrafts(resumed);
  for (const UDMItemPtr& item : resumed) EXPECT_NE(item->GetName(), "frame") << "the draft went with the undo";
}

TEST_P(CheckOutTest, EachRevisionKeepsTheStructureItHad) {
  UDMItemPtr project = m_session->CreateEntity(kClassProject, "bike", UDMUID());
  UDMItemPtr wheel = project->AddChild(m_session->CreateEntity(kClassPart, "wheel", UDMUID()), "parts");
  project->Persist("", GDM_RECURSE_ALL, -1, false, true);
  const UDMUID first = project->GetUID();

  project->CheckOut("swap");
  project->RemoveChild(wheel);
  project->AddChild(m_session->CreateEntity(kClassPart, "ski", UDMUID()), "parts");
  project->Persist("winter", GDM_RECURSE_ALL, -1, false, true);
  ASSERT_EQ(project->GetRevision(), 1);

  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  EXPECT_EQ(ChildNames(bob->FindItemById(first, true, "")), std::vector<vqString>{"wheel"});
  EXPECT_EQ(ChildNames(Latest(bob, first.GetDmUid())), std::vector<vqString>{"ski"});
  vqStlVector<UDMItemPtr> parents;
  Latest(bob, wheel->GetUID().GetDmUid())->GetParents(parents, 0);
  EXPECT_TRUE(parents.empty()) << "the wheel left the latest structure";
}

TEST_P(CheckOutTest, CheckingOutAnOldRevisionStartsABranchWhereTheDefinitionAllowsIt) {
  UDMItemPtr part = StoredPart("fork", 1.0);
  const UDMUID first = part->GetUID();
  for (double mass : {1.1, 1.2}) {
    part->CheckOut("");
    part->SetAttribute("mass", vqVariant(mass));
    part->Persist("", GDM_RECURSE_NONE, -1, false, true);
  }
  UDMItemPtr origin = m_session->FindItemById(first.WithRevision(1), true, "");
  std::vector<UDMUID> branches;
  for (double mass : {2.0, 3.0}) {
    UDMItemPtr old = m_session->FindItemById(first.WithRevision(1), true, "");
    old->CheckOut("branch");
    old->SetAttribute("mass", vqVariant(mass));
    old->Persist("branched", GDM_RECURSE_NONE, -1, false, true);
    EXPECT_NE(old->GetUID().GetDmUid(), first.GetDmUid()) << "a branch is an entity of its own";
    EXPECT_EQ(old->GetRevision(), 0);
    EXPECT_EQ(old->GetAttributeValue(kSmdBranchfrom), vqVariant(first.GetDmUid()));
    EXPECT_EQ(old->GetBranchedFrom()->GetUID(), first.WithRevision(1));
    branches.push_back(old->GetUID());
  }
  EXPECT_EQ(Latest(m_session, first.GetDmUid())->GetAttributeValue("mass"), vqVariant(1.2))
      << "the main line is untouched";

  vqStlVector<UDMItemPtr> to = m_session->FindItemById(first.WithRevision(1), true, "")->GetBranchedTo();
  ASSERT_EQ(to.size(), 2u);
  EXPECT_EQ(to[0]->GetUID(), branches[0]);
  EXPECT_EQ(to[1]->GetUID(), branches[1]);
  EXPECT_FALSE(part->GetBranchedFrom());
  EXPECT_TRUE(part->GetBranchedTo().empty());

  UDMItemPtr kpi = m_session->CreateEntity(kClassKPI, "drag", UDMUID());
  kpi->Persist("", GDM_RECURSE_NONE, -1, false, true);
  kpi->CheckOut("");
  kpi->Persist("", GDM_RECURSE_NONE, -1, false, true);
  UDMItemPtr oldKpi = m_session->FindItemById(kpi->GetUID().WithRevision(0), true, "");
  EXPECT_NE(FailureOf([&] { oldKpi->CheckOut(""); }).second.find("does not allow branching"), std::string::npos);
}

TEST_P(CheckOutTest, AFailedCheckInChangesNothingAndKeepsTheWork) {
  std::shared_ptr<FailNextCommitDriver> failing;
  boost::shared_ptr<IUDMSession> erin = OpenFailingSession("erin", &failing);
  UDMItemPtr project = erin->CreateEntity(kClassProject, "kart", UDMUID());
  UDMItemPtr seat = project->AddChild(erin->CreateEntity(kClassPart, "seat", UDMUID()), "parts");
  project->Persist("", GDM_RECURSE_ALL, -1, false, true);
  project->CheckOut("");
  seat->CheckOut("");
  seat->SetAttribute("mass", vqVariant(4.0));
  project->AddChild(erin->CreateEntity(kClassPart, "pedal", UDMUID()), "parts");

  failing->armed = true;
  EXPECT_THROW(project->Persist("", GDM_RECURSE_ALL, -1, false, true), UDMException);
  EXPECT_EQ(project->GetRevision(), 0);
  EXPECT_TRUE(project->IsCheckedOut());
  EXPECT_EQ(seat->GetAttributeValue("mass"), vqVariant(4.0));
  UDMItemPtr fresh = Latest(OpenSession("frank"), project->GetUID().GetDmUid());
  EXPECT_EQ(fresh->GetRevision(), 0);
  EXPECT_EQ(ChildNames(fresh), std::vector<vqString>{"seat"});

  project->Persist("", GDM_RECURSE_ALL, -1, false, true);
  EXPECT_EQ(project->GetRevision(), 1);
  EXPECT_EQ(seat->GetRevision(), 1) << "the checked-out child went in with its parent";
  EXPECT_EQ(ChildNames(Latest(OpenSession("grace"), project->GetUID().GetDmUid())),
            (std::vector<vqString>{"seat", "pedal"}));
}

TEST_P(CheckOutTest, SavedWorkOnAStoredItemIsTakenUpByItsUserInANewSession) {
  UDMItemPtr part = StoredPart("gear", 5.0);
  part->CheckOut("");
  part->SetAttribute("mass", vqVariant(4.5));
  part->Save("", GDM_RECURSE_NONE, -1);

  auto later = boost::dynamic_pointer_cast<UDMSession>(OpenSession("alice"));
  vqStlVector<UDMItemPtr> resumed;
  later->ResumeDrafts(resumed);
  ASSERT_EQ(resumed.size(), 1u);
  EXPECT_TRUE(resumed[0]->IsCheckedOut());
  EXPECT_EQ(resumed[0]->GetAttributeValue("mass"), vqVariant(4.5));
  resumed[0]->Persist("", GDM_RECURSE_NONE, -1, false, true);
  EXPECT_EQ(resumed[0]->GetRevision(), 1);
}

UDM_ON_EVERY_BACKEND(CheckOutTest);
