// Check-ins through a PLM XML connection's profile write the document back.

#include "connect_fixture.h"

#include <vqkudm/UDMCoreEntityHandle.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "PlmxmlReader.h"

using namespace vqkudm;

namespace {

const char* const kDocument = R"(<?xml version="1.0" encoding="utf-8"?>
<PLMXML xmlns="http://www.plmxml.org/Schemas/PLMXMLSchema" schemaVersion="6" author="supplier">
  <Header id="h1" traverseRootRefs="#o1" transferContext="release"/>
  <!-- exported for the frame programme -->
  <Product id="p1" productId="FR-100" name="Frame"/>
  <Product id="p2" productId="BR-200" name="Bracket">
    <UserData id="u1"><UserValue title="Material" value="steel"/></UserData>
  </Product>
  <ProductRevision id="r1" masterRef="#p1" revision="A" name="Frame" subType="ItemRevision"/>
  <ProductRevision id="r2" masterRef="#p2" revision="A" name="Bracket">
    <AssociatedDataSet id="ad1" dataSetRef="#ds1" role="geometry"/>
  </ProductRevision>
  <DataSet id="ds1" name="bracket" type="STEP" memberRefs="#f1"/>
  <ExternalFile id="f1" locationRef="bracket.step" format="step"/>
  <ProductView id="v1" rootRefs="o1">
    <Occurrence id="o1" instancedRef="#r1" occurrenceRefs="o2 o3"/>
    <Occurrence id="o2" instancedRef="#r2" parentRef="#o1" sourceRef="cad-1">
      <Transform>1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1</Transform></Occurrence>
    <Occurrence id="o3" instancedRef="#r2" parentRef="#o1">
      <Transform>1 0 0 0 0 1 0 0 0 0 1 0 40 0 0 1</Transform></Occurrence>
  </ProductView>
</PLMXML>
)";

class WriteBackTest : public ConnectTest {
 protected:
  void SetUp() override {
    ConnectTest::SetUp();
    std::filesystem::create_directories(m_dir.path() / "supplier");
    std::ofstream(m_dir.path() / "supplier" / "bracket.step") << "ISO-10303-21; bracket";
    std::ofstream(Document()) << kDocument;
    m_profile = UDMProfileMgr::GetProfile({{"DataSource", vqVariant("UDMXML")},
                                           {"FileDataSource", vqVariant(Document())},
                                           {"ConnectionIdentifier", vqVariant("supplier")}});
  }
  void TearDown() override {
    if (m_profile) UDMProfileMgr::DiscardProfile(m_profile);
    ConnectTest::TearDown();
  }

  std::string Document() const { return (m_dir.path() / "supplier" / "frame.plmxml").string(); }
  std::string Text() const {
    std::ifstream in(Document());
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  UDMItemHandle Part(const std::string& key) {
    vqStlVector<UDMItemHandle> found;
    m_profile->QueryEntities(found, "plmxmlexternalid = '" + key + "'", UDMQuerySettingHandle(), false, false);
    EXPECT_EQ(found.size(), 1u) << key;
    return found.empty() ? UDMItemHandle() : found[0];
  }
  // The document's model, rendered for comparison.
  std::string Model() const {
    const plmxml::Document document = plmxml::ReadDocument(Document());
    std::ostringstream out;
    for (const plmxml::Item& item : document.items) {
      out << "item " << item.key << " " << item.name << "\n";
      for (const plmxml::UserValue& v : item.userValues) out << "  " << v.title << "=" << v.value << "\n";
      for (const plmxml::Revision& revision : item.revisions) {
        out << " rev " << revision.revision << " " << revision.name << " " << revision.subType << "\n";
        for (const plmxml::UserValue& v : revision.userValues) out << "  " << v.title << "=" << v.value << "\n";
        for (const plmxml::FileRef& f : revision.files) out << "  file " << f.path << " " << f.format << "\n";
      }
    }
    for (const plmxml::Use& use : document.uses) {
      out << "use " << use.parentItem << "/" << use.parentRevision << " -> " << use.childItem << "/"
          << use.childRevision << " [" << use.transform << "]\n";
    }
    return out.str();
  }
  void CheckIn(UDMItemHandle& part) { m_profile->Persist(part, "edited", false, true, false); }

  boost::shared_ptr<IUDMProfile> m_profile;
};

}  // namespace

