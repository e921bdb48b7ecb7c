#include "session_fixture.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMClassification.h>
#include <vqkudmrt/UDMException.h>

using namespace vqkudm;

class ReferenceTest : public RepositoryTest {};

TEST_P(ReferenceTest, ReferencesAreStoredWithTheItemAndFoundFromBothSides) {
  UDMItemPtr standard = m_session->CreateEntity(kClassPart, "ISO 4762 screw", UDMUID());
  standard->Persist("", GDM_RECURSE_NONE, -1, false, true);
  UDMItemPtr lid = m_session->CreateEntity(kClassPart, "lid", UDMUID());
  UDMItemPtr draft = m_session->CreateEntity(kClassPart, "draft", UDMUID());
  lid->AddReference(standard, "fastener");
  lid->AddReference(draft, "supersedes");
  EXPECT_THROW(lid->Persist("", GDM_RECURSE_NONE, -1, false, true), UDMException)
      << "a reference to an unpersisted item must be refused before anything is written";
  lid->RemoveReference(draft);
  lid->Persist("", GDM_RECURSE_NONE, -1, false, true);

  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  UDMItemPtr seen = bob->FindItemById(lid->GetUID(), true, "");
  vqStlVector<UDMItemPtr> references;
  seen->GetReferences(references, "fastener");
  ASSERT_EQ(references.size(), 1u);
  EXPECT_EQ(references[0]->GetName(), "ISO 4762 screw");
  references.clear();
  seen->GetReferences(references, "no such name");
  EXPECT_TRUE(references.empty());

  vqStlVector<UDMItemPtr> referrers;
  vqStlVector<vqString> names;
  bob->FindItemById(standard->GetUID(), true, "")->GetReferredBy(referrers, names);
  ASSERT_EQ(referrers.size(), 1u);
  EXPECT_EQ(referrers[0]->GetName(), "lid");
  EXPECT_EQ(names, vqStlVector<vqString>{"fastener"});
}

TEST_P(ReferenceTest, ItemsAreClassifiedUnderACategoryTree) {
  auto category = [&](const vqString& name) {
    return boost::dynamic_pointer_cast<UDMClassification>(m_session->CreateEntity(kGroupCategories, name, UDMUID()));
  };
  auto purchased = category("purchased");
  auto fasteners = category("fasteners");
  ASSERT_TRUE(purchased) << "categories must be classification objects";
  purchased->SetVault("/vaults/purchased");
  purchased->SetIsMaster(true);
  purchased->AddChild(fasteners, "category");
  purchased->Persist("", GDM_RECURSE_ALL, -1, false, true);

  UDMItemPtr bolt = m_session->CreateEntity(kClassPart, "bolt", UDMUID());
  bolt->AddClassification(fasteners);
  bolt->Persist("", GDM_RECURSE_NONE, -1, false, true);

  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  vqStlVector<boost::shared_ptr<UDMClassification>> direct, all;
  UDMItemPtr seen = bob->FindItemById(bolt->GetUID(), true, "");
  seen->GetClassifications(direct, false);
  seen->GetClassifications(all, true);
  ASSERT_EQ(direct.size(), 1u);
  EXPECT_EQ(direct[0]->GetName(), "fasteners");
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[1]->GetName(), "purchased");
  EXPECT_EQ(all[1]->GetVault(), "/vaults/purchased");
  EXPECT_TRUE(all[1]->IsMaster());

  vqStlVector<UDMItemPtr> roots;
  bob->GetRootEntities(RootEntityClassifications, roots);
  ASSERT_EQ(roots.size(), 1u);
  vqStlVector<boost::shared_ptr<UDMClassification>> children;
  boost::dynamic_pointer_cast<UDMClassification>(roots[0])->GetChildClassifications(children, 5);
  ASSERT_EQ(children.size(), 1u);
  EXPECT_EQ(children[0]->GetName(), "fasteners");

  EXPECT_EQ(SubCategoryOf([&] { m_session->ObliterateClassification(nullptr, false); }), ExcSubNull);
  m_session->ObliterateClassification(purchased, true);
  vqStlVector<boost::shared_ptr<UDMClassification>> left;
  OpenSession("carol")->FindItemById(bolt->GetUID(), true, "")->GetClassifications(left, true);
  EXPECT_TRUE(left.empty()) << "the tree went with its root, and the classifications with it";
}

UDM_ON_EVERY_BACKEND(ReferenceTest);
