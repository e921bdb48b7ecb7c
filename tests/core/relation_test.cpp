#include "session_fixture.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMRelation.h>
#include <vqkudmrt/UDMSession.h>

using namespace vqkudm;

class RelationTest : public RepositoryTest {
 protected:
  UDMItemPtr Stored(const vqString& type, const vqString& name) {
    UDMItemPtr item = m_session->CreateEntity(type, name, UDMUID());
    item->Persist("", GDM_RECURSE_NONE, -1, false, true);
    return item;
  }
};

TEST_P(RelationTest, RelationsAreStoredAtOnceAndListedByDirection) {
  UDMItemPtr requirement = Stored(kClassKPI, "max drag");
  UDMItemPtr simulation = Stored(kClassSimulation, "wind tunnel");
  UDMItemPtr part = Stored(kClassPart, "spoiler");
  auto session = boost::dynamic_pointer_cast<UDMSession>(m_session);
  boost::shared_ptr<UDMRelation> traces = m_session->CreateRelation(simulation, requirement, kRelTraceability, false);
  boost::shared_ptr<UDMRelation> general = m_session->CreateRelation(part, simulation, kRelGeneral, true);
  ASSERT_TRUE(traces);
  ASSERT_TRUE(general);
  EXPECT_EQ(session->FindRelationById(traces->GetUID()), traces);
  EXPECT_EQ(traces->GetLeftEntityId(), simulation->GetUID());
  EXPECT_EQ(traces->GetRightEntityId(), requirement->GetUID());
  EXPECT_EQ(traces->GetLeftEntityType(), kClassSimulation);
  EXPECT_EQ(general->GetRelationType(), RelationBidirectional);

  auto ids = [](const vqStlVector<boost::shared_ptr<UDMRelation>>& relations) {
    std::vector<vqString> out;
    for (const auto& r : relations) out.push_back(r->GetUID().ToString());
    return out;
  };
  vqStlVector<boost::shared_ptr<UDMRelation>> outgoing, incoming, both;
  simulation->GetRelations(outgoing, RelationOutgoing);
  simulation->GetRelations(incoming, RelationIncoming);
  simulation->GetRelations(both, 42);  // values the enumeration does not name mean both
  EXPECT_EQ(ids(outgoing), std::vector<vqString>{traces->GetUID().ToString()});
  EXPECT_EQ(ids(incoming), std::vector<vqString>{general->GetUID().ToString()});
  EXPECT_EQ(both.size(), 2u);

  // Another session reads the same relation with its ends.
  auto bob = boost::dynamic_pointer_cast<UDMSession>(OpenSession("bob"));
  boost::shared_ptr<UDMRelation> seen = bob->FindRelationById(traces->GetUID());
  ASSERT_TRUE(seen);
  EXPECT_EQ(seen->GetRightEntityId(), requirement->GetUID());
  EXPECT_EQ(seen->GetContentDefinitionType(), kRelTraceability);

  session->DeleteRelations({{traces, {{"deleteallversions", vqVariant(false)}, {"cascade", vqVariant(false)},
                                      {"recurseoption", vqVariant(0)}}}});
  EXPECT_FALSE(session->FindRelationById(traces->GetUID()));
  vqStlVector<boost::shared_ptr<UDMRelation>> after;
  simulation->GetRelations(after, RelationBoth);
  EXPECT_EQ(ids(after), std::vector<vqString>{general->GetUID().ToString()});
}

TEST_P(RelationTest, RelationsThatCannotBeMadeComeBackNull) {
  UDMItemPtr stored = Stored(kClassPart, "a");
  UDMItemPtr other = Stored(kClassPart, "b");
  EXPECT_FALSE(m_session->CreateRelation(stored, stored, kRelGeneral, false));
  EXPECT_FALSE(m_session->CreateRelation(stored, other, kClassPart, false)) << "not a relation type";
  EXPECT_FALSE(m_session->CreateRelation(stored, other, "UDMRelation", false)) << "abstract";
  EXPECT_FALSE(m_session->CreateRelation(stored, nullptr, kRelGeneral, false));
  vqStlVector<boost::shared_ptr<UDMRelation>> none;
  stored->GetRelations(none, RelationBoth);
  EXPECT_TRUE(none.empty());
}

UDM_ON_EVERY_BACKEND(RelationTest);
