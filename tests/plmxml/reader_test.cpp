#include <PlmxmlReader.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "temp_dir.h"

using namespace vqkudm::plmxml;

namespace {

std::string Wrap(const std::string& body) {
  return "<PLMXML schemaVersion=\"6\">" + body + "</PLMXML>";
}

Document Parse(const std::string& body) { return ParseDocument(Wrap(body), "/data/in/doc.plmxml"); }

std::string ErrorOf(const std::string& xml) {
  try {
    ParseDocument(xml, "/data/in/doc.plmxml");
  } catch (const ReadError& e) {
    return e.what();
  }
  return "(read without error)";
}

// "parent item/revision>child item/revision@element" per use, in order.
std::vector<std::string> Uses(const Document& document) {
  std::vector<std::string> uses;
  for (const Use& use : document.uses) {
    uses.push_back(use.parentItem + "/" + use.parentRevision + ">" + use.childItem + "/" +
                   use.childRevision + "@" + use.elementId);
  }
  return uses;
}

using Roots = std::vector<std::pair<std::string, std::string>>;

}  // namespace

TEST(ProductShape, ReadsItemsFilesAndUsesOfAFileWithPrefixes) {
  TestDirectory dir("plmxml");
  const std::filesystem::path file = dir.path() / "bike.plmxml";
  std::ofstream(file) << R"(<?xml version="1.0" encoding="utf-8"?>
<plm:PLMXML xmlns:plm="http://www.plmxml.org/Schemas/PLMXMLSchema">
 <plm:Product id="p1" productId="BIKE" name="Bike" subType="Assembly">
  <plm:UserData><plm:UserValue title="maker" value="acme"/></plm:UserData></plm:Product>
 <plm:Product id="p2" productId="WHEEL"/>
 <plm:ProductRevision id="r1" masterRef="#p1" revision="B" name="Bike B">
  <plm:UserData><plm:UserValue title="mass" type="real">12.5</plm:UserValue></plm:UserData>
  <plm:AssociatedDataSet dataSetRef="#ds1" role="design"/></plm:ProductRevision>
 <plm:ProductRevision id="r2" masterRef="#p2" revision="A"/>
 <plm:DataSet id="ds1" memberRefs="#f1 f2"/>
 <plm:ExternalFile id="f1" locationRef="cad/bike.prt" format="prt"/>
 <plm:ExternalFile id="f2" locationRef="file:///srv/My%20Bike.stp"/>
 <plm:ExternalFile id="f3" locationRef="file:cad/../cad/bike.prt"/>
 <plm:ExternalFile id="f4" locationRef="../drawings/bike.pdf"/>
 <plm:ExternalFile id="f5" locationRef="#f4"/>
 <plm:ProductView id="v1" rootRefs="o1">
  <plm:AssociatedAttachment id="a1" attachmentRef="#f3" role="copy"/>
  <plm:AssociatedAttachment id="a2" attachmentRef="#f5" role="drawing"/>
  <plm:Occurrence id="o1" instancedRef="#r1" occurrenceRefs="o2 #o3" associatedAttachmentRefs="a1 a2"/>
  <plm:Occurrence id="o2" instancedRef="#r2" name="front">
   <plm:Transform>1 0 0 0 0 1 0 0 0 0 1 0 +0.5 0 -2e-3 1</plm:Transform>
   <plm:UserData type="AttributesInContext"><plm:UserValue title="SequenceNumber" value="10"/></plm:UserData>
  </plm:Occurrence>
  <plm:Occurrence id="o3" instancedRef="#r2" name="rear"><plm:Transform>
  </plm:Transform></plm:Occurrence>
 </plm:ProductView>
</plm:PLMXML>)";
  const Document doc = ReadDocument(file.string());

  ASSERT_EQ(doc.items.size(), 2u);
  const Item& bike = doc.items[0];
  EXPECT_EQ(bike.key + bike.elementId + bike.name + bike.subType, "BIKEp1BikeAssembly");
  ASSERT_EQ(bike.userValues.size(), 1u);
  EXPECT_EQ(bike.userValues[0].value, "acme");
  ASSERT_EQ(bike.revisions.size(), 1u);
  const Revision& b = bike.revisions[0];
  EXPECT_EQ(b.key + b.elementId + b.revision + b.name, "Br1BBike B");
  ASSERT_EQ(b.userValues.size(), 1u);
  EXPECT_EQ(b.userValues[0].title + "=" + b.userValues[0].value + ":" + b.userValues[0].type,
            "mass=12.5:real");

  // f3 resolves to f1's path and is dropped.
  ASSERT_EQ(b.files.size(), 3u);
  EXPECT_EQ(b.files[0].path, (dir.path() / "cad/bike.prt").string());
  EXPECT_EQ(b.files[0].format + b.files[0].role + b.files[0].elementId, "prtdesignf1");
  EXPECT_EQ(b.files[1].location, "/srv/My Bike.stp");
  EXPECT_EQ(b.files[1].path, "/srv/My Bike.stp");
  EXPECT_EQ(b.files[1].format, "stp");
  EXPECT_EQ(b.files[2].path, (dir.path().parent_path() / "drawings/bike.pdf").string());
  EXPECT_EQ(b.files[2].format + b.files[2].role + b.files[2].elementId, "pdfdrawingf4");

  EXPECT_EQ(Uses(doc), (std::vector<std::string>{"BIKE/B>WHEEL/A@o2", "BIKE/B>WHEEL/A@o3"}));
  EXPECT_EQ(doc.uses[0].name, "front");
  EXPECT_EQ(doc.uses[0].transform, "1 0 0 0 0 1 0 0 0 0 1 0 +0.5 0 -2e-3 1");
  ASSERT_EQ(doc.uses[0].userValues.size(), 1u);
  EXPECT_EQ(doc.uses[0].userValues[0].title, "SequenceNumber");
  EXPECT_EQ(doc.uses[1].transform, "");
  EXPECT_EQ(doc.roots, (Roots{{"BIKE", "B"}}));
}

