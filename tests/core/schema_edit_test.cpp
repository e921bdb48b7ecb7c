#include "session_fixture.h"

#include <vqkudmrt/UDMConfiguration.h>
#include <vqkudmrt/UDMContentDefinition.h>
#include <vqlmcdefedit/ContentDefinitionModifier.h>

#include <fstream>

using namespace vqkudm;

namespace {

// A data model of the test's own: the base definitions and a gadget.
class SchemaEditTest : public RepositoryTest {
 protected:
  void SetUp() override {
    const std::filesystem::path data(UDMFramework::GetInstance()->GetInstallLayout().dataDir.str());
    std::ofstream(m_dir / "gadget.xml")
        << "<definitions><contentdefinition type=\"Gadget\" derivedfrom=\"UDMItem\">"
           "<attribute name=\"serial\" type=\"String\"/>"
           "<attribute name=\"maker\" type=\"String\"/></contentdefinition>"
           "<contentdefinition type=\"Widget\" derivedfrom=\"UDMItem\"><meta name=\"udm_isProto\" value=\"true\"/>"
           "</contentdefinition></definitions>";
    std::ofstream(m_dir / "udmconfig.xml")
        << "<udmconfig><definitions><file path=\"" << (data / "definitions" / "base.xml").string() << "\"/>"
        << "<file path=\"gadget.xml\"/></definitions></udmconfig>";
    m_configFile = (m_dir / "udmconfig.xml").string();
    RepositoryTest::SetUp();
  }
  vqString Edited(const std::function<void(vqlm::ContentDefinitionModifier&)>& edit) {
    vqlm::ContentDefinitionModifier modifier((m_dir / "gadget.xml").string(), "Gadget");
    EXPECT_TRUE(modifier.IsValid()) << modifier.GetLastError();
    edit(modifier);
    const vqString out = (m_dir / ("edited-" + std::to_string(++m_edits) + ".xml")).string();
    EXPECT_TRUE(modifier.Write(out)) << modifier.GetLastError();
    return out;
  }
  int m_edits = 0;
};

}  // namespace

TEST_P(SchemaEditTest, AddedAttributesReachEverySessionOfTheRepository) {
  vqlm::LMMETADATATYPE type;
  EXPECT_FALSE(vqlm::MetadataTypeFromName("integer", type));
  ASSERT_TRUE(vqlm::MetadataTypeFromName("INT", type));
  EXPECT_EQ(type, vqlm::LMMETADATA_INT);

  const vqString path = Edited([](vqlm::ContentDefinitionModifier& m) {
    EXPECT_TRUE(m.AddMetadata("torque", vqlm::LMMETADATA_FLOAT, false, true, true, "Torque", "", "Mechanics", "0", {}));
    EXPECT_FALSE(m.AddMetadata("torque", vqlm::LMMETADATA_FLOAT, false, true, true, "", "", "", "", {}))
        << "a name the definition has";
    EXPECT_FALSE(m.AddMetadata("odd", 9, false, true, true, "", "", "", "", {})) << "no such type";
    EXPECT_TRUE(m.AddMetadata("finish", vqlm::LMMETADATA_STRING, false, true, true, "", "", "", "", {"matt", "gloss"}));
    EXPECT_TRUE(m.AddCompositeMetadata("label", "String", "Label", {"maker", "serial"}, "/"));
    EXPECT_FALSE(m.AddCompositeMetadata("bad", "String", "", {"maker", "nothing"}, "/"));
  });
  ASSERT_TRUE(m_session->UpdateContentDefinition(path));

  UDMItemPtr gadget = m_session->CreateEntity("Gadget", "g1", UDMUID());
  gadget->SetAttribute("serial", vqVariant("S1"));
  gadget->SetAttribute("maker", vqVariant("acme"));
  gadget->SetAttribute("torque", vqVariant(2.5));
  EXPECT_EQ(SubCategoryOf([&] { gadget->SetAttribute("finish", vqVariant("shiny")); }), ExcSubWrongType);
  EXPECT_EQ(gadget->GetAttributeValue("label"), vqVariant("acme/S1"));
  gadget->Persist("", GDM_RECURSE_NONE, -1, false, true);

  boost::shared_ptr<IUDMSession> bob = OpenSession("bob");
  ASSERT_TRUE(bob->GetContentDefinition("Gadget")->GetAttributeDefinition("torque"))
      << "the changed definition is kept in the repository";
  EXPECT_EQ(bob->FindItemById(gadget->GetUID(), true, "")->GetAttributeValue("torque"), vqVariant(2.5));
  EXPECT_TRUE(bob->GetContentDefinition("Widget")) << "the file's other definitions stay";
}

