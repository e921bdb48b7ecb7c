// A product structure with reused parts, built, revised and carried to
// another repository through the profile alone.

#include "profile_fixture.h"

#include <vqkudm/UDMCoreEntityHandle.h>

#include <algorithm>
#include <map>

using namespace vqkudm;

namespace {

boost::shared_ptr<UDMCoreEntityHandle> Core(const UDMItemHandle& handle) {
  return boost::dynamic_pointer_cast<UDMCoreEntityHandle>(handle.GetEntityHandlePtr());
}

std::vector<std::string> Names(const vqStlVector<UDMItemHandle>& handles) {
  std::vector<std::string> names;
  for (const UDMItemHandle& h : handles) names.push_back(h.GetDisplayName().str());
  return names;
}

}  // namespace

class ProfileStructureTest : public ProfileTest {
 protected:
  // A frame using a bracket twice, and the bracket the screw three times;
  // the housing uses the screw too.
  void SetUp() override {
    ProfileTest::SetUp();
    machine = m_profile->CreateEntity("UDMProject", "machine");
    frame = m_profile->CreateAndAdd("UDMPart", "frame", machine, "parts");
    housing = m_profile->CreateAndAdd("UDMPart", "housing", machine, "parts");
    bracket = m_profile->CreateAndAdd("UDMPart", "bracket", frame, "parts");
    m_profile->AddChild(frame, bracket, "parts");
    screw = m_profile->CreateAndAdd("UDMPart", "screw", bracket, "parts");
    for (std::int64_t n : {2, 3}) Core(bracket)->AddUse(Core(screw), "parts", {{"findnumber", vqVariant(n)}});
    m_profile->AddChild(housing, screw, "parts");
    m_profile->Persist(machine, "first", false, true, false);
  }

  UDMItemHandle machine, frame, housing, bracket, screw;
};

TEST_F(ProfileStructureTest, ChildrenAreListedCountedAndRemovedOnePerUse) {
  vqStlVector<UDMItemHandle> children;
  m_profile->GetChildren(children, bracket, "parts", "");
  EXPECT_EQ(Names(children), (std::vector<std::string>{"screw", "screw", "screw"}));
  EXPECT_EQ(m_profile->GetNChildren(bracket, "parts", ""), 3u);
  EXPECT_EQ(m_profile->GetNChildren(frame, "parts", ""), 2u);

  m_profile->Checkout(bracket, "");
  m_profile->RemoveChildFromParent(bracket, screw);
  EXPECT_EQ(m_profile->GetNChildren(bracket, "parts", ""), 2u) << "one use, not every use";
  m_profile->Persist(bracket, "a screw less", false, false, false);

  vqStlVector<UDMUseInfo> uses;
  Core(m_profile->GetUDMItemHandle(bracket.GetUID()))->GetUses(uses, "parts");
  ASSERT_EQ(uses.size(), 2u);
  EXPECT_EQ(uses[0].attributes.count("findnumber"), 0u);
  EXPECT_EQ(uses[1].attributes.at("findnumber"), vqVariant(std::int64_t(2))) << "the last use went";
}

TEST_F(ProfileStructureTest, WhereUsedAndRootReachEveryUser) {
  vqStlVector<UDMWhereUsedInfo> users;
  Core(screw)->GetWhereUsed(users, 0);
  std::map<int, std::vector<std::string>> byLevel;
  for (const UDMWhereUsedInfo& user : users) {
    byLevel[user.level].push_back(user.parent->GetAttributeValue("smd_name").ToString().str() + "x" +
                                  std::to_string(user.uses));
  }
  for (auto& [level, names] : byLevel) std::sort(names.begin(), names.end());
  EXPECT_EQ(byLevel[1], (std::vector<std::string>{"bracketx3", "housingx1"}));
  EXPECT_EQ(byLevel[2], (std::vector<std::string>{"framex2", "machinex1"}));
  EXPECT_EQ(byLevel[3], (std::vector<std::string>{"machinex1"}));

  vqStlVector<boost::shared_ptr<IUDMEntityHandle>> parents;
  Core(screw)->GetParents(parents, 0, true);
  EXPECT_EQ(parents.size(), 5u) << "every user at every level it is reached at";
  EXPECT_EQ(m_profile->GetRootEntityHandle(screw).GetDisplayName(), "machine");

  const UDMException refused = RaisedBy([&] { m_profile->Obliterate(screw, false); });
  EXPECT_NE(std::string(refused.what()).find("'bracket'"), std::string::npos) << refused.what();
  EXPECT_NE(std::string(refused.what()).find("'housing'"), std::string::npos) << refused.what();
  EXPECT_FALSE(screw.IsDeleted());
}

TEST_F(ProfileStructureTest, TheWholeStructureTravelsInAPackage) {
  const auto package = m_dir.path() / "machine.zip";
  m_profile->Export(package.string(), {"UDMProject"}, ExportZip);
  boost::shared_ptr<IUDMProfile> copy = OpenProfile("copy");
  copy->Import(package.string());

  UDMItemHandle copied = copy->GetUDMItemHandle(bracket.GetUID());
  EXPECT_EQ(copy->GetNChildren(copied, "parts", ""), 3u);
  EXPECT_EQ(copy->GetNChildren(copy->GetUDMItemHandle(frame.GetUID()), "parts", ""), 2u);
  vqStlVector<UDMUseInfo> uses;
  Core(copied)->GetUses(uses, "parts");
  ASSERT_EQ(uses.size(), 3u);
  EXPECT_EQ(uses[2].attributes.at("findnumber"), vqVariant(std::int64_t(3)));
}

TEST_F(ProfileTest, RelationsAndClassificationsOfNewItemsWaitForTheirCheckIn) {
  UDMItemHandle pump = m_profile->CreateEntity("UDMPart", "pump");
  UDMItemHandle valve = m_profile->CreateEntity("UDMPart", "valve");
  UDMItemHandle category = m_profile->CreateEntity("Categories", "hydraulics");
  m_profile->CreateRelation(pump, valve, "UDMRelGeneral", false);
  m_profile->AddClassification(pump, category);
  vqStlVector<UDMRelationHandle> relations;
  m_profile->GetRelations(relations, pump, RelationBoth);
  EXPECT_EQ(relations.size(), 1u);

  m_profile->UndoCheckout(valve);
  relations.clear();
  m_profile->GetRelations(relations, pump, RelationBoth);
  EXPECT_TRUE(relations.empty()) << "undoing the never-stored valve drops its relation";

  m_profile->Persist(pump, "", false, false, false);
  m_profile->Persist(category, "", false, false, false);
  boost::shared_ptr<IUDMProfile> other = OpenProfileAs("bob");
  UDMItemHandle seen = other->GetUDMItemHandle(pump.GetUID());
  vqStlVector<boost::shared_ptr<IUDMEntityHandle>> categories;
  Core(seen)->GetClassifications(categories, false);
  ASSERT_EQ(categories.size(), 1u);
  EXPECT_EQ(categories[0]->GetAttributeValue("smd_name"), vqVariant("hydraulics"));
}
