// The schema through the profile: reading definitions and extending them at run time.

#include "profile_fixture.h"

#include <filesystem>

using namespace vqkudm;

namespace {

UDMCdefMetaData Attribute(const std::string& name, const std::string& type) {
  return UDMCdefMetaData(name, name, "", "", type, "General", true, false, true, {});
}

}  // namespace

TEST_F(ProfileTest, MetadataListsWhatUsersSetAndAppends) {
  vqStlVector<UDMCdefMetaData> metadata(1);
  m_profile->GetMetaData("UDMPart", metadata);
  ASSERT_GT(metadata.size(), 1u);
  EXPECT_TRUE(metadata[0].Name().empty()) << "earlier entries stay in front";
  for (std::size_t i = 1; i < metadata.size(); ++i) {
    const UDMAttributeDefinitionHandle definition =
        m_profile->GetProfileUtils().GetAttributeDefinitionHandle("UDMPart", metadata[i].Name());
    EXPECT_FALSE(definition.IsSystem()) << metadata[i].Name();
  }
}

TEST_F(ProfileTest, MetadataTypeNamesAreCheckedAndCompositesNeedKnownMembers) {
  const std::string output = (m_dir.path() / "part.xml").string();
  vqStlVector<UDMCdefMetaData> metadata{Attribute("torque", "integer")};
  UDMException e = RaisedBy([&] { m_profile->ModifyContentDefinition(output, "UDMPart", metadata, nullptr); });
  EXPECT_EQ(std::string(e.what()), "integer Unsupported on UDMCoreProfile");
  EXPECT_EQ(e.GetExceptionCategory(), ExcCatUnsupported);
  EXPECT_FALSE(std::filesystem::exists(output));

  metadata = {Attribute("torque", "INT"), Attribute("suppliers", "StringList")};
  UDMCdefCompositeMetaData unknown("label", "Label", "String", {"torque", "nosuch"}, "-");
  e = RaisedBy([&] { m_profile->ModifyContentDefinition(output, "UDMPart", metadata, &unknown); });
  EXPECT_EQ(std::string(e.what()), "nosuch Unsupported Attribute name in CompositeMetadata");

  UDMCdefCompositeMetaData label("label", "Label", "String", {"torque", "description"}, "-");
  EXPECT_TRUE(m_profile->ModifyContentDefinition(output, "UDMPart", metadata, &label));
  EXPECT_TRUE(std::filesystem::exists(output));
}

TEST_F(ProfileTest, ModifyUpdateAddsOnlyNewAttributesAndTheSessionUsesThemAtOnce) {
  ::setenv("TMPDIR", m_dir.path().c_str(), 1);
  vqStlVector<UDMCdefMetaData> existing{Attribute("description", "string")};
  EXPECT_TRUE(m_profile->ModifyUpdateContentDefinition("UDMPart", existing, nullptr));
  EXPECT_TRUE(existing.empty()) << "attributes the class has are taken out of the caller's list";

  vqStlVector<UDMCdefMetaData> metadata{Attribute("description", "string"), Attribute("torque", "int")};
  EXPECT_TRUE(m_profile->ModifyUpdateContentDefinition("UDMPart", metadata, nullptr));
  ::unsetenv("TMPDIR");
  ASSERT_EQ(metadata.size(), 1u);
  UDMItemHandle part = m_profile->CreateEntity("UDMPart", "nut");
  EXPECT_TRUE(m_profile->SetAttribute(part, "torque", vqVariant(12)));
  EXPECT_EQ(m_profile->GetAttributeValue(part, "torque").ToString(), "12");
}

TEST_F(ProfileTest, ProfileUtilitiesAnswerSchemaQuestions) {
  UDMProfileUtils utils = m_profile->GetProfileUtils();
  vqStlVector<vqString> names;
  utils.GetGroupNames("Categories", names, "anything");
  utils.GetGroupNames("UDMCTEntityCollector", names, "");
  EXPECT_EQ(names, (vqStlVector<vqString>{"category", "content", "folder", "content"}));
  // The groups reported for categories are the ones the definition has.
  names.clear();
  utils.GetAllowedChildCdefNames("Categories", names, "category");
  utils.GetAllowedChildCdefNames("Categories", names, "content");
  EXPECT_EQ(names, (vqStlVector<vqString>{"Categories", "UDMItem"}));
  names.clear();
  utils.GetGroupNames("UDMProject", names, "association");
  EXPECT_EQ(names, (vqStlVector<vqString>{"parts", "documents", "kpi", "es"}));
  names.clear();
  utils.GetGroupNames("UDMProject", names, "Owner");
  EXPECT_TRUE(names.empty());

  vqString group = "untouched", kind = "untouched";
  utils.GetGroupNameAndType(group, kind, "UDMProject", "UDMPart");
  EXPECT_EQ(group, "parts");
  EXPECT_EQ(kind, "association");

  EXPECT_FALSE(utils.GetContentDefinition("NoSuchDefinition"));
  EXPECT_EQ(RaisedBy([&] { utils.GetContentDefinition(""); }).GetExceptionCategory(), ExcCatInvalidArgument);
  EXPECT_EQ(std::string(RaisedBy([&] { utils.GetAllowedChildCdefNames("UDMProject", names, "nope"); }).what()),
            "Unable to get ChildGroupPtr for CDEF: UDMProject\n\t GroupName :: nope");
  const vqStlSet<vqString> classes = utils.GetRegisteredContentDefinitionClassNames();
  EXPECT_EQ(classes, (vqStlSet<vqString>{"UDMClassification", "UDMItem", "UDMRelation"}));
  EXPECT_EQ(utils.GetContentDefinitionHandle("UDMPart").GetType(), "UDMPart");
  EXPECT_EQ(RaisedBy([] { UDMContentDefinitionHandle().GetType(); }).GetExceptionCategory(), ExcCatState)
      << "an empty definition handle is refused, not followed";

  UDMProfileMgr::DiscardProfile(m_profile);
  m_opened.clear();
  EXPECT_EQ(std::string(RaisedBy([&] { utils.GetRegisteredContentDefinitionNames(); }).what()), "Null profile ptr");
}

TEST_F(ProfileTest, AClassificationReaderReadsCategoriesOnly) {
  UDMItemHandle category = m_profile->CreateEntity("Categories", "fasteners");
  m_profile->SetVault(category, "north");
  ClassificationReader reader(category);
  EXPECT_EQ(reader.GetName(), "ClassificationReader");
  EXPECT_TRUE(reader.IsSupported());
  EXPECT_EQ(reader.GetVault(), "north");
  EXPECT_EQ(ClassificationReader().GetName(), "ClassificationReader");

  ClassificationReader wrong(m_profile->CreateEntity("UDMPart", "bolt"));
  EXPECT_EQ(std::string(RaisedBy([&] { wrong.IsMaster(); }).what()), "Classification Ptr NULL in reader");
}