TEST_P(SchemaEditTest, ChangesThatStoredDataForbidsAreRefusedAndChangeNothing) {
  UDMItemPtr gadget = m_session->CreateEntity("Gadget", "g1", UDMUID());
  gadget->SetAttribute("maker", vqVariant("acme"));
  gadget->Persist("", GDM_RECURSE_NONE, -1, false, true);

  std::ofstream(m_dir / "dropped.xml") << "<contentdefinition type=\"Gadget\" derivedfrom=\"UDMItem\">"
                                          "<attribute name=\"serial\" type=\"String\"/></contentdefinition>";
  EXPECT_EQ(SubCategoryOf([&] { m_session->UpdateContentDefinition((m_dir / "dropped.xml").string()); }),
            ExcSubConflict);
  std::ofstream(m_dir / "retyped.xml") << "<contentdefinition type=\"Gadget\" derivedfrom=\"UDMItem\">"
                                          "<attribute name=\"serial\" type=\"String\"/>"
                                          "<attribute name=\"maker\" type=\"Double\"/></contentdefinition>";
  EXPECT_EQ(SubCategoryOf([&] { m_session->UpdateContentDefinition((m_dir / "retyped.xml").string()); }),
            ExcSubConflict);
  const vqString mandatory = Edited([](vqlm::ContentDefinitionModifier& m) {
    m.AddMetadata("owner", vqlm::LMMETADATA_STRING, true, true, true, "", "", "", "", {});
  });
  EXPECT_EQ(SubCategoryOf([&] { m_session->UpdateContentDefinition(mandatory); }), ExcSubConflict);
  std::ofstream(m_dir / "broken.xml") << "<contentdefinition type=\"Gadget\">\n<attribute name=\"x\"/>";
  try {
    m_session->UpdateContentDefinition((m_dir / "broken.xml").string());
    FAIL() << "a malformed file was applied";
  } catch (const UDMException& e) {
    EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubSyntax);
    EXPECT_NE(std::string(e.what()).find("broken.xml"), std::string::npos) << e.what();
  }
  EXPECT_TRUE(m_session->GetContentDefinition("Gadget")->GetAttributeDefinition("maker"));
  EXPECT_FALSE(m_session->GetContentDefinition("Gadget")->GetAttributeDefinition("owner"));
  EXPECT_FALSE(OpenSession("bob")->GetContentDefinition("Gadget")->GetAttributeDefinition("owner"));
}

TEST_P(SchemaEditTest, TheSessionListsItsDefinitionsAndNamesItself) {
  vqStlVector<boost::shared_ptr<UDMContentDefinition>> all;
  m_session->GetAllContentDefinitions(all);
  const auto position = [&](const vqString& type) {
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (all[i]->GetType() == type) return static_cast<int>(i);
    }
    return -1;
  };
  EXPECT_GE(position("UDMItem"), 0);
  EXPECT_LT(position("Gadget"), position("Widget")) << "the schema's order";
  EXPECT_TRUE(m_session->CreateEntity("Widget", "w", UDMUID())->IsPrototype());
  EXPECT_FALSE(m_session->CreateEntity("Gadget", "g", UDMUID())->IsPrototype());
  const std::string name = m_session->GetSessionName();
  EXPECT_NE(name.find("alice@"), std::string::npos) << name;
  EXPECT_NE(name.find(m_session->GetSessionId()), std::string::npos) << name;
}

UDM_ON_EVERY_BACKEND(SchemaEditTest);