TEST(ProductShape, SubassemblyUsedThriceGivesItsUsesOnceWhicheverWayChildrenAreLinked) {
  const Document doc = Parse(R"(
    <Product id="pa" productId="A"/><ProductRevision id="ra" masterRef="#pa" revision="1"/>
    <Product id="pb" productId="B"/><ProductRevision id="rb" masterRef="#pb" revision="1"/>
    <ProductRevision id="rc" masterRef="#pc" revision="1"/><Product id="pc" productId="C"/>
    <ProductView id="v">
      <Occurrence id="o1" instancedRef="#ra" occurrenceRefs="o5 o2"/>
      <Occurrence id="o2" instancedRef="#rb" parentRef="#o1"/>
      <Occurrence id="o3" instancedRef="#rb" parentRef="#o1" occurrenceRefs="o4 o4"/>
      <Occurrence id="o4" instancedRef="#rc" parentRef="#o3"/>
      <Occurrence id="o5" instancedRef="#rb" parentRef="#o1"/>
      <Occurrence id="o6" instancedRef="#rc" parentRef="#o5"/>
    </ProductView>
    <ProductRevision id="loose" name="Loose"/>)");
  // o2 is a copy left bare, as where an export stops expanding; o3 lists B's uses.
  EXPECT_EQ(Uses(doc),
            (std::vector<std::string>{"A/1>B/1@o2", "A/1>B/1@o3", "A/1>B/1@o5", "B/1>C/1@o4"}));
  ASSERT_EQ(doc.items.size(), 4u);
  EXPECT_EQ(doc.items[2].key, "C");  // the Product's place, not its revision's
  EXPECT_EQ(doc.items[3].key + doc.items[3].name + doc.items[3].revisions.at(0).key,
            "looseLooseloose");
  EXPECT_EQ(doc.roots, (Roots{{"A", "1"}, {"loose", "loose"}}));
}

TEST(InstanceGraph, EqualProductIdsShareAnItemAndInstancesBecomeUses) {
  const Document doc = ParseDocument(Wrap(R"(<ProductDef><InstanceGraph id="ig" rootRefs="pi">
    <Part id="x1" productId="FRAME" revision="A" name="Frame" type="assembly" instanceRefs="i2 i1 i1">
      <Representation id="rep" format="JT" location="shapes/frame.jt"/></Part>
    <Part id="x2" productId="FRAME" revision="B" instanceRefs="i3"/>
    <Part id="x3" name="Bolt"><UserData><UserValue title="thread" value="M6"/></UserData>
      <Representation location="file:shapes/bolt.jt"/></Part>
    <Instance id="i1" partRef="#x3" name="bolt 1"/><Instance id="i2" partRef="#x3"/>
    <Instance id="i3" partRef="#x3"><Transform>1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1</Transform></Instance>
    <ProductInstance id="pi" partRef="#x2"/></InstanceGraph></ProductDef>)"),
                                     "relative/doc.plmxml");
  ASSERT_EQ(doc.items.size(), 2u);
  const Item& frame = doc.items[0];
  EXPECT_EQ(frame.key + frame.elementId + frame.name + frame.subType, "FRAMEx1Frameassembly");
  ASSERT_EQ(frame.revisions.size(), 2u);
  EXPECT_EQ(frame.revisions[1].key + frame.revisions[1].elementId, "Bx2");
  ASSERT_EQ(frame.revisions[0].files.size(), 1u);
  EXPECT_EQ(frame.revisions[0].files[0].format + frame.revisions[0].files[0].elementId, "JTrep");
  const Revision& bolt = doc.items[1].revisions.at(0);
  EXPECT_EQ(doc.items[1].key + bolt.key + bolt.userValues.at(0).value, "x3x3M6");
  ASSERT_EQ(bolt.files.size(), 1u);
  EXPECT_EQ(bolt.files[0].path,
            (std::filesystem::current_path() / "relative/shapes/bolt.jt").string());
  EXPECT_EQ(bolt.files[0].format, "jt");
  EXPECT_EQ(Uses(doc),
            (std::vector<std::string>{"FRAME/A>x3/x3@i1", "FRAME/A>x3/x3@i2", "FRAME/B>x3/x3@i3"}));
  EXPECT_EQ(doc.uses[0].name, "bolt 1");
  EXPECT_EQ(doc.roots, (Roots{{"FRAME", "B"}}));
}

