#include "session_fixture.h"

#include <fstream>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMClassification.h>
#include <vqkudmrt/UDMSession.h>

using namespace vqkudm;

class DraftTest : public RepositoryTest {
 protected:
  static boost::shared_ptr<UDMSession> Concrete(const boost::shared_ptr<IUDMSession>& session) {
    return boost::dynamic_pointer_cast<UDMSession>(session);
  }
};

TEST_P(DraftTest, SavedWorkIsTakenUpAgainByItsUserOnlyAndPersistingRemovesIt) {
  UDMItemPtr project = m_session->CreateEntity(kClassProject, "boat", UDMUID());
  UDMItemPtr hull = m_session->CreateEntity(kClassPart, "hull", UDMUID());
  hull->SetAttribute("mass", vqVariant(120.5));
  hull->SetAttribute("material", vqVariant("oak"));
  project->AddChild(hull, "parts");
  EXPECT_EQ(SubCategoryOf([&] { project->Save("", GDM_RECURSE_NONE, -1); }), ExcSubGeneral)
      << "a new child must be saved along, or the draft would point at nothing";
  project->Save("evening", GDM_RECURSE_ALL, -1);
  EXPECT_TRUE(project->IsNew());
  EXPECT_TRUE(project->IsCheckedOut());
  EXPECT_FALSE(project->IsModified());
  const UDMUID projectUid = project->GetUID(), hullUid = hull->GetUID();

  // Nobody else sees a draft, not even through the repository's queries.
  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  EXPECT_FALSE(bob->FindItemById(projectUid, true, ""));
  vqStlVector<UDMItemPtr> none;
  Concrete(bob)->ResumeDrafts(none);
  EXPECT_TRUE(none.empty());
  vqStlVector<UDMItemPtr> roots;
  bob->GetRootEntities(RootEntityItems, roots);
  EXPECT_TRUE(roots.empty());

  // The next morning, a new session of the same user.
  boost::shared_ptr<IUDMSession> morning = OpenSession("alice");
  vqStlVector<UDMItemPtr> resumed;
  Concrete(morning)->ResumeDrafts(resumed);
  ASSERT_EQ(resumed.size(), 2u);
  UDMItemPtr boat = morning->FindItemById(projectUid, false, "");
  ASSERT_TRUE(boat);
  EXPECT_TRUE(boat->IsNew());
  vqStlVector<UDMItemPtr> children;
  boat->GetChildren(children, "parts");
  ASSERT_EQ(children.size(), 1u);
  EXPECT_EQ(children[0]->GetUID(), hullUid);
  EXPECT_EQ(children[0]->GetAttributeValue("mass"), vqVariant(120.5));
  EXPECT_EQ(children[0]->GetParent(), boat);
  vqStlVector<UDMItemPtr> again;
  Concrete(morning)->ResumeDrafts(again);
  EXPECT_TRUE(again.empty()) << "drafts the session holds are not taken up twice";

  boat->Persist("done", GDM_RECURSE_ALL, -1, false, true);
  EXPECT_TRUE(bob->FindItemById(hullUid, true, ""));
  vqStlVector<UDMItemPtr> leftover;
  Concrete(OpenSession("alice"))->ResumeDrafts(leftover);
  EXPECT_TRUE(leftover.empty()) << "persisting must remove the drafts";
}

TEST_P(DraftTest, SavedCheckOutKeepsWhatItDidNotTouchAndIsModifiedOnlyByRealChanges) {
  auto steel = boost::dynamic_pointer_cast<UDMClassification>(m_session->CreateEntity(kGroupCategories, "steel", UDMUID()));
  steel->Persist("", GDM_RECURSE_NONE, -1, false, true);
  UDMItemPtr bolt = m_session->CreateEntity(kClassPart, "bolt", UDMUID());
  bolt->AddClassification(steel);
  const std::filesystem::path drawing = m_dir / "bolt.txt";
  std::ofstream(drawing) << "M8";
  bolt->AddFile(drawing.string(), true, false, "");
  bolt->Persist("first", GDM_RECURSE_NONE, -1, false, true);
  const UDMUID uid = bolt->GetUID();
  auto resume = [&] {
    boost::shared_ptr<IUDMSession> later = OpenSession("alice");
    vqStlVector<UDMItemPtr> resumed;
    Concrete(later)->ResumeDrafts(resumed);
    EXPECT_EQ(resumed.size(), 1u);
    return resumed.empty() ? UDMItemPtr() : resumed[0];
  };

  // Checked out where nothing of it was loaded yet.
  UDMItemPtr fresh = OpenSession("alice")->FindItemById(uid, true, "");
  fresh->CheckOut("look");
  fresh->Save("", GDM_RECURSE_NONE, -1);
  UDMItemPtr looked = resume();
  ASSERT_TRUE(looked);
  EXPECT_FALSE(looked->IsModified()) << "a check-out saved untouched holds no change";

  looked->SetAttribute("material", vqVariant("A2"));
  looked->Save("", GDM_RECURSE_NONE, -1);
  UDMItemPtr changed = resume();
  ASSERT_TRUE(changed);
  EXPECT_TRUE(changed->IsModified());
  changed->Persist("second", GDM_RECURSE_NONE, -1, false, true);
  vqStlVector<boost::shared_ptr<UDMClassification>> categories;
  m_session->FindItemById(UDMUID(uid.GetDmUid() + "1"), true, "")->GetClassifications(categories, false);
  EXPECT_EQ(categories.size(), 1u) << "a saved draft must not drop the classifications it never loaded";

  UDMItemPtr latest = m_session->FindItemById(UDMUID(uid.GetDmUid() + "1"), true, "");
  latest->CheckOut("file");
  std::ofstream(drawing) << "M10";
  latest->UpdateFile(drawing.string());
  latest->Save("", GDM_RECURSE_NONE, -1);
  UDMItemPtr refiled = resume();
  ASSERT_TRUE(refiled);
  EXPECT_TRUE(refiled->IsModified()) << "a changed file is a change";
}

UDM_ON_EVERY_BACKEND(DraftTest);
