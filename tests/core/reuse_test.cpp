// Real product structures: standard parts used by many assemblies and
// several times by one, on every backend.

#include "session_fixture.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMClassification.h>
#include <vqkudmrt/UDMExchange.h>
#include <vqkudmrt/UDMRelation.h>
#include <vqkudmrt/UDMSession.h>

#include <algorithm>
#include <map>
#include <optional>
#include <sstream>

using namespace vqkudm;

namespace {

// "1 axle×1 cab×1 | 2 ..." : where-used by level, names sorted within a level.
std::string WhereUsed(const UDMItemPtr& item) {
  vqStlVector<UDMWhereUsed> users;
  item->GetWhereUsed(users, 0);
  std::map<int, std::vector<std::string>> byLevel;
  for (const UDMWhereUsed& u : users) {
    byLevel[u.level].push_back(u.parent->GetName().str() + "x" + std::to_string(u.uses));
  }
  std::ostringstream out;
  for (auto& [level, names] : byLevel) {
    std::sort(names.begin(), names.end());
    out << (out.tellp() ? " | " : "") << level;
    for (const std::string& name : names) out << " " << name;
  }
  return out.str();
}

// "name(findnumber)" per use, in order.
std::string Uses(const UDMItemPtr& parent) {
  vqStlVector<UDMChildUse> uses;
  parent->GetUses(uses, "parts");
  std::string text;
  for (const UDMChildUse& use : uses) {
    auto number = use.attributes.find("findnumber");
    text += (text.empty() ? "" : " ") + use.child->GetName().str() + "(" +
            (number == use.attributes.end() ? std::string("-") : number->second.ToString().str()) + ")";
  }
  return text;
}

vqStlMap<vqString, vqVariant> Find(std::int64_t number) { return {{"findnumber", vqVariant(number)}}; }

}  // namespace

// A truck: the cab uses the door twice and the dashboard once, the chassis
// the axle; the fastener is used twice by the door, once by the dashboard,
// once by the axle, and once directly by the cab.
class ReuseTest : public RepositoryTest {
 protected:
  void SetUp() override {
    RepositoryTest::SetUp();
    if (IsSkipped()) return;
    if (IsPostgres()) m_pg2.emplace();
    truck = Make(kClassProject, "truck");
    cab = Make(kClassPart, "cab");
    chassis = Make(kClassPart, "chassis");
    door = Make(kClassPart, "door");
    dash = Make(kClassPart, "dash");
    axle = Make(kClassPart, "axle");
    fastener = Make(kClassPart, "fastener");
    truck->AddChild(cab, "parts");
    truck->AddChild(chassis, "parts");
    cab->AddUse(door, "parts", {{"refdes", vqVariant("left")}});
    cab->AddUse(door, "parts", {{"refdes", vqVariant("right")}});
    cab->AddChild(dash, "parts");
    cab->AddUse(fastener, "parts", Find(9));
    chassis->AddChild(axle, "parts");
    door->AddUse(fastener, "parts", Find(1));
    door->AddUse(fastener, "parts", {{"findnumber", vqVariant("2")}, {"trfmtx", vqVariant("1 0 0 0 0 1 0 0 0 0 1 0 5 0 0 1")}});
    dash->AddChild(fastener, "parts");
    axle->AddChild(fastener, "parts");
    truck->Persist("first", GDM_RECURSE_ALL, -1, false, true);
  }
  UDMItemPtr Make(const vqString& type, const vqString& name) { return m_session->CreateEntity(type, name, UDMUID()); }
  UDMItemPtr In(const boost::shared_ptr<IUDMSession>& session, const UDMItemPtr& item) {
    return boost::dynamic_pointer_cast<UDMSession>(session)->FindLatest(item->GetUID().GetDmUid());
  }

  std::optional<PgTestDatabase> m_pg2;
  UDMItemPtr truck, cab, chassis, door, dash, axle, fastener;
  const std::string kWhereUsed =
      "1 axlex1 cabx1 dashx1 doorx2 | 2 cabx3 chassisx1 truckx1 | 3 truckx2";
};

