#include "session_fixture.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMSession.h>
#include <vqlmidbdriver/iDbDriver.h>

#include <functional>
#include <map>

using namespace vqkudm;

namespace {

std::vector<std::string> Names(const vqStlVector<UDMItemPtr>& items) {
  std::vector<std::string> names;
  for (const UDMItemPtr& item : items) names.push_back(item->GetName());
  return names;
}

}  // namespace

class StructureTest : public RepositoryTest {
 protected:
  UDMItemPtr Make(const vqString& type, const vqString& name) {
    return m_session->CreateEntity(type, name, UDMUID());
  }
};

TEST_P(StructureTest, GroupsAdmitOnlyTheirDefinitionsAndNoCycles) {
  UDMItemPtr project = Make(kClassProject, "car");
  UDMItemPtr body = Make(kClassPart, "body");
  UDMItemPtr door = Make(kClassPart, "door");
  project->AddChild(body, "parts");
  body->AddChild(door, "parts");

  EXPECT_EQ(SubCategoryOf([&] { body->AddChild(Make(kClassProject, "p"), "parts"); }), ExcSubWrongType);
  EXPECT_EQ(SubCategoryOf([&] { body->AddChild(Make(kClassPart, "x"), "no-such-group"); }), ExcSubNotFound);
  EXPECT_EQ(SubCategoryOf([&] { door->AddChild(body, "parts"); }), ExcSubGeneral) << "cycle";
  EXPECT_EQ(SubCategoryOf([&] { door->AddChild(door, "parts"); }), ExcSubGeneral) << "self";
  UDMItemPtr tools = Make(kGroupCategories, "tools"), spares = Make(kGroupCategories, "spares");
  UDMItemPtr drills = Make(kGroupCategories, "drills");
  tools->AddChild(drills, "category");
  EXPECT_EQ(SubCategoryOf([&] { spares->AddChild(drills, "category"); }), ExcSubConflict)
      << "a category has one parent category";
  EXPECT_EQ(SubCategoryOf([&] { body->AddChild(Make(kClassPart, "door"), "parts"); }), ExcSubConflict)
      << "duplicate name where the group forbids it";

  // A KPI may have several parents.
  UDMItemPtr kpi = Make(kClassKPI, "drag");
  project->AddChild(kpi, "kpi");
  UDMItemPtr simulation = Make(kClassSimulation, "cfd");
  project->AddChild(simulation, "simulations");
  simulation->AddChild(kpi, "kpi");

  project->Persist("", GDM_RECURSE_ALL, -1, false, true);
  // After persisting, the cycle check must see the stored links too.
  boost::shared_ptr<IUDMSession> other = OpenSession("bob");
  UDMItemPtr storedDoor = other->FindItemById(door->GetUID(), true, "");
  ASSERT_TRUE(storedDoor);
  EXPECT_EQ(storedDoor->GetRootEntity()->GetName(), "car");
}

