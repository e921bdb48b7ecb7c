#include "profile_fixture.h"

#include <vqkudm/UDMCoreEntityHandle.h>

using namespace vqkudm;

namespace {

const char* const kEmptyHandleText = "\n\t UID :: \n\t Content Definition :: \n\t Versioned Url :: ";

}  // namespace

TEST_F(ProfileTest, HandlesCompareByTheirTextsNotByTheirObjects) {
  UDMItemHandle part = StoredPart("bracket");
  UDMItemHandle again = m_profile->GetUDMItemHandle(part.GetUID());
  EXPECT_NE(part.GetEntityHandlePtr(), again.GetEntityHandlePtr());
  EXPECT_TRUE(part == again);
  EXPECT_FALSE(part == StoredPart("bolt"));
  EXPECT_EQ(part.GetCdef(), "UDMPart");
  EXPECT_EQ(part.ToString(), "\n\t UID :: " + part.GetUID() + "\n\t Content Definition :: UDMPart\n\t Versioned Url :: ");
}

TEST_F(ProfileTest, AnEmptyHandleAnswersItsTextsAndNamesItselfWhenAskedForMore) {
  UDMItemHandle empty;
  EXPECT_TRUE(empty.IsEmpty());
  EXPECT_EQ(empty.GetUID(), "");
  const UDMException e = RaisedBy([&] { empty.GetRevision(); });
  EXPECT_EQ(std::string(e.what()), std::string("Null Core Entity Ptr for handle ") + kEmptyHandleText);
  EXPECT_EQ(e.GetExceptionCategory(), ExcCatState);
  EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubNull);
}

TEST_F(ProfileTest, GetUIDFollowsTheEntityToItsNewRevisionAndCopiesCarryIt) {
  UDMItemHandle part = StoredPart("bracket");
  const vqString first = part.GetUID();
  CheckIn(part, "thicker");
  const vqString second = part.GetUID();
  EXPECT_NE(first, second);
  EXPECT_EQ(UDMUID(second).GetRevision(), 1);
  EXPECT_EQ(UDMUID(second).GetDmUid(), UDMUID(first).GetDmUid());
  UDMItemHandle copy = part;
  EXPECT_EQ(copy.GetUID(), second);
  EXPECT_EQ(part.GetRevision(), 1);
  EXPECT_TRUE(part.IsLatestRevision());
}

TEST_F(ProfileTest, AHandleOutlivingItsProfileKeepsWhatItCachedAndNeedsNothingElse) {
  // A profile of its own over the same session, so the session and its
  // entities stay while this profile goes.
  boost::shared_ptr<IUDMPlugin> plugin;
  ASSERT_EQ(UDMCoreProfile::CreateInstance(plugin), UDM_SUCCESS);
  auto session = boost::dynamic_pointer_cast<UDMSession>(
      UDMFramework::GetInstance()->FindSession(m_profile->GetSessionId()));
  plugin->Init(session, boost::make_shared<UDMPluginConfig>("Core", "in-process"));
  auto profile = boost::dynamic_pointer_cast<IUDMProfile>(plugin);
  UDMItemHandle part = profile->CreateEntity("UDMPart", "bracket");
  boost::shared_ptr<IUDMHandleFactory> factory;
  UDMCoreProfileHandleFactory::CreateInstance(factory, profile);
  plugin.reset();
  profile.reset();

  EXPECT_EQ(part.GetCdef(), "UDMPart");
  EXPECT_FALSE(part.IsDeleted());
  const UDMException e = RaisedBy([&] { part.GetDisplayName(); });
  EXPECT_EQ(std::string(e.what()), "Null Profile Ptr for handle " + part.ToString());
  EXPECT_EQ(std::string(RaisedBy([&] { factory->CreateItemHandle(part.GetUID()); }).what()),
            "IUDMProfilePtr empty during CreateItemHandle");
}

TEST_F(ProfileTest, RelationHandlesLeadToTheirEnds) {
  UDMItemHandle left = StoredPart("shaft");
  UDMItemHandle right = StoredPart("bearing");
  UDMRelationHandle relation = m_profile->CreateRelation(left, right, "UDMRelGeneral", false);
  EXPECT_EQ(relation.GetCdef(), "UDMRelGeneral");
  EXPECT_TRUE(relation.GetLeftEntity() == left);
  EXPECT_TRUE(relation.GetRightEntity() == right);
  EXPECT_TRUE(m_profile->FindRelationHandleById(relation.GetUID()) != nullptr);
  EXPECT_EQ(RaisedBy([] { UDMRelationHandle().GetRelationType(); }).GetExceptionSubCategory(), ExcSubNull);
}
