// Creating, deleting, obliterating and restoring entities through the profile.

#include "profile_fixture.h"

#include <vqkudm/UDMProfileUpdate.h>

using namespace vqkudm;

namespace {

// Counts the entities the session reports created.
class CreationCounter : public IUDMProfileSlot {
 public:
  void update(UDMProfileUpdate change) override { created += change.GetOpCode() == SIGNAL_CREATED; }
  int created = 0;
};

}  // namespace

TEST_F(ProfileTest, CreateAndAddLeavesTheChildCreatedWhenTheParentDoesNotResolve) {
  auto counter = boost::make_shared<CreationCounter>();
  boost::shared_ptr<IUDMProfileSlot> slot = counter;
  m_profile->SubscribeToEntityUpdates(slot);
  UDMItemHandle noParent;
  const UDMException e = RaisedBy([&] { m_profile->CreateAndAdd("UDMPart", "orphan", noParent, "parts"); });
  EXPECT_EQ(std::string(e.what()), "No concrete handle found for handle " + noParent.ToString());
  EXPECT_EQ(counter->created, 1) << "the child was made before the parent was looked at";
}

TEST_F(ProfileTest, OnlyTheLatestRevisionCanBeDeletedAndDeletedContentsAreAppended) {
  UDMItemHandle part = StoredPart("bracket");
  const vqString first = part.GetUID();
  CheckIn(part, "second");
  UDMItemHandle outdated = m_profile->GetUDMItemHandle(first);
  const UDMException e = RaisedBy([&] { m_profile->DeleteRootEntity(outdated, true, true); });
  EXPECT_EQ(std::string(e.what()), "Cannot delete outdated entity " + outdated.ToString());
  EXPECT_EQ(m_profile->GetDeletedContentsSize(), 0u);

  m_profile->DeleteRootEntity(part, false, true);
  EXPECT_EQ(m_profile->GetDeletedContentsSize(), 1u);
  vqStlVector<UDMItemHandle> deleted;
  m_profile->GetDeletedContents(deleted);
  m_profile->GetDeletedContents(deleted);
  ASSERT_EQ(deleted.size(), 2u);
  EXPECT_TRUE(deleted[0] == deleted[1]);
  EXPECT_TRUE(deleted[0].IsDeleted());

  m_profile->UnDeleteEntity(part);
  EXPECT_EQ(m_profile->GetDeletedContentsSize(), 0u);
}

TEST_F(ProfileTest, CategoriesAreObliteratedAsClassificationsAndOthersByIdentifier) {
  UDMItemHandle category = m_profile->CreateEntity("Categories", "fasteners");
  m_profile->Persist(category, "", false, false, false);
  UDMItemHandle part = m_profile->CreateEntity("UDMPart", "bolt");
  m_profile->AddClassification(part, category);
  m_profile->Persist(part, "", false, false, false);

  m_profile->Obliterate(category, false);
  vqStlVector<UDMItemHandle> roots;
  m_profile->GetRootClassifications(roots, "");
  EXPECT_TRUE(roots.empty());
  EXPECT_EQ(part.GetRevision(), 0) << "a classified item stays";

  const vqString id = part.GetUID();
  m_profile->Obliterate(part, false);
  EXPECT_TRUE(EndsWith(RaisedBy([&] { m_profile->GetUDMItemHandle(id); }).what(), id + " is Null"));
}
