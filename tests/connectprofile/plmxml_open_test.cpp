// PLM XML files opened as repositories through the profile manager: what a
// document becomes, one profile per connection, and loading again.

#include "connect_fixture.h"

#include <vqkudm/UDMCoreEntityHandle.h>

#include <fstream>
#include <map>

using namespace vqkudm;

namespace {

const char* const kIdentity = "1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1";
const char* const kShifted = "1 0 0 0 0 1 0 0 0 0 1 0 40 0 0 1";

// A bracket (two revisions, the second with a file) used twice by a frame,
// and a bolt used once.
std::string FrameDocument(const std::string& material, bool secondBracket = true, const std::string& bolt = "Bolt",
                          const std::string& moreBracketValues = "") {
  return R"(<?xml version="1.0" encoding="utf-8"?>
<PLMXML xmlns="http://www.plmxml.org/Schemas/PLMXMLSchema" schemaVersion="6">
  <Product id="p1" productId="FR-100" name="Frame"/>
  <Product id="p2" productId="BR-200" name="Bracket">
    <UserData id="u1"><UserValue title="Material" value=")" + material + R"("/>
      <UserValue title="Supplier Code" value="ACME-7"/>)" + moreBracketValues + R"(</UserData>
  </Product>
  <Product id="p3" productId="BO-300" name=")" + bolt + R"("/>
  <ProductRevision id="r1" masterRef="#p1" revision="A" name="Frame"/>
  <ProductRevision id="r2" masterRef="#p2" revision="A" name="Bracket"/>
  <ProductRevision id="r3" masterRef="#p2" revision="B" name="Bracket">
    <AssociatedDataSet id="ad1" dataSetRef="#ds1" role="geometry"/>
  </ProductRevision>
  <ProductRevision id="r4" masterRef="#p3" revision="A" name=")" + bolt + R"("/>
  <DataSet id="ds1" name="bracket" type="STEP" memberRefs="#f1"/>
  <ExternalFile id="f1" locationRef="cad/bracket.step" format="step"/>
  <ProductView id="v1" rootRefs="o1">
    <Occurrence id="o1" instancedRef="#r1" occurrenceRefs="o2 )" + std::string(secondBracket ? "o3 " : "") + R"(o4"/>
    <Occurrence id="o2" instancedRef="#r3" parentRef="#o1"><Transform>)" + kIdentity + R"(</Transform>
      <UserData type="AttributesInContext"><UserValue title="SequenceNumber" value="10"/></UserData></Occurrence>
    )" + std::string(secondBracket ? R"(<Occurrence id="o3" instancedRef="#r3" parentRef="#o1"><Transform>)" +
                                         std::string(kShifted) + "</Transform></Occurrence>"
                                   : "") +
         R"(
    <Occurrence id="o4" instancedRef="#r4" parentRef="#o1"/>
  </ProductView>
</PLMXML>
)";
}

class PlmxmlOpenTest : public ConnectTest {
 protected:
  void SetUp() override {
    ConnectTest::SetUp();
    std::filesystem::create_directories(m_dir.path() / "supplier" / "cad");
    std::ofstream(m_dir.path() / "supplier" / "cad" / "bracket.step") << "ISO-10303-21; bracket";
    Write(FrameDocument("steel"));
  }
  void TearDown() override {
    for (auto& profile : m_opened) {
      try {
        UDMProfileMgr::DiscardProfile(profile);
      } catch (const UDMException&) {
        // discarded by the test already
      }
    }
    ConnectTest::TearDown();
  }

  void Write(const std::string& text) { std::ofstream(Document()) << text; }
  std::string Document() const { return (m_dir.path() / "supplier" / "frame.plmxml").string(); }

  boost::shared_ptr<IUDMProfile> Open(const std::string& id = "supplier") {
    m_opened.push_back(UDMProfileMgr::GetProfile({{"DataSource", vqVariant("UDMXML")},
                                                  {"FileDataSource", vqVariant(Document())},
                                                  {"ConnectionIdentifier", vqVariant(id)}}));
    return m_opened.back();
  }

  static UDMItemHandle Part(const boost::shared_ptr<IUDMProfile>& profile, const std::string& key) {
    vqStlVector<UDMItemHandle> found;
    profile->QueryEntities(found, "plmxmlexternalid = '" + key + "'", UDMQuerySettingHandle(), false, false);
    EXPECT_EQ(found.size(), 1u) << key;
    return found.empty() ? UDMItemHandle() : found[0];
  }
  static size_t Count(const boost::shared_ptr<IUDMProfile>& profile, const std::string& query, bool allRevisions) {
    vqStlVector<UDMItemHandle> found;
    profile->QueryEntities(found, query, UDMQuerySettingHandle(), allRevisions, false);
    return found.size();
  }
  static vqStlVector<UDMUseInfo> Uses(const UDMItemHandle& parent) {
    vqStlVector<UDMUseInfo> uses;
    boost::dynamic_pointer_cast<UDMCoreEntityHandle>(parent.GetEntityHandlePtr())->GetUses(uses, "parts");
    return uses;
  }