TEST_P(StructureTest, WhereUsedAndChildrenComeBackFromTheRepository) {
  UDMItemPtr project = Make(kClassProject, "plane");
  UDMItemPtr wing = Make(kClassPart, "wing");
  UDMItemPtr flap = Make(kClassPart, "flap");
  UDMItemPtr hinge = Make(kClassPart, "hinge");
  project->AddChild(wing, "parts");
  wing->AddChild(flap, "parts");
  flap->AddChild(hinge, "parts");
  project->Persist("", GDM_RECURSE_ALL, -1, false, true);
  const UDMUID hingeUid = hinge->GetUID(), wingUid = wing->GetUID();
  project.reset();
  wing.reset();
  flap.reset();
  hinge.reset();

  {
    // Regression: the ancestors handed out as weak pointers must still live
    // when nobody else holds them.
    boost::shared_ptr<IUDMSession> fresh = OpenSession("carol");
    std::map<int, vqStlVector<std::pair<boost::weak_ptr<UDMItem>, vqString>>> byLevel;
    fresh->FindItemById(hingeUid, true, "")->GetParentsFromDB(byLevel, 0, 0);
    ASSERT_EQ(byLevel.size(), 3u);
    for (const auto& [level, entries] : byLevel) {
      for (const auto& entry : entries) EXPECT_FALSE(entry.first.expired()) << "level " << level;
    }
  }

  boost::shared_ptr<IUDMSession> other = OpenSession("bob");
  UDMItemPtr storedHinge = other->FindItemById(hingeUid, true, "");
  vqStlVector<UDMItemPtr> parents;
  storedHinge->GetParents(parents, 2);
  EXPECT_EQ(Names(parents), (std::vector<std::string>{"flap", "wing"}));
  parents.clear();
  storedHinge->GetParents(parents, 0);
  EXPECT_EQ(Names(parents), (std::vector<std::string>{"flap", "wing", "plane"}));

  std::map<int, vqStlVector<std::pair<boost::weak_ptr<UDMItem>, vqString>>> byLevel;
  storedHinge->GetParentsFromDB(byLevel, 0, 0);
  ASSERT_EQ(byLevel.size(), 3u);
  EXPECT_EQ(byLevel[3].front().first.lock()->GetName(), "plane");
  EXPECT_EQ(byLevel[3].front().second, "parts");
  EXPECT_TRUE(storedHinge->HasParent());
  EXPECT_FALSE(storedHinge->GetParent()->IsRootEntity());

  vqStlVector<UDMItemPtr> children;
  other->FindItemById(wingUid, true, "")->GetChildren(children, "parts");
  EXPECT_EQ(Names(children), (std::vector<std::string>{"flap"}));

  vqStlVector<UDMItemPtr> roots;
  other->GetRootEntities(RootEntityItems, roots);
  EXPECT_EQ(Names(roots), (std::vector<std::string>{"plane"}));
}

// A check-in writes its rows in chunks; every item of one larger than a
// chunk must be stored with all its attributes, in one transaction.
TEST_P(StructureTest, ACheckInOfThousandsStoresEveryItemWithItsAttributes) {
  constexpr int kParts = 2500;
  UDMItemPtr assembly = Make(kClassPart, "frame");
  for (int i = 0; i < kParts; ++i) {
    UDMItemPtr part = Make(kClassPart, "rivet-" + std::to_string(i));
    part->SetAttribute("mass", vqVariant(double(i)));
    assembly->AddChild(part, "parts");
  }
  assembly->Persist("", GDM_RECURSE_ALL, -1, false, true);
  const UDMUID uid = assembly->GetUID();
  assembly.reset();

  boost::shared_ptr<IUDMSession> other = OpenSession("bob");
  vqStlVector<UDMItemPtr> children;
  other->FindItemById(uid, true, "")->GetChildren(children, "parts");
  ASSERT_EQ(children.size(), std::size_t(kParts));
  for (std::size_t i = 0; i < children.size(); i += 499) {
    EXPECT_EQ(children[i]->GetName(), "rivet-" + std::to_string(i));
    EXPECT_EQ(children[i]->GetAttributeValue("mass"), vqVariant(double(i)));
  }
  vqStlVector<UDMItemPtr> found;
  other->ExecuteQuery(other->CreateQuery("mass >= 0", false, 0), 1, false, found);
  EXPECT_EQ(found.size(), std::size_t(kParts));
}

TEST_P(StructureTest, PersistingWithoutRecursionRefusesUnpersistedChildren) {
  UDMItemPtr project = Make(kClassProject, "ship");
  project->AddChild(Make(kClassPart, "hull"), "parts");
  EXPECT_EQ(SubCategoryOf([&] { project->Persist("", GDM_RECURSE_NONE, -1, false, true); }), ExcSubGeneral);
  EXPECT_TRUE(project->IsNew());
  project->Persist("", GDM_RECURSE_ALL, -1, false, true);
  EXPECT_FALSE(project->IsNew());
  EXPECT_EQ(SubCategoryOf([&] { project->AddChild(Make(kClassPart, "mast"), "parts"); }), ExcSubGeneral)
      << "a stored entity that is not checked out cannot change";
}

