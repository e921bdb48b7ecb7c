// Handles keep working while the session drops and reloads the entities
// they stand for.

#include "profile_fixture.h"

#include <vqkudmrt/UDMItem.h>

using namespace vqkudm;

namespace {

// The session's object for `handle`, held only weakly.
boost::weak_ptr<UDMItem> CoreItem(UDMSession& session, const UDMItemHandle& handle) {
  return session.FindItemById(UDMUID(handle.GetUID()), true, vqString());
}

}  // namespace

TEST_F(ProfileTest, ADroppedEntityIsFoundAgainByIdentifier) {
  UDMItemHandle part = StoredPart("bracket");
  CheckIn(part, "first change");
  UDMSession& session = SessionOf(m_profile);
  boost::weak_ptr<UDMItem> before = CoreItem(session, part);
  session.ReleaseCache();
  ASSERT_TRUE(before.expired()) << "the session still holds the entity; nothing would be re-fetched";

  EXPECT_EQ(part.GetUrl(), "") << "database-mode handles keep no URL";
  EXPECT_EQ(part.GetRevision(), 1);
  EXPECT_EQ(part.GetAttributeValue("description").ToString(), "first change");
  EXPECT_EQ(part.GetDisplayName(), "bracket");
}

TEST_F(ProfileTest, AURLModeHandleIsFoundAgainByItsURLAmongOtherRevisions) {
  boost::shared_ptr<IUDMProfile> profile = OpenProfileAs("alice", 1);
  UDMItemHandle project = profile->CreateEntity("UDMProject", "rover");
  profile->Persist(project, "created", false, false, false);
  const vqString firstRevision = project.GetUID();
  profile->Checkout(project, "edit");
  profile->SetAttribute(project, "description", vqVariant("second"));
  profile->Persist(project, "second", false, false, false);

  UDMItemHandle old = profile->GetUDMItemHandle(firstRevision);
  EXPECT_NE(old.GetUrl().find("rover~v0/"), std::string::npos) << old.GetUrl();
  UDMSession& session = SessionOf(profile);
  boost::weak_ptr<UDMItem> before = CoreItem(session, old);
  session.ReleaseCache();
  ASSERT_TRUE(before.expired());

  EXPECT_EQ(old.GetRevision(), 0);
  EXPECT_FALSE(old.IsLatestRevision());
}

TEST_F(ProfileTest, AHandleWhoseSessionEndedCannotFindItsEntity) {
  UDMItemHandle part = StoredPart("bracket");
  const vqString uid = part.GetUID();
  const vqString text = part.GetEntityHandlePtr()->ToString();
  m_profile->Discard();
  const UDMException e = RaisedBy([&] { part.GetRevision(); });
  EXPECT_EQ(std::string(e.what()), "No entity found for handle " + text);
  EXPECT_EQ(e.GetExceptionCategory(), ExcCatState);
  EXPECT_EQ(part.GetEntityHandlePtr()->GetUID(false), uid) << "the cached identifier needs no lookup";
}