TEST_F(WriteBackTest, ACheckInWithoutEditsKeepsTheDocumentAndWhatTheMappingDoesNotUse) {
  const std::string before = Model();
  UDMItemHandle frame = Part("FR-100");
  m_profile->Checkout(frame, "");
  CheckIn(frame);
  EXPECT_EQ(Model(), before);
  const std::string text = Text();
  for (const char* kept : {"author=\"supplier\"", "transferContext=\"release\"", "exported for the frame programme",
                           "sourceRef=\"cad-1\"", "schemaVersion=\"6\""}) {
    EXPECT_NE(text.find(kept), std::string::npos) << kept;
  }
  EXPECT_FALSE(std::filesystem::exists(Document() + ".writing"));

  // What was written does not come back as a change.
  UDMProfileMgr::DiscardProfile(m_profile);
  m_profile = UDMProfileMgr::GetProfile({{"DataSource", vqVariant("UDMXML")},
                                         {"FileDataSource", vqVariant(Document())},
                                         {"ConnectionIdentifier", vqVariant("supplier")}});
  EXPECT_EQ(Part("FR-100").GetRevision(), 1);
  EXPECT_EQ(Part("BR-200").GetRevision(), 0);
}

TEST_F(WriteBackTest, AttributeAndStructureEditsReachTheDocument) {
  UDMItemHandle bracket = Part("BR-200");
  m_profile->Checkout(bracket, "");
  m_profile->SetAttribute(bracket, "material", vqVariant("titanium"));
  m_profile->SetAttribute(bracket, "mass", vqVariant(0.25));
  CheckIn(bracket);
  std::string model = Model();
  EXPECT_NE(model.find("Material=titanium"), std::string::npos) << model;
  EXPECT_NE(model.find("mass=0.25"), std::string::npos) << "a value the document lacked is added";

  UDMItemHandle frame = Part("FR-100");
  m_profile->Checkout(frame, "");
  auto entity = boost::dynamic_pointer_cast<UDMCoreEntityHandle>(frame.GetEntityHandlePtr());
  vqStlVector<UDMUseInfo> uses;
  entity->GetUses(uses, "parts");
  ASSERT_EQ(uses.size(), 2u);
  entity->RemoveUse(uses[1].useId);
  UDMItemHandle washer = m_profile->CreateAndAdd("UDMPart", "Washer", frame, "parts");
  m_profile->SetAttribute(washer, "partnumber", vqVariant("WA-400"));
  CheckIn(frame);
  model = Model();
  EXPECT_NE(model.find("item WA-400 Washer"), std::string::npos) << model;
  EXPECT_NE(model.find("use FR-100/A -> WA-400/"), std::string::npos) << model;
  EXPECT_EQ(model.find("40 0 0 1"), std::string::npos) << "the removed use's occurrence is gone: " << model;
  EXPECT_NE(model.find("use FR-100/A -> BR-200/A [1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1]"), std::string::npos);
}

TEST_F(WriteBackTest, ADocumentChangedOutsideIsNotOverwritten) {
  std::ofstream(Document(), std::ios::app) << "<!-- edited by hand -->\n";
  const std::string edited = Text();
  UDMItemHandle frame = Part("FR-100");
  m_profile->Checkout(frame, "");
  const UDMException refused = RaisedBy([&] { CheckIn(frame); });
  EXPECT_EQ(refused.GetExceptionSubCategory(), ExcSubConflict);
  EXPECT_NE(std::string(refused.what()).find("changed since it was loaded"), std::string::npos) << refused.what();
  EXPECT_EQ(Text(), edited);
}
