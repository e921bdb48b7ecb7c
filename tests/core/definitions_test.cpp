#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMAttributeDefinition.h>
#include <vqkudmrt/UDMChildGroup.h>
#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMContentDefinition.h>

#include <boost/make_shared.hpp>
#include <vqkudmrt/UDMException.h>

#include <gtest/gtest.h>

#include "temp_dir.h"

#include <filesystem>
#include <fstream>

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

class DefinitionFiles : public ::testing::Test {
 protected:
  // A configuration naming one definition file with the given body.
  vqString Write(const std::string& definitions) {
    std::ofstream(m_dir / "defs.xml") << definitions;
    std::ofstream(m_dir / "udmconfig.xml")
        << "<udmconfig><definitions><file path=\"defs.xml\"/></definitions></udmconfig>";
    return (m_dir / "udmconfig.xml").string();
  }
  std::string LoadError(const std::string& definitions) {
    try {
      UDMConfiguration::Load(Write(definitions));
    } catch (const UDMException& e) {
      return e.what();
    }
    return "";
  }

  TestDirectory m_tmp{"udm-defs"};
  const fs::path& m_dir = m_tmp.path();
};

}  // namespace

TEST(DefaultDefinitions, CoverTheVocabularyClassesWithTheirRuntimeClasses) {
  auto configuration = UDMConfiguration::Load("");
  for (const vqString& type : {kClassPart, kClassProject, kClassDataSourceFile, kClassRepresentation,
                               kClassSimulation, kClassKPI, kClassEntitySet, kGroupCategories, kRelGeneral}) {
    EXPECT_TRUE(configuration->GetContentDefinition(type)) << type;
  }
  EXPECT_EQ(configuration->GetContentDefinition(kGroupCategories)->GetUDMClassName(), kClassClassification);
  EXPECT_EQ(configuration->GetContentDefinition(kRelTraceability)->GetUDMClassName(), kClassRelation);
  EXPECT_EQ(configuration->GetContentDefinition(kClassPart)->GetUDMClassName(), kClassItem);
  EXPECT_TRUE(configuration->GetContentDefinition(kClassPart)->CanBranch());
  EXPECT_FALSE(configuration->GetContentDefinition(kClassPart)->IsAbstract());
  EXPECT_EQ(configuration->GetMinFileNr(kClassDataSourceFile), 1);
  EXPECT_EQ(configuration->GetMaxFileNr(kClassPart), -1);
  EXPECT_EQ(configuration->GetFirstAllowedGroupForChildCdefType(
                configuration->GetContentDefinition(kClassPart), kClassDataSourceFile),
            kGroupFiles);
  EXPECT_EQ(configuration->GetContentDefinition(kClassPart), configuration->GetContentDefinition(kClassPart));

  vqStlVector<vqString> representations;
  configuration->GetContentDefNamesForClass(representations, kClassRepresentation, true);
  EXPECT_EQ(representations, (vqStlVector<vqString>{kClassRepresentation, kClassRepresentationPart,
                                                    kClassRepresentationConn}));
}

TEST(DefaultDefinitions, AttributesComeSystemFirstThenBaseThenOwn) {
  auto part = UDMConfiguration::Load("")->GetContentDefinition(kClassPart);
  vqStlVector<vqString> names;
  part->GetAttributeNames(names);
  ASSERT_GT(names.size(), 3u);
  EXPECT_EQ(names.front(), kSmdName);
  const auto description = std::find(names.begin(), names.end(), "description");
  const auto material = std::find(names.begin(), names.end(), "material");
  ASSERT_NE(description, names.end());
  ASSERT_NE(material, names.end());
  EXPECT_LT(description, material) << "inherited attributes come before the definition's own";
  EXPECT_TRUE(part->GetAttributeDefinition(kSmdCreateduser)->IsSystem());
}

