#include "profile_fixture.h"

using namespace vqkudm;

TEST_F(ProfileTest, TheAttributeBuilderWritesItsTextValueOnly) {
  auto profile = boost::dynamic_pointer_cast<UDMCoreProfile>(m_profile);
  UDMItemHandle part = m_profile->CreateEntity("UDMPart", "bolt");
  SetAttributeBuilder::Create(profile)->setEntity(part)->setAttributeName("description")->setAttributeValue(
      vqString("zinc plated"))->go();
  EXPECT_EQ(m_profile->GetAttributeValue(part, "description").ToString(), "zinc plated");

  SetAttributeBuilder::Create(profile)->setEntity(part)->setAttributeName("description")->setAttributeValue(
      vqVariant(5))->go();
  EXPECT_EQ(m_profile->GetAttributeValue(part, "description").ToString(), "")
      << "a value given only as a variant is not written";

  SetAttributeBuilder unowned(*SetAttributeBuilder::Create(profile));
  EXPECT_THROW(unowned.setAttributeName("description"), boost::bad_weak_ptr);
}

TEST_F(ProfileTest, TheFileBuilderAddsAtTheTopUpdatesWhatExistsAndRecordsExternalFiles) {
  UDMItemHandle part = m_profile->CreateEntity("UDMPart", "bolt");
  AddFileBuilder builder = m_profile->AddFile(part);
  builder.setFilePath(WriteFile("bolt.step", "first")).setAbsWsFolderPath("/somewhere/else").go();
  EXPECT_EQ(builder.GetAbsWsFolderPath(), "/");
  builder.setFilePath(WriteFile("bolt.step", "second, longer")).go();
  m_profile->AddFile(part)
      .setFilePath("/mnt/archive/bolt-drawing.pdf")
      .setIsExternal(true)
      .setExtFileSize(1234)
      .setExtFileLastModTime("2026-01-01T00:00:00.000Z")
      .go();

  vqStlVector<UDMGenericDocument> files;
  m_profile->GetFileInfoList(part, files, true);
  ASSERT_EQ(files.size(), 2u);
  EXPECT_EQ(files[0].GetName(), "bolt.step");
  EXPECT_EQ(files[0].GetSize(), 14) << "the second add replaced the content";
  EXPECT_EQ(files[1].GetName(), "bolt-drawing.pdf");
  EXPECT_TRUE(files[1].IsExternal());

  EXPECT_EQ(std::string(RaisedBy([] { AddFileBuilder().go(); }).what()), "Null profile ptr");
}