TEST_P(StructureTest, DeleteUndeleteAndObliterateLeaveNoTrace) {
  UDMItemPtr project = Make(kClassProject, "bike");
  UDMItemPtr frame = Make(kClassPart, "frame");
  UDMItemPtr fork = Make(kClassPart, "fork");
  project->AddChild(frame, "parts");
  frame->AddChild(fork, "parts");
  frame->SetAttribute("material", vqVariant("aluminium"));
  project->Persist("", GDM_RECURSE_ALL, -1, false, true);

  // A part still in use stays: the refusal names its user.
  for (const auto& [what, action] : std::vector<std::pair<std::string, std::function<void()>>>{
           {"delete", [&] { m_session->DeleteEntity(frame->GetUID()); }},
           {"obliterate", [&] { m_session->ObliterateEntity(frame->GetUID(), true); }}}) {
    const auto [sub, message] = FailureOf(action);
    EXPECT_EQ(sub, ExcSubGeneral) << what;
    EXPECT_NE(message.find("'bike'"), std::string::npos) << message;
  }
  EXPECT_FALSE(frame->IsDeleted());
  project->CheckOut("");
  project->RemoveChild(frame);
  project->Persist("frame goes", GDM_RECURSE_NONE, -1, false, true);

  m_session->DeleteEntity(frame->GetUID());
  EXPECT_TRUE(frame->IsDeleted());
  EXPECT_EQ(m_session->GetDeletedContentsSize(), 1u);
  vqStlVector<UDMQueryResultEntity> deleted;
  m_session->GetDeletedContents(deleted);
  ASSERT_EQ(deleted.size(), 1u);
  EXPECT_EQ(deleted[0].GetUID(), frame->GetUID());
  EXPECT_EQ(deleted[0].GetContentDefinitionType(), kClassPart);
  EXPECT_EQ(deleted[0].GetContent().at("material"), vqVariant("aluminium"));
  m_session->UndeleteEntity(frame->GetUID());
  EXPECT_EQ(m_session->GetDeletedContentsSize(), 0u);
  EXPECT_EQ(SubCategoryOf([&] { m_session->UndeleteEntity(frame->GetUID()); }), ExcSubGeneral);

  const UDMUID frameUid = frame->GetUID(), forkUid = fork->GetUID();
  m_session->ObliterateEntity(frameUid, true);
  EXPECT_FALSE(m_session->FindItemById(frameUid, true, ""));
  EXPECT_FALSE(m_session->FindItemById(forkUid, true, "")) << "its only child goes too";

  // No row anywhere still names the obliterated entities, not even the
  // project's first revision that used the frame.
  auto& db = boost::dynamic_pointer_cast<UDMSession>(m_session)->Database();
  for (const char* table : {"udm_entity", "udm_revision", "udm_attribute", "udm_link"}) {
    vqlm::ResultSet rows;
    const vqString sql = vqString("SELECT * FROM ") + table;
    ASSERT_TRUE(db.ExecSqlQuery(sql, rows));
    for (std::size_t r = 0; r < rows.GetRowCount(); ++r) {
      for (std::size_t c = 0; c < rows.GetColumnCount(); ++c) {
        const vqString text = rows.GetValue(r, c).ToString();
        EXPECT_EQ(text.find(frameUid.GetDmUid()), vqString::npos) << table;
        EXPECT_EQ(text.find(forkUid.GetDmUid()), vqString::npos) << table;
      }
    }
  }
}

UDM_ON_EVERY_BACKEND(StructureTest);

TEST_P(StructureTest, FolderIsTheNearestFolderAbove) {
  UDMItemPtr folder = Make(kClassLMFoldertype, "archive");
  UDMItemPtr project = Make(kClassProject, "glider");
  UDMItemPtr part = Make(kClassPart, "canopy");
  folder->AddChild(project, kGroupFoldertype);
  project->AddChild(part, "parts");
  EXPECT_EQ(part->GetFolder(), folder);
  EXPECT_FALSE(folder->GetFolder());
  folder->Persist("", GDM_RECURSE_ALL, -1, false, true);
  boost::shared_ptr<IUDMSession> other = OpenSession("bob");
  UDMItemPtr stored = other->FindItemById(part->GetUID(), true, "")->GetFolder();
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->GetName(), "archive");
}