TEST(AttributeValues, AreConvertedExactlyOrRefusedWithTheReason) {
  auto part = UDMConfiguration::Load("")->GetContentDefinition(kClassPart);
  const auto p = [] { return vqString("p"); };
  auto mass = part->GetAttributeDefinition("mass");
  EXPECT_EQ(mass->CheckValue(vqVariant("2.5"), p), vqVariant(2.5));
  EXPECT_EQ(mass->CheckValue(vqVariant(3), p), vqVariant(3.0));
  EXPECT_THROW(mass->CheckValue(vqVariant("heavy"), p), UDMException);
  auto findNumber = part->GetUDMChildGroup("parts")->GetUseAttributeDefinition("findnumber");
  ASSERT_TRUE(findNumber) << "a use attribute of the parts group";
  EXPECT_EQ(findNumber->CheckValue(vqVariant("12"), p), vqVariant(std::int64_t(12)));
  EXPECT_THROW(findNumber->CheckValue(vqVariant(1.5), p), UDMException);
  auto number = boost::make_shared<UDMAttributeDefinition>([] {
    UDMAttributeDefinition::Fields fields;
    fields.name = "partnumber";
    fields.type = UDMAttributeDefinition::TypeString;
    fields.regex = "[A-Z]{2}-[0-9]+";
    return fields;
  }());
  EXPECT_EQ(number->CheckValue(vqVariant("AB-12"), p), vqVariant("AB-12"));
  try {
    number->CheckValue(vqVariant("ab12"), [] { return vqString("Part 'x'"); });
    FAIL();
  } catch (const UDMException& e) {
    const std::string message = e.what();
    EXPECT_NE(message.find("partnumber"), std::string::npos) << message;
    EXPECT_NE(message.find("Part 'x'"), std::string::npos) << message;
    EXPECT_NE(message.find("pattern"), std::string::npos) << message;
  }
  auto makeOrBuy = part->GetAttributeDefinition("makeorbuy");
  EXPECT_THROW(makeOrBuy->CheckValue(vqVariant("steal"), p), UDMException);
  EXPECT_THROW(part->GetAttributeDefinition("color")->CheckValue(vqVariant("red"), p), UDMException);
  EXPECT_TRUE(part->GetAttributeDefinition("color")->CheckValue(vqVariant(), p).IsEmpty());
}

TEST_F(DefinitionFiles, TypeNamesAreReadIgnoringCaseButUnknownOnesAreRefusedWithTheLine) {
  EXPECT_EQ(LoadError("<contentdefinition type=\"A\">\n  <attribute name=\"n\" type=\"INT\"/>\n</contentdefinition>"), "");
  const std::string error =
      LoadError("<contentdefinition type=\"A\">\n  <attribute name=\"n\" type=\"integer\"/>\n</contentdefinition>");
  EXPECT_NE(error.find("defs.xml:2"), std::string::npos) << error;
  EXPECT_NE(error.find("\"integer\""), std::string::npos) << error;
}

TEST_F(DefinitionFiles, MalformedFilesNameTheFileLineAndReason) {
  EXPECT_NE(LoadError("<contentdefinition type=\"A\">\n\n<attribute name=\"x\"</contentdefinition>").find("defs.xml:3"),
            std::string::npos);
  EXPECT_NE(LoadError("<contentdefinition type=\"A\" derivedfrom=\"Nowhere\"/>").find("\"Nowhere\", which is not defined"),
            std::string::npos);
  EXPECT_NE(LoadError("<definitions><contentdefinition type=\"A\" derivedfrom=\"B\"/>"
                      "<contentdefinition type=\"B\" derivedfrom=\"A\"/></definitions>")
                .find("derive from each other"),
            std::string::npos);
  EXPECT_NE(LoadError("<contentdefinition type=\"A\"><attribute name=\"n\" type=\"String\"/>"
                      "<attribute name=\"n\" type=\"Long\"/></contentdefinition>")
                .find("defined twice"),
            std::string::npos);
  EXPECT_NE(LoadError("<contentdefinition type=\"A\"><childgroup name=\"g\"><allowed type=\"Ghost\"/>"
                      "</childgroup></contentdefinition>")
                .find("\"Ghost\""),
            std::string::npos);
  EXPECT_NE(LoadError("<contentdefinition type=\"A/B\"/>").find("reserved character"), std::string::npos);
}

TEST_F(DefinitionFiles, DefinitionsRoundTripThroughXmlAndBadReplacementsChangeNothing) {
  auto configuration = UDMConfiguration::Load("");
  auto part = configuration->GetContentDefinition(kClassPart);
  auto copy = configuration->AddOrReplaceDefinition(part->ToXml(), "copy");
  EXPECT_EQ(copy->ToXml(), part->ToXml());
  EXPECT_EQ(configuration->GetContentDefinition(kClassPart), copy);

  EXPECT_THROW(configuration->AddOrReplaceDefinition(
                   "<contentdefinition type=\"UDMPart\" derivedfrom=\"Missing\"/>", "bad"),
               UDMException);
  EXPECT_EQ(configuration->GetContentDefinition(kClassPart), copy) << "a refused change must not stick";
  EXPECT_TRUE(configuration->GetContentDefinition(kClassPart)->GetAttributeDefinition("mass"));
}