TEST_P(ReuseTest, WhereUsedListsEveryUserAtEveryLevelWithItsUses) {
  EXPECT_EQ(WhereUsed(fastener), kWhereUsed);
  EXPECT_EQ(WhereUsed(In(OpenSession("bob"), fastener)), kWhereUsed) << "the same from another session";

  std::map<int, vqStlVector<std::pair<boost::weak_ptr<UDMItem>, vqString>>> byLevel;
  fastener->GetParentsFromDB(byLevel, 1, 0);
  EXPECT_EQ(byLevel.size(), 1u) << "one level asked for";
  EXPECT_EQ(byLevel[1].size(), 4u);

  vqStlVector<UDMItemPtr> parents;
  fastener->GetParents(parents, 0);
  EXPECT_EQ(parents.size(), 6u) << "each ancestor once";
  EXPECT_EQ(fastener->GetRootEntity()->GetName(), "truck");
  EXPECT_EQ(In(OpenSession("carol"), axle)->GetRootEntity()->GetName(), "truck");

  vqStlVector<UDMItemPtr> children;
  In(OpenSession("dave"), door)->GetChildren(children, "parts");
  ASSERT_EQ(children.size(), 2u) << "once per use";
  EXPECT_EQ(children[0], children[1]);
  EXPECT_EQ(Uses(In(OpenSession("erin"), door)), "fastener(1) fastener(2)");
  vqStlVector<UDMChildUse> uses;
  cab->GetUses(uses, "parts");
  ASSERT_EQ(uses.size(), 4u);
  EXPECT_EQ(uses[1].attributes.at("refdes"), vqVariant("right"));
  EXPECT_EQ(uses[1].attributes.at("quantity"), vqVariant(1.0)) << "the group's default";
}

TEST_P(ReuseTest, UsesAreVersionedWithTheirParent) {
  const UDMUID firstDoor = door->GetUID();
  door->CheckOut("");
  vqStlVector<UDMChildUse> uses;
  door->GetUses(uses, "parts");
  ASSERT_EQ(uses.size(), 2u);
  door->SetUseAttribute(uses[1].useId, "quantity", vqVariant(4.0));
  door->RemoveUse(uses[0].useId);
  door->Persist("one placement left", GDM_RECURSE_NONE, -1, false, true);

  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  UDMItemPtr latest = In(bob, door);
  EXPECT_EQ(latest->GetRevision(), 1);
  vqStlVector<UDMChildUse> now;
  latest->GetUses(now, "parts");
  ASSERT_EQ(now.size(), 1u);
  EXPECT_EQ(now[0].useId, uses[1].useId) << "a use keeps its identity across revisions";
  EXPECT_EQ(now[0].attributes.at("quantity"), vqVariant(4.0));
  EXPECT_EQ(now[0].attributes.at("trfmtx"), vqVariant("1 0 0 0 0 1 0 0 0 0 1 0 5 0 0 1"));
  EXPECT_EQ(Uses(bob->FindItemById(firstDoor, true, "")), "fastener(1) fastener(2)") << "the older revision";
  EXPECT_EQ(WhereUsed(In(bob, fastener)), "1 axlex1 cabx1 dashx1 doorx1 | 2 cabx3 chassisx1 truckx1 | 3 truckx2");

  // Removing a child by itself takes its last use; the other stays.
  cab->CheckOut("");
  cab->RemoveChild(door);
  vqStlVector<UDMChildUse> cabUses;
  cab->GetUses(cabUses, "parts");
  ASSERT_EQ(cabUses.size(), 3u);
  EXPECT_EQ(cabUses[0].attributes.at("refdes"), vqVariant("left"));
  cab->Persist("", GDM_RECURSE_NONE, -1, false, true);
  EXPECT_EQ(WhereUsed(In(OpenSession("carol"), door)), "1 cabx1 | 2 truckx1");
}