TEST(InstanceGraph, LongChainReadsAndItsClosingIsACycle) {
  const int length = 50000;
  std::string body;
  for (int i = 0; i < length; ++i) {
    body += "<Part id=\"x" + std::to_string(i) + "\" instanceRefs=\"i" + std::to_string(i) + "\"/>";
    body +=
        "<Instance id=\"i" + std::to_string(i) + "\" partRef=\"#x" + std::to_string(i + 1) + "\"/>";
  }
  const Document chain = Parse(body + "<Part id=\"x" + std::to_string(length) + "\"/>");
  EXPECT_EQ(chain.uses.size(), static_cast<size_t>(length));
  EXPECT_EQ(chain.roots, (Roots{{"x0", "x0"}}));
  const std::string error = ErrorOf(Wrap(body + "<Part id=\"x" + std::to_string(length) +
                                         "\" instanceRefs=\"back\"/>"
                                         "<Instance id=\"back\" partRef=\"x0\"/>"));
  EXPECT_NE(error.find("structure cycle x0 -> x1 -> "), std::string::npos) << error.substr(0, 200);
  EXPECT_NE(error.find(" -> x50000 -> x0 (through i0 on line 1, i1 on line 1, "), std::string::npos);
}

TEST(Errors, BadDocumentsNameTheFileAndTheCulprit) {
  const std::string revisions =
      R"(<Product id="p" productId="P"/><ProductRevision id="r" masterRef="#p"/>)";
  const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
      {"<Other/>", {"/data/in/doc.plmxml: not a PLM XML document"}},
      {"<PLMXML><Product id='a'></PLMXML>",
       {"/data/in/doc.plmxml: malformed XML on line 1: Start-end tags mismatch"}},
      {Wrap(R"(<ProductRevision id="r" masterRef="#nope"/>)"),
       {"ProductRevision \"r\"", "\"nope\""}},
      {Wrap(R"(<ProductView id="v" rootRefs="ghost"/>)"),
       {"ProductView \"v\" (line 1): rootRefs", "\"ghost\""}},
      {Wrap(R"(<ProductRevision id="r" masterRef="#r"/>)"),
       {"masterRef names ProductRevision \"r\" (line 1), not a Product"}},
      {Wrap(revisions + R"(<Occurrence id="o" instancedRef="#p"/>)"),
       {"Occurrence \"o\"", "not a revision"}},
      {Wrap(revisions + R"(<ProductRevision id="r2" masterRef="#p" revision="r"/>)"),
       {"\"r2\"", "revision \"r\" of item \"P\""}},
      {Wrap(revisions + R"(<Product id="r"/>)"), {"Product \"r\" (line 1): the id is already used on line 1"}},
      {Wrap(R"(<ProductRevision id="r"><AssociatedDataSet dataSetRef="#f"/></ProductRevision>
               <ExternalFile id="f" locationRef="#gone"/>)"),
       {"ExternalFile \"f\" (line 2): locationRef names the missing id \"gone\""}},
      {Wrap(revisions + R"(<Occurrence id="o1" instancedRef="#r" occurrenceRefs="o2"/>
                           <Occurrence id="o2" instancedRef="#r"/>)"),
       {"structure cycle r -> r (through o2 on line 2)"}},
      {Wrap(revisions + R"(<Instance id="i"/>
                           <Part id="x" instanceRefs="i"/>)"),
       {"Instance \"i\" (line 1): has no partRef"}},
      {Wrap(revisions + R"(<Occurrence id="o1" instancedRef="#r" occurrenceRefs="o2"/><Part id="x"/>
                           <Occurrence id="o2" instancedRef="#x"><Transform>1 0 0 1</Transform></Occurrence>)"),
       {"Occurrence \"o2\" (line 2): Transform holds 4 numbers"}},
      {Wrap(R"(<Part id="x" instanceRefs="i"/><Part id="y"/><Instance id="i" partRef="#y">
               <Transform>1 0 0 0 0 1 0 0 0 0 1 0 0 0 x 1</Transform></Instance>)"),
       {"Instance \"i\"", "\"x\", not a number"}},
  };
  for (const auto& [xml, expected] : cases) {
    const std::string error = ErrorOf(xml);
    for (const std::string& fragment : expected)
      EXPECT_NE(error.find(fragment), std::string::npos) << error;
  }
  try {
    ReadDocument("/nonexistent/doc.plmxml");
    ADD_FAILURE() << "read a missing file";
  } catch (const ReadError& e) {
    EXPECT_STREQ(e.what(), "/nonexistent/doc.plmxml: not a readable file");
  }
}