  std::vector<boost::shared_ptr<IUDMProfile>> m_opened;
};

}  // namespace

TEST_F(PlmxmlOpenTest, ADocumentBecomesPartsWithRevisionsReusedUsesAndFiles) {
  boost::shared_ptr<IUDMProfile> profile = Open();
  EXPECT_EQ(Count(profile, "cdef = 'UDMPart'", false), 3u) << "a part used twice is one part";

  const UDMItemHandle bracket = Part(profile, "BR-200");
  EXPECT_EQ(bracket.GetRevision(), 1) << "revisions A and B";
  EXPECT_EQ(profile->GetAttributeValue(bracket, "plmxmloccrevision").ToString(), "B");
  EXPECT_EQ(profile->GetAttributeValue(bracket, "partnumber").ToString(), "BR-200");
  EXPECT_EQ(profile->GetAttributeValue(bracket, "material").ToString(), "steel") << "a declared attribute, any case";
  EXPECT_EQ(profile->GetAttributeValue(bracket, "Supplier_Code").ToString(), "ACME-7") << "a title added at run time";
  vqStlVector<UDMGenericDocument> files;
  profile->GetFileInfoList(bracket, files, true);
  ASSERT_EQ(files.size(), 1u);
  EXPECT_EQ(files[0].GetName(), "bracket.step");
  EXPECT_FALSE(files[0].GetContentKey().empty()) << "the file is kept in the vault";

  const vqStlVector<UDMUseInfo> uses = Uses(Part(profile, "FR-100"));
  ASSERT_EQ(uses.size(), 3u);
  EXPECT_EQ(uses[0].child->GetUID(false), uses[1].child->GetUID(false));
  EXPECT_NE(uses[0].useId, uses[1].useId);
  EXPECT_EQ(uses[0].attributes.at("trfmtx").ToString(), kIdentity);
  EXPECT_EQ(uses[1].attributes.at("trfmtx").ToString(), kShifted);
  EXPECT_EQ(uses[0].attributes.at("findnumber").ToString(), "10");
  EXPECT_EQ(uses[0].attributes.at("plmxmlexternalid").ToString(), "o2");
  EXPECT_EQ(uses[0].attributes.at("plmxmloccrevision").ToString(), "B");
  EXPECT_EQ(uses[2].attributes.count("trfmtx"), 0u) << "no transform, no placement";
}

TEST_F(PlmxmlOpenTest, OneProfilePerIdentifierUntilItIsForgotten) {
  boost::shared_ptr<IUDMProfile> first = Open("supplier");
  EXPECT_EQ(Open("supplier"), first);
  boost::shared_ptr<IUDMProfile> other = Open("Supplier");
  EXPECT_NE(other, first) << "identifiers differing in case are different connections";
  EXPECT_EQ(WorkingDirectories(), 2u);

  UDMDataConnectionMgr::GetInstance()->RemoveDataConnectionProfile("supplier");
  boost::shared_ptr<IUDMProfile> renewed = Open("supplier");
  EXPECT_NE(renewed, first);
  EXPECT_EQ(Count(renewed, "cdef = 'UDMPart'", false), 3u) << "the working repository is loaded once";

  UDMProfileMgr::DiscardProfile(renewed);
  EXPECT_NE(Open("supplier"), renewed) << "a discarded profile is forgotten";
}

TEST_F(PlmxmlOpenTest, OpeningAgainBringsChangesAsNewRevisionsAndNothingElse) {
  boost::shared_ptr<IUDMProfile> profile = Open();
  UDMProfileMgr::DiscardProfile(profile);
  profile = Open();
  EXPECT_EQ(Count(profile, "cdef = 'UDMPart'", true), 4u) << "an unchanged document loads nothing";
  // A check-in in the working repository: what the document brings later comes after it.
  UDMItemHandle checkedIn = Part(profile, "BR-200");
  profile->Checkout(checkedIn, "");
  profile->Persist(checkedIn, "kept here", false, false, false);
  UDMProfileMgr::DiscardProfile(profile);

  // A title new since the first load is added to the definition as well.
  Write(FrameDocument("titanium", false, "Hex bolt", R"(<UserValue title="Finish" value="anodized"/>)"));
  profile = Open();
  EXPECT_EQ(Count(profile, "cdef = 'UDMPart'", false), 3u) << "the same items, no duplicates";
  const UDMItemHandle bracket = Part(profile, "BR-200");
  EXPECT_EQ(bracket.GetRevision(), 3) << "the changed bracket gains one revision after its latest";
  EXPECT_EQ(profile->GetAttributeValue(bracket, "material").ToString(), "titanium");
  EXPECT_EQ(profile->GetAttributeValue(bracket, "Finish").ToString(), "anodized");
  const UDMItemHandle frame = Part(profile, "FR-100");
  EXPECT_EQ(frame.GetRevision(), 1) << "the frame's uses changed";
  EXPECT_EQ(Uses(frame).size(), 2u);
  const UDMItemHandle bolt = Part(profile, "BO-300");
  EXPECT_EQ(bolt.GetRevision(), 1) << "a renamed part is the same part";
  EXPECT_EQ(profile->GetDisplayName(bolt), "Hex bolt");
}