TEST_P(ReuseTest, ExportAndImportKeepEveryUseAndItsAttributes) {
  door->CheckOut("");
  door->AddUse(fastener, "parts", Find(3));
  door->Persist("three placements", GDM_RECURSE_NONE, -1, false, true);
  auto session = boost::dynamic_pointer_cast<UDMSession>(m_session);
  auto options = session->GetExportCtrl()->CreateExportOptions(ExportDirectory, (m_dir / "out").string(), "");
  session->GetExportCtrl()->Export({truck}, {}, "truck", options);

  auto config = boost::make_shared<UDMSessionConfig>(*m_session->GetSessionConfig());
  config->SetRepositoryName(IsPostgres() ? m_pg2->name() : "target");
  auto target = boost::dynamic_pointer_cast<UDMSession>(UDMFramework::GetInstance()->CreateSession(config));
  m_opened.push_back(target);
  vqStlVector<UDMItemPtr> imported, unchanged;
  target->GetImportCtrl()->Import(imported, unchanged, (m_dir / "out" / "truck").string(), false, true);
  EXPECT_EQ(WhereUsed(In(target, fastener)), "1 axlex1 cabx1 dashx1 doorx3 | 2 cabx3 chassisx1 truckx1 | 3 truckx2");
  EXPECT_EQ(Uses(In(target, door)), "fastener(1) fastener(2) fastener(3)");
  EXPECT_EQ(Uses(target->FindItemById(UDMUID(door->GetUID().GetDmUid() + "0"), true, "")),
            "fastener(1) fastener(2)")
      << "the first revision's uses come along";
  vqStlVector<UDMChildUse> uses;
  In(target, door)->GetUses(uses, "parts");
  ASSERT_EQ(uses.size(), 3u);
  EXPECT_EQ(uses[1].attributes.at("trfmtx"), vqVariant("1 0 0 0 0 1 0 0 0 0 1 0 5 0 0 1"));
  EXPECT_EQ(uses[2].attributes.at("findnumber"), vqVariant(std::int64_t(3)));
}

TEST_P(ReuseTest, SavedWorkKeepsItsUses) {
  door->CheckOut("");
  door->AddUse(fastener, "parts", Find(7));
  door->Save("", GDM_RECURSE_NONE, -1);
  boost::shared_ptr<IUDMSession> later = OpenSession("alice");
  vqStlVector<UDMItemPtr> resumed;
  boost::dynamic_pointer_cast<UDMSession>(later)->ResumeDrafts(resumed);
  ASSERT_EQ(resumed.size(), 1u);
  EXPECT_EQ(Uses(resumed[0]), "fastener(1) fastener(2) fastener(7)");
}

TEST_P(ReuseTest, BadStructureIsRefusedAndChangesNothing) {
  // A cycle through the reused fastener, directly and four levels up.
  fastener->CheckOut("");
  axle->CheckOut("");
  for (const auto& [parent, child] : std::vector<std::pair<UDMItemPtr, UDMItemPtr>>{
           {fastener, door}, {fastener, cab}, {axle, chassis}, {fastener, fastener}}) {
    const auto [sub, message] = FailureOf([&] { parent->AddChild(child, "parts"); });
    EXPECT_EQ(sub, ExcSubGeneral) << message;
    EXPECT_NE(message.find("'" + child->GetName().str() + "'"), std::string::npos) << message;
    EXPECT_NE(message.find("cycle"), std::string::npos) << message;
  }
  EXPECT_FALSE(fastener->IsModified());

  // Use attributes the group does not declare, or of the wrong type.
  EXPECT_EQ(FailureOf([&] { axle->AddUse(dash, "parts", {{"colour", vqVariant("red")}}); }).first, ExcSubNotFound);
  EXPECT_EQ(FailureOf([&] { axle->AddUse(dash, "parts", {{"findnumber", vqVariant("one")}}); }).first,
            ExcSubWrongType);
  vqStlVector<UDMChildUse> uses;
  axle->GetUses(uses, "parts");
  ASSERT_EQ(uses.size(), 1u) << "a refused use is not added";
  EXPECT_EQ(FailureOf([&] { axle->SetUseAttribute(uses[0].useId, "colour", vqVariant("red")); }).first,
            ExcSubNotFound);
  EXPECT_EQ(FailureOf([&] { axle->RemoveUse("no-such-use"); }).first, ExcSubNotFound);

  // An assembly not checked out takes no use.
  const auto [sub, message] = FailureOf([&] { dash->AddChild(axle, "parts"); });
  EXPECT_EQ(sub, ExcSubGeneral);
  EXPECT_NE(message.find("'dash'"), std::string::npos) << message;

  // Categories, children and references of another repository are refused.
  auto config = boost::make_shared<UDMSessionConfig>(*m_session->GetSessionConfig());
  config->SetRepositoryName(IsPostgres() ? m_pg2->name() : "elsewhere");
  boost::shared_ptr<IUDMSession> elsewhere = UDMFramework::GetInstance()->CreateSession(config);
  m_opened.push_back(elsewhere);
  auto foreign = boost::dynamic_pointer_cast<UDMClassification>(elsewhere->CreateEntity(kGroupCategories, "bolts", UDMUID()));
  const auto refused = FailureOf([&] { axle->AddClassification(foreign); });
  EXPECT_EQ(refused.first, ExcSubWrongType);
  EXPECT_NE(refused.second.find("'bolts'"), std::string::npos) << refused.second;
  EXPECT_EQ(FailureOf([&] { axle->AddChild(elsewhere->CreateEntity(kClassPart, "nut", UDMUID()), "parts"); }).first,
            ExcSubWrongType);

  axle->UndoCheckOut(-1, GDM_RECURSE_NONE);
  fastener->UndoCheckOut(-1, GDM_RECURSE_NONE);
  EXPECT_EQ(WhereUsed(In(OpenSession("bob"), fastener)), kWhereUsed);
}

