// The per-entity operations through the profile: files, previews,
// structure, classifications, relations and what the profile refuses.

#include "profile_fixture.h"

using namespace vqkudm;

namespace {

const std::string kUpdateFileSignature =
    "void __cdecl vqkudm::UDMCoreProfile::UpdateFile(class vqkudm::UDMItemHandle &,const class vqString &)";

}  // namespace

TEST_F(ProfileTest, FilesAndPreviewsGoInWithACheckIn) {
  UDMItemHandle part = StoredPart("bracket");
  m_profile->Checkout(part, "drawing");
  EXPECT_TRUE(part.IsEditable());
  m_profile->AddFile(part, WriteFile("bracket.step", "ISO-10303-21;"));
  m_profile->AddFile(part).setFilePath(WriteFile("notes.txt", "first")).go();
  m_profile->AddPreviewImage(part, WriteFile("front.png", "png"), "front", vqlm::ImagePng, "front view", true, false);
  m_profile->Persist(part, "with drawing", false, false, false);
  EXPECT_FALSE(part.IsEditable());
  EXPECT_EQ(part.GetFileNameList(), (vqStlVector<vqString>{"bracket.step", "notes.txt"}));

  vqStlVector<vqString> fetched{"kept"};
  m_profile->GetAllFilesIntoFolder(part, (m_dir.path() / "out").string(), true, fetched);
  ASSERT_EQ(fetched.size(), 3u) << "output is appended to";
  EXPECT_EQ(fetched.front(), "kept");
}

TEST_F(ProfileTest, FileMessagesNameTheEntityAndKeepTheirWording) {
  UDMItemHandle part = m_profile->CreateEntity("UDMPart", "bracket");
  UDMException e = RaisedBy([&] { m_profile->UpdateFile(part, ""); });
  EXPECT_EQ(std::string(e.what()), kUpdateFileSignature + ": newFilePath is is Empty. is Empty.");
  EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubEmpty);

  e = RaisedBy([&] { m_profile->AddFile(part, ""); });
  EXPECT_NE(std::string(e.what()).find(": File path is empty while adding file to entity "), std::string::npos);
  EXPECT_TRUE(EndsWith(e.what(), " is Empty.")) << e.what();

  UDMItemHandle empty;
  e = RaisedBy([&] { m_profile->UpdateFile(empty, ""); });
  EXPECT_EQ(std::string(e.what()).rfind("No concrete handle found for handle ", 0), 0u)
      << "the handle is resolved before the path is checked";
}

TEST_F(ProfileTest, StructureIsBuiltAndReadThroughTheProfile) {
  UDMItemHandle project = m_profile->CreateEntity("UDMProject", "rover");
  UDMItemHandle wheel = m_profile->CreateAndAdd("UDMPart", "wheel", project, "parts");
  m_profile->AddChild(project, m_profile->CreateEntity("UDMPart", "axle"), "parts");

  vqStlVector<UDMItemHandle> children{project};
  m_profile->GetChildren(children, project, "parts", "ignored");
  ASSERT_EQ(children.size(), 3u);
  EXPECT_TRUE(children[1] == wheel);
  EXPECT_EQ(m_profile->GetNChildren(project, "parts", "anything"), 2u);
  EXPECT_TRUE(m_profile->GetRootEntityHandle(wheel) == project);

  m_profile->RemoveChildFromParent(project, wheel);
  EXPECT_EQ(m_profile->GetNChildren(project, "parts", ""), 1u);
  m_profile->Persist(project, "structure", false, true, false);
  EXPECT_EQ(project.GetRevision(), 0);
  EXPECT_FALSE(project.IsEditable());
}

TEST_F(ProfileTest, ClassificationsAndTheirSettingsOnlyOnCategories) {
  UDMItemHandle category = m_profile->CreateEntity("Categories", "fasteners");
  m_profile->SetVault(category, "main");
  m_profile->SetIsMaster(category, true);
  m_profile->Persist(category, "", false, false, false);
  UDMItemHandle part = m_profile->CreateEntity("UDMPart", "bolt");
  m_profile->AddClassification(part, category);
  m_profile->Persist(part, "", false, false, false);

  vqStlVector<UDMItemHandle> roots;
  m_profile->GetRootClassifications(roots, "ignored");
  ASSERT_EQ(roots.size(), 1u);
  EXPECT_TRUE(roots[0] == category);
  EXPECT_EQ(m_profile->GetAttributeValue(category, "vault").ToString(), "main");

  m_profile->Checkout(part, "");
  const UDMException e = RaisedBy([&] { m_profile->SetVault(part, "other"); });
  EXPECT_EQ(std::string(e.what()).rfind("Operation supported only on classifications. Current entity is ", 0), 0u);
  EXPECT_EQ(e.GetExceptionCategory(), ExcCatInvalidArgument);
}

