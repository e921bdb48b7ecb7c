#include "session_fixture.h"

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

UDM_ON_EVERY_BACKEND(DraftTest);