UDM_ON_EVERY_BACKEND(ReuseTest);

// Relations and classifications made before the first check-in.
class PendingLinksTest : public RepositoryTest {};

TEST_P(PendingLinksTest, WaitInTheSessionUntilTheirEndsAreStoredInAnyOrder) {
  UDMItemPtr pump = m_session->CreateEntity(kClassPart, "pump", UDMUID());
  UDMItemPtr flow = m_session->CreateEntity(kClassKPI, "flow", UDMUID());
  auto hydraulics = boost::dynamic_pointer_cast<UDMClassification>(
      m_session->CreateEntity(kGroupCategories, "hydraulics", UDMUID()));
  boost::shared_ptr<UDMRelation> relation = m_session->CreateRelation(pump, flow, kRelTraceability, false);
  ASSERT_TRUE(relation);
  pump->AddClassification(hydraulics);
  vqStlVector<boost::shared_ptr<UDMRelation>> listed;
  flow->GetRelations(listed, RelationIncoming);
  EXPECT_EQ(listed.size(), 1u) << "the session lists what waits";

  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  auto relationsSeenBy = [&](const boost::shared_ptr<IUDMSession>& session) {
    vqStlVector<boost::shared_ptr<UDMRelation>> out;
    UDMItemPtr item = session->FindItemById(UDMUID(pump->GetUID().GetDmUid() + "0"), true, "");
    if (item) item->GetRelations(out, RelationBoth);
    return out.size();
  };
  auto categoriesSeenBy = [&](const boost::shared_ptr<IUDMSession>& session) {
    vqStlVector<boost::shared_ptr<UDMClassification>> out;
    UDMItemPtr item = session->FindItemById(UDMUID(pump->GetUID().GetDmUid() + "0"), true, "");
    if (item) item->GetClassifications(out, false);
    return out.size();
  };

  // The pump first: neither its relation nor its category can be stored yet.
  pump->Persist("", GDM_RECURSE_NONE, -1, false, true);
  EXPECT_EQ(relationsSeenBy(OpenSession("bob")), 0u);
  EXPECT_EQ(categoriesSeenBy(OpenSession("bob")), 0u);
  vqStlVector<boost::shared_ptr<UDMClassification>> mine;
  pump->GetClassifications(mine, false);
  EXPECT_EQ(mine.size(), 1u);

  hydraulics->Persist("", GDM_RECURSE_NONE, -1, false, true);
  EXPECT_EQ(categoriesSeenBy(OpenSession("carol")), 1u);
  EXPECT_EQ(relationsSeenBy(OpenSession("carol")), 0u);

  flow->Persist("", GDM_RECURSE_NONE, -1, false, true);
  EXPECT_EQ(relationsSeenBy(OpenSession("dave")), 1u);
  EXPECT_FALSE(relation->IsNew());
  EXPECT_EQ(categoriesSeenBy(OpenSession("dave")), 1u) << "stored once";
}