TEST_F(ProfileTest, RelationsAreMadeCheckedAndRemovedOneAtATime) {
  UDMItemHandle shaft = StoredPart("shaft");
  UDMItemHandle bearing = StoredPart("bearing");
  UDMItemHandle seal = StoredPart("seal");
  EXPECT_FALSE(m_profile->RemoveRelation(shaft, bearing));

  m_profile->CreateRelation(shaft, bearing, "UDMRelGeneral", false);
  m_profile->CreateRelation(shaft, bearing, "UDMRelTraceability", false);
  m_profile->CreateRelation(shaft, seal, "UDMRelGeneral", false);
  EXPECT_TRUE(m_profile->RemoveRelation(shaft, bearing));
  vqStlVector<UDMRelationHandle> relations;
  m_profile->GetRelations(relations, shaft, RelationOutgoing);
  EXPECT_EQ(relations.size(), 2u) << "one relation per call";

  UDMItemHandle empty;
  UDMException e = RaisedBy([&] { m_profile->CreateRelation(shaft, empty, "", false); });
  EXPECT_EQ(std::string(e.what()).rfind("No concrete handle found for handle ", 0), 0u)
      << "the ends are checked before the name";
  e = RaisedBy([&] { m_profile->CreateRelation(shaft, seal, "", false); });
  EXPECT_TRUE(EndsWith(e.what(), ": Relation name is empty. is Empty.")) << e.what();
  e = RaisedBy([&] { m_profile->CreateRelation(shaft, seal, "UDMPart", false); });
  EXPECT_EQ(std::string(e.what()).rfind("Could not create relation between source: " + shaft.ToString(), 0), 0u);
  EXPECT_EQ(e.GetExceptionCategory(), ExcCatState);
}

TEST_F(ProfileTest, WhatTheProfileDoesNotOfferIsRefusedBeforeAnythingIsRead) {
  UDMItemHandle empty;
  vqStlVector<vqString> paths;
  vqString text;
  for (const std::function<void()>& refused : std::vector<std::function<void()>>{
           [&] { m_profile->Synchronize(empty); },
           [&] { m_profile->RetrieveFilesIntoWorkspace(empty, true, true, paths); },
           [&] { m_profile->AddReference(empty, empty, ""); },
           [&] { m_profile->CreateFolder(empty, ""); },
           [&] { m_profile->FindFolderFullPath(text, empty); },
           [&] { m_profile->AddFolderAndFiles({}, {}, "", {}); }}) {
    const UDMException e = RaisedBy(refused);
    EXPECT_EQ(std::string(e.what()), "Unsupported on UDMCoreProfile");
    EXPECT_EQ(e.GetExceptionCategory(), ExcCatUnsupported);
    EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubGeneral);
  }
}

TEST_F(ProfileTest, TwoUsersProfilesShareTheRepositoryAndItsCheckOuts) {
  boost::shared_ptr<IUDMProfile> alice = OpenProfileAs("alice");
  boost::shared_ptr<IUDMProfile> bob = OpenProfileAs("bob");
  UDMItemHandle part = alice->CreateEntity("UDMPart", "bracket");
  alice->Persist(part, "", false, false, false);
  alice->Checkout(part, "alice edits");

  UDMItemHandle bobsPart = bob->GetUDMItemHandle(part.GetUID());
  const UDMException e = RaisedBy([&] { bob->Checkout(bobsPart, "bob too"); });
  EXPECT_NE(std::string(e.what()).find("alice"), std::string::npos) << e.what();
  EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubConflict);

  alice->SetAttribute(part, "description", vqVariant("by alice"));
  alice->Persist(part, "done", false, false, false);
  UDMItemHandle latest = bob->GetUDMItemHandle(part.GetUID());
  EXPECT_EQ(latest.GetAttributeValue("description").ToString(), "by alice");
  EXPECT_FALSE(bobsPart.IsLatestRevision());
}