TEST_F(PlmxmlOpenTest, AnInstanceGraphOpensWithItsReusedParts) {
  Write(R"(<PLMXML xmlns="http://www.plmxml.org/Schemas/PLMXMLSchema">
  <ProductDef id="d1"><InstanceGraph id="g1" rootRefs="pi1">
    <Part id="a1" name="Cart" productId="CA-1" revision="B" instanceRefs="i1 i2 i3"/>
    <Part id="w1" name="Wheel" productId="WH-2" revision="A">
      <UserData><UserValue title="Diameter" value="120"/></UserData>
      <Representation id="rep1" format="step" location="cad/bracket.step"/>
    </Part>
    <Part id="h1" name="Handle" productId="HA-3" revision="A" instanceRefs="i4"/>
    <ProductInstance id="pi1" partRef="#a1"/>
    <Instance id="i1" partRef="#w1"><Transform>1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1</Transform></Instance>
    <Instance id="i2" partRef="#w1"><Transform>1 0 0 0 0 1 0 0 0 0 1 0 500 0 0 1</Transform></Instance>
    <Instance id="i3" partRef="#h1"/>
    <Instance id="i4" partRef="#w1"/>
  </InstanceGraph></ProductDef>
</PLMXML>)");
  boost::shared_ptr<IUDMProfile> profile = Open();
  EXPECT_EQ(Count(profile, "cdef = 'UDMPart'", false), 3u);
  const vqStlVector<UDMUseInfo> cart = Uses(Part(profile, "CA-1"));
  ASSERT_EQ(cart.size(), 3u);
  EXPECT_EQ(cart[0].child->GetUID(false), cart[1].child->GetUID(false)) << "one wheel, used twice";
  EXPECT_EQ(cart[1].attributes.at("trfmtx").ToString(), "1 0 0 0 0 1 0 0 0 0 1 0 500 0 0 1");
  const UDMItemHandle wheel = Part(profile, "WH-2");
  EXPECT_EQ(profile->GetAttributeValue(wheel, "Diameter").ToString(), "120");
  vqStlVector<UDMGenericDocument> files;
  profile->GetFileInfoList(wheel, files, true);
  EXPECT_EQ(files.size(), 1u);
  vqStlVector<UDMWhereUsedInfo> users;
  boost::dynamic_pointer_cast<UDMCoreEntityHandle>(wheel.GetEntityHandlePtr())->GetWhereUsed(users, 0);
  EXPECT_EQ(users.size(), 3u) << "the cart and the handle, then the cart again above the handle";
}

TEST_F(PlmxmlOpenTest, BadDocumentsAreRefusedNamingTheElementAndChangeNothing) {
  Write("<PLMXML>\n<Occurrence id=\"o1\" instancedRef=\"#nowhere\"/></PLMXML>");
  const UDMException broken = RaisedBy([&] { Open(); });
  EXPECT_EQ(broken.GetExceptionCategory(), ExcCatFile);
  EXPECT_NE(std::string(broken.what()).find("Occurrence \"o1\" (line 2)"), std::string::npos) << broken.what();
  EXPECT_NE(std::string(broken.what()).find("nowhere"), std::string::npos) << broken.what();
  EXPECT_EQ(WorkingDirectories(), 0u);

  std::filesystem::remove(Document());
  const UDMException missing = RaisedBy([&] { Open(); });
  EXPECT_EQ(std::string(missing.what()), "File " + Document() + " does not exist.");

  // A connection that loaded once keeps what it has when its document goes bad.
  Write(FrameDocument("steel"));
  boost::shared_ptr<IUDMProfile> first = Open();
  UDMProfileMgr::DiscardProfile(first);
  Write(FrameDocument("titanium") + "<unclosed>");
  EXPECT_EQ(RaisedBy([&] { Open(); }).GetExceptionSubCategory(), ExcSubSyntax);
  const std::filesystem::path file = m_dir.path() / "supplier" / "cad" / "bracket.step";
  std::filesystem::rename(file, file.string() + ".away");
  Write(FrameDocument("titanium"));
  const UDMException noFile = RaisedBy([&] { Open(); });
  EXPECT_NE(std::string(noFile.what()).find("\"f1\" (line 16)"), std::string::npos) << noFile.what();
  EXPECT_NE(std::string(noFile.what()).find("bracket.step, which does not exist"), std::string::npos);

  std::filesystem::rename(file.string() + ".away", file);
  Write(FrameDocument("steel"));
  boost::shared_ptr<IUDMProfile> profile = Open();
  EXPECT_EQ(Count(profile, "cdef = 'UDMPart'", true), 4u) << "nothing of the refused documents came in";
  EXPECT_EQ(profile->GetAttributeValue(Part(profile, "BR-200"), "material").ToString(), "steel");
}