TEST_P(PendingLinksTest, UndoingANeverStoredItemDropsWhatWasMadeWithIt) {
  UDMItemPtr rig = m_session->CreateEntity(kClassProject, "rig", UDMUID());
  UDMItemPtr stored = m_session->CreateEntity(kClassPart, "frame", UDMUID());
  stored->Persist("", GDM_RECURSE_NONE, -1, false, true);
  auto category = boost::dynamic_pointer_cast<UDMClassification>(
      m_session->CreateEntity(kGroupCategories, "welded", UDMUID()));
  category->Persist("", GDM_RECURSE_NONE, -1, false, true);

  UDMItemPtr bracket = m_session->CreateEntity(kClassPart, "bracket", UDMUID());
  UDMItemPtr bolt = m_session->CreateEntity(kClassPart, "bolt", UDMUID());
  rig->AddChild(bracket, "parts");
  bracket->AddChild(bolt, "parts");
  bracket->AddClassification(category);
  ASSERT_TRUE(m_session->CreateRelation(stored, bracket, kRelGeneral, false));
  ASSERT_TRUE(m_session->CreateRelation(bolt, stored, kRelGeneral, false));

  bracket->UndoCheckOut(-1, GDM_RECURSE_ALL);
  EXPECT_TRUE(bracket->IsDeleted());
  EXPECT_TRUE(bolt->IsDeleted()) << "its new child, used by nothing else, goes with it";
  vqStlVector<UDMItemPtr> children;
  rig->GetChildren(children, "");
  EXPECT_TRUE(children.empty()) << "the new parent lost its use";
  vqStlVector<boost::shared_ptr<UDMRelation>> relations;
  stored->GetRelations(relations, RelationBoth);
  EXPECT_TRUE(relations.empty());

  rig->Persist("", GDM_RECURSE_ALL, -1, false, true);
  stored->CheckOut("");
  stored->Persist("", GDM_RECURSE_NONE, -1, false, true);
  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  vqStlVector<UDMItemPtr> roots;
  bob->GetRootEntities(RootEntityItems, roots);
  EXPECT_EQ(roots.size(), 2u) << "rig and frame, nothing of the bracket";
  vqStlVector<boost::shared_ptr<UDMRelation>> seen;
  bob->FindItemById(stored->GetUID(), true, "")->GetRelations(seen, RelationBoth);
  EXPECT_TRUE(seen.empty());
}

UDM_ON_EVERY_BACKEND(PendingLinksTest);

// Regression: a check-in of an item whose classifications and references
// this session had not read yet ended them in the new revision.
TEST_P(PendingLinksTest, ARevisionKeepsTheClassificationsAndReferencesItDidNotTouch) {
  auto category = boost::dynamic_pointer_cast<UDMClassification>(
      m_session->CreateEntity(kGroupCategories, "castings", UDMUID()));
  UDMItemPtr mould = m_session->CreateEntity(kClassPart, "mould", UDMUID());
  UDMItemPtr casting = m_session->CreateEntity(kClassPart, "casting", UDMUID());
  casting->AddClassification(category);
  casting->AddReference(mould, "made in");
  for (const UDMItemPtr& item : {UDMItemPtr(category), mould, casting}) item->Persist("", GDM_RECURSE_NONE, -1, false, true);

  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  UDMItemPtr edited = bob->FindItemById(casting->GetUID(), true, "");
  edited->CheckOut("");
  edited->SetAttribute("material", vqVariant("bronze"));
  edited->Persist("", GDM_RECURSE_NONE, -1, false, true);

  UDMItemPtr seen = OpenSession("carol")->FindItemById(edited->GetUID(), true, "");
  vqStlVector<boost::shared_ptr<UDMClassification>> categories;
  seen->GetClassifications(categories, false);
  EXPECT_EQ(categories.size(), 1u);
  vqStlVector<UDMItemPtr> references;
  seen->GetReferences(references, "");
  EXPECT_EQ(references.size(), 1u);
}
