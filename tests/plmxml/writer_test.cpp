#include <PlmxmlReader.h>
#include <PlmxmlWriter.h>

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

using namespace vqkudm::plmxml;

namespace {

const char* const kPath = "/data/plm/doc.plmxml";

// Product shape: WHEEL is used twice and expanded under both; HUB is a subassembly of it.
const char* const kBike = R"(<?xml version="1.0" encoding="utf-8"?>
<!-- written by hand for the writer tests -->
<?review status="draft"?>
<plm:PLMXML xmlns:plm="http://www.plmxml.org/Schemas/PLMXMLSchema" xmlns:x="urn:example:extra" schemaVersion="6">
  <plm:Header id="h1" author="tester" x:mark="1"/>
  <plm:Site id="id41" name="Plant 7"/>
  <plm:Product id="p1" productId="BIKE" name="Bike" subType="Assembly">
    <plm:UserData id="ud1"><plm:UserValue title="maker" value="acme"/></plm:UserData>
  </plm:Product>
  <plm:Product id="p2" productId="WHEEL" name="Wheel"/>
  <plm:Product id="p3" productId="SPOKE" name="Spoke"/>
  <plm:Product id="p4" productId="HUB" name="Hub"/>
  <plm:Product id="p5" productId="BEARING" name="Bearing"/>
  <plm:ProductRevision id="r1" masterRef="#p1" revision="A" name="Bike A">
    <plm:UserData id="ud2">
      <plm:UserValue title="mass" value="12.5" type="real"/>
      <plm:UserValue title="color">red</plm:UserValue>
    </plm:UserData>
    <plm:AssociatedDataSet dataSetRef="#ds1" role="design"/>
  </plm:ProductRevision>
  <plm:ProductRevision id="r2" masterRef="#p2" revision="A"/>
  <plm:ProductRevision id="r3" masterRef="#p3" revision="A"/>
  <plm:ProductRevision id="r4" masterRef="#p4" revision="A"/>
  <plm:ProductRevision id="r5" masterRef="#p4" revision="B"/>
  <plm:ProductRevision id="r6" masterRef="#p5" revision="A"/>
  <plm:DataSet id="ds1" memberRefs="f1 f2"/>
  <plm:ExternalFile id="f1" locationRef="cad/bike.prt" format="prt"/>
  <plm:ExternalFile id="f2" locationRef="file:///srv/manuals/bike%20manual.pdf"/>
  <plm:ProductView id="v1" rootRefs="o1">
    <plm:Occurrence id="o1" instancedRef="#r1" occurrenceRefs="o2 o3"/>
    <plm:Occurrence id="o2" instancedRef="#r2" parentRef="#o1" name="front" x:color="blue" occurrenceRefs="o4 o5 o6">
      <plm:Transform>1 0 0 0 0 1 0 0 0 0 1 0 0.5 0 0 1</plm:Transform>
      <plm:UserData type="AttributesInContext"><plm:UserValue title="SequenceNumber" value="10"/></plm:UserData>
    </plm:Occurrence>
    <plm:Occurrence id="o4" instancedRef="#r3" parentRef="#o2"/>
    <plm:Occurrence id="o5" instancedRef="#r3" parentRef="#o2"/>
    <plm:Occurrence id="o6" instancedRef="#r4" parentRef="#o2" occurrenceRefs="o10"/>
    <plm:Occurrence id="o10" instancedRef="#r6" parentRef="#o6"/>
    <plm:Occurrence id="o3" instancedRef="#r2" parentRef="#o1" name="rear" occurrenceRefs="o7 o8 o9">
      <plm:Transform>1 0 0 0 0 1 0 0 0 0 1 0 -0.5 0 0 1</plm:Transform>
    </plm:Occurrence>
    <plm:Occurrence id="o7" instancedRef="#r3" parentRef="#o3"/>
    <plm:Occurrence id="o8" instancedRef="#r3" parentRef="#o3"/>
    <plm:Occurrence id="o9" instancedRef="#r4" parentRef="#o3" occurrenceRefs="o11"/>
    <plm:Occurrence id="o11" instancedRef="#r6" parentRef="#o9"/>
  </plm:ProductView>
</plm:PLMXML>
)";

// Instance graph shape, references written with '#'.
const char* const kFrame = R"(<?xml version="1.0"?>
<PLMXML xmlns="http://www.plmxml.org/Schemas/PLMXMLSchema" xmlns:v="urn:example:vendor" schemaVersion="6">
  <Header id="h1"/>
  <ProductDef id="pd1">
    <!-- the frame and what holds it together -->
    <InstanceGraph id="ig1" rootRefs="x1">
      <Part id="x1" productId="FRAME" revision="A" name="Frame" type="assembly" instanceRefs="#i1 #i2 #i3" v:owner="team b">
        <UserData id="u1"><UserValue title="material" value="steel"/></UserData>
        <Representation id="rep1" format="JT" location="shapes/frame.jt"/>
      </Part>
      <Part id="x2" productId="BOLT" revision="A" name="Bolt"><Representation location="shapes/bolt.jt"/></Part>
      <Part id="x3" productId="BOLT" revision="B" name="Bolt"/>
      <Part id="x4" productId="PLATE" revision="A" name="Plate" instanceRefs="#i4"/>
      <Instance id="i1" partRef="#x2" name="bolt 1"><Transform>1 0 0 0 0 1 0 0 0 0 1 0 0 0 5 1</Transform></Instance>
      <Instance id="i2" partRef="#x2" name="bolt 2"/>
      <Instance id="i3" partRef="#x4" v:note="welded"/>
      <Instance id="i4" partRef="#x3"><UserData><UserValue title="Quantity" value="4"/></UserData></Instance>
    </InstanceGraph>
  </ProductDef>
</PLMXML>
)";

const char* const kShift = "1 0 0 0 0 1 0 0 0 0 1 0 0 0 9 1";

Document Read(const std::string& xml) { return ParseDocument(xml, kPath); }
std::string Write(const std::string& xml, const Document& want) {
  return WriteDocument(xml, want, kPath);
}

std::string Line(const UserValue& value) {
  return " " + value.title + "=" + value.value + ":" + value.type;
}

// A document as lines to compare. Ids not in `known` are those the writer
// made, which the model given to it cannot know: they read as "".
std::vector<std::string> Lines(const Document& doc, const std::set<std::string>& known) {
  const auto id = [&](const std::string& elementId) {
    return known.count(elementId) ? elementId : std::string();
  };
  std::vector<std::string> lines;
  for (const Item& item : doc.items) {
    lines.push_back("item " + item.key + " @" + id(item.elementId) + " " + item.name + " " +
                    item.subType);
    for (const UserValue& value : item.userValues) lines.push_back(" value" + Line(value));
    for (const Revision& revision : item.revisions) {
      lines.push_back(" revision " + revision.key + " @" + id(revision.elementId) + " " +
                      revision.revision + " " + revision.name + " " + revision.subType);
      for (const UserValue& value : revision.userValues) lines.push_back("  value" + Line(value));
      for (const FileRef& file : revision.files) {
        lines.push_back("  file " + file.path + " " + file.format + " " + file.role + " @" +
                        id(file.elementId));
      }
    }
  }
  // Uses stay in order within their parent; parents may come in another order.
  std::vector<std::string> uses;
  for (const Use& use : doc.uses) {
    std::string line = "use " + use.parentItem + "/" + use.parentRevision + " > " + use.childItem +
                       "/" + use.childRevision + " @" + id(use.elementId) + " " + use.name + " [" +
                       use.transform + "]";
    for (const UserValue& value : use.userValues) line += Line(value);
    uses.push_back(line);
  }
  std::stable_sort(uses.begin(), uses.end(), [](const std::string& a, const std::string& b) {
    return a.substr(0, a.find(" > ")) < b.substr(0, b.find(" > "));
  });
  lines.insert(lines.end(), uses.begin(), uses.end());
  for (const auto& [item, revision] : doc.roots) lines.push_back("root " + item + "/" + revision);
  return lines;
}

std::set<std::string> IdsOf(const Document& doc) {
  std::set<std::string> ids;
  for (const Item& item : doc.items) {
    ids.insert(item.elementId);
    for (const Revision& revision : item.revisions) {
      ids.insert(revision.elementId);
      for (const FileRef& file : revision.files) ids.insert(file.elementId);
    }
  }
  for (const Use& use : doc.uses) ids.insert(use.elementId);
  ids.erase("");
  return ids;
}

// Writes `want` into `xml` and expects the result to read as `want`; returns what was written.
std::string WriteAndCheck(const std::string& xml, const Document& want, bool sameIds = true) {
  const std::string written = Write(xml, want);
  const std::set<std::string> known = sameIds ? IdsOf(Read(xml)) : std::set<std::string>();
  EXPECT_EQ(Lines(Read(written), known), Lines(want, known)) << written;
  return written;
}

Item& ItemOf(Document& doc, const std::string& key) {
  for (Item& item : doc.items) {
    if (item.key == key) return item;
  }
  throw std::logic_error("no item " + key);
}

Revision& RevisionOf(Document& doc, const std::string& item, const std::string& key) {
  for (Revision& revision : ItemOf(doc, item).revisions) {
    if (revision.key == key) return revision;
  }
  throw std::logic_error("no revision " + key);
}

Use& UseOf(Document& doc, const std::string& elementId) {
  for (Use& use : doc.uses) {
    if (use.elementId == elementId) return use;
  }
  throw std::logic_error("no use " + elementId);
}

void EraseUse(Document& doc, const std::string& elementId) {
  doc.uses.erase(std::remove_if(doc.uses.begin(), doc.uses.end(),
                                [&](const Use& use) { return use.elementId == elementId; }),
                 doc.uses.end());
}

Use NewUse(const std::string& parent, const std::string& child, const std::string& name = "",
           const std::string& transform = "") {
  Use use;
  use.parentItem = parent.substr(0, parent.find('/'));
  use.parentRevision = parent.substr(parent.find('/') + 1);
  use.childItem = child.substr(0, child.find('/'));
  use.childRevision = child.substr(child.find('/') + 1);
  use.name = name;
  use.transform = transform;
  return use;
}

std::size_t Count(const std::string& text, const std::string& what) {
  std::size_t count = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
    ++count;
  return count;
}

// The element of that id in a written document.
pugi::xml_node ElementOf(const pugi::xml_document& doc, const std::string& id) {
  return doc.find_node([&](pugi::xml_node node) { return id == node.attribute("id").value(); });
}

std::vector<std::string> Words(const char* text) {
  std::vector<std::string> words;
  std::string word;
  for (const char* c = text;; ++c) {
    if (*c && *c != ' ') {
      word += *c;
      continue;
    }
    if (!word.empty()) words.push_back(word);
    word.clear();
    if (!*c) return words;
  }
}

}  // namespace

TEST(RoundTrip, BothShapesKeepWhatTheModelDoesNotDescribe) {
  for (const char* xml : {kBike, kFrame}) {
    const std::string written = WriteAndCheck(xml, Read(xml));
    EXPECT_EQ(Write(written, Read(written)), written) << "an unchanged document is rewritten";
    for (const char* kept : {"<?xml version=", "<!-- ", "Header id=\"h1\"", "xmlns:"}) {
      EXPECT_NE(written.find(kept), std::string::npos) << kept << " lost:\n" << written;
    }
  }
  const std::string bike = Write(kBike, Read(kBike));
  for (const char* kept : {"<?review status=\"draft\"?>", "x:mark=\"1\"", "<plm:Site id=\"id41\"",
                           "x:color=\"blue\"", "type=\"AttributesInContext\"", "  <plm:Product"}) {
    EXPECT_NE(bike.find(kept), std::string::npos) << kept << " lost:\n" << bike;
  }
  const std::string frame = Write(kFrame, Read(kFrame));
  for (const char* kept : {"v:owner=\"team b\"", "v:note=\"welded\"", "<ProductDef id=\"pd1\"",
                           "<Representation location=\"shapes/bolt.jt\""}) {
    EXPECT_NE(frame.find(kept), std::string::npos) << kept << " lost:\n" << frame;
  }
}

TEST(Items, AttributesAndKeysOfBothShapesChange) {
  Document bike = Read(kBike);
  Item& item = ItemOf(bike, "BIKE");
  item.name = "Bicycle";
  item.subType = "";
  item.key = "BIKE-2";
  for (Use& use : bike.uses) {
    if (use.parentItem == "BIKE") use.parentItem = "BIKE-2";
  }
  Revision& revision = item.revisions[0];
  revision.revision = revision.key = "A1";
  revision.name = "";
  revision.subType = "Mechanical";
  for (Use& use : bike.uses) {
    if (use.parentItem == "BIKE-2") use.parentRevision = "A1";
  }
  bike.roots = {{"BIKE-2", "A1"}};
  const std::string written = WriteAndCheck(kBike, bike);
  EXPECT_EQ(written.find("Bike A"), std::string::npos);

  // A Part that says `type` keeps saying it. The first Part speaks for its item too.
  Document frame = Read(kFrame);
  ItemOf(frame, "FRAME").subType = ItemOf(frame, "FRAME").revisions[0].subType = "weldment";
  ItemOf(frame, "BOLT").name = "Screw";
  RevisionOf(frame, "BOLT", "B").name = "Screw";
  RevisionOf(frame, "BOLT", "A").name = "Screw";
  ItemOf(frame, "BOLT").key = "SCREW";  // every Part of the item says so
  for (Use& use : frame.uses) {
    if (use.childItem == "BOLT") use.childItem = "SCREW";
  }
  const std::string graph = WriteAndCheck(kFrame, frame);
  EXPECT_NE(graph.find("type=\"weldment\""), std::string::npos);
  EXPECT_EQ(graph.find("subType"), std::string::npos);
  EXPECT_EQ(Count(graph, "productId=\"SCREW\""), 2u);
}

TEST(Items, NewItemsAndRevisionsJoinEachShape) {
  Document bike = Read(kBike);
  Item bell;
  bell.key = "BELL";
  bell.name = "Bell";
  bell.userValues = {{"supplier", "ding", ""}};
  bell.revisions.push_back({"A", "", "A", "Bell A", "", {{"mass", "0.1", "real"}}, {}});
  bike.items.push_back(bell);
  Revision hubC;
  hubC.key = hubC.revision = "C";
  ItemOf(bike, "HUB").revisions.push_back(hubC);
  bike.uses.push_back(NewUse("BIKE/A", "BELL/A", "bell", kShift));
  bike.uses.push_back(NewUse("BELL/A", "HUB/C"));
  const std::string written = WriteAndCheck(kBike, bike);
  // After the last Product, and the new revision after HUB's last one.
  EXPECT_LT(written.find("productId=\"BEARING\""), written.find("productId=\"BELL\""));
  EXPECT_LT(written.find("productId=\"BELL\""), written.find("<plm:ProductRevision"));
  EXPECT_LT(written.find("id=\"r5\""), written.find("revision=\"C\""));
  EXPECT_LT(written.find("revision=\"C\""), written.find("id=\"r6\""));

  Document frame = Read(kFrame);
  Item washer;
  washer.key = "WASHER";
  washer.name = "Washer";
  Revision one, two;
  one.key = one.revision = "1";
  one.name = "Washer";
  two.key = two.revision = "2";
  two.name = "Washer 2";
  washer.revisions = {one, two};
  frame.items.push_back(washer);
  Revision boltC;
  boltC.key = boltC.revision = "C";
  boltC.name = "Bolt";
  ItemOf(frame, "BOLT").revisions.push_back(boltC);
  frame.uses.push_back(NewUse("PLATE/A", "WASHER/2"));
  frame.uses.push_back(NewUse("FRAME/A", "BOLT/C", "bolt 3"));
  WriteAndCheck(kFrame, frame);
}

TEST(UserValues, ChangeWhereWrittenAndAddWhereMissing) {
  Document bike = Read(kBike);
  Revision& bikeA = RevisionOf(bike, "BIKE", "A");
  bikeA.userValues[0].value = "13";  // an attribute value
  bikeA.userValues[1].value = "";    // text, emptied
  bikeA.userValues.push_back({"finish", "matte", ""});
  ItemOf(bike, "BIKE").userValues[0].value = "acme corp";
  RevisionOf(bike, "WHEEL", "A").userValues.push_back({"rim", "28", "int"});
  UseOf(bike, "o2").userValues[0].value = "20";
  UseOf(bike, "o3").userValues.push_back({"Quantity", "1", ""});
  const std::string written = WriteAndCheck(kBike, bike);
  EXPECT_EQ(Count(written, "title=\"finish\""), 1u);
  EXPECT_NE(written.find("title=\"color\""), std::string::npos);
  EXPECT_EQ(Count(written, "<plm:UserData id=\"ud2\""), 1u);
  EXPECT_EQ(Count(written, "<plm:UserData"), 5u);  // ud1, ud2, o2's, and new ones for r2 and o3

  // A title the revision lacks but its Product has is changed on the Product.
  Document maker = Read(kBike);
  RevisionOf(maker, "BIKE", "A").userValues.push_back({"maker", "other", ""});
  const Document read = Read(Write(kBike, maker));
  EXPECT_EQ(read.items[0].userValues.at(0).value, "other");
  EXPECT_EQ(read.items[0].revisions[0].userValues.size(), 2u);

  Document frame = Read(kFrame);
  RevisionOf(frame, "FRAME", "A").userValues[0].value = "aluminium";
  UseOf(frame, "i4").userValues[0].value = "6";
  WriteAndCheck(kFrame, frame);
}

TEST(Files, MovedAddedAndRemovedInTheProductShape) {
  Document bike = Read(kBike);
  std::vector<FileRef>& files = RevisionOf(bike, "BIKE", "A").files;
  files[0].path = "/data/plm/cad/v2/bike.prt";
  files[1].path = "/srv/manuals/new manual.pdf";
  FileRef added;
  added.path = "/data/other/wheel.step";
  added.format = "step";
  added.role = "shape";
  RevisionOf(bike, "WHEEL", "A").files.push_back(added);
  const std::string written = WriteAndCheck(kBike, bike);
  EXPECT_NE(written.find("locationRef=\"cad/v2/bike.prt\""), std::string::npos) << written;
  EXPECT_NE(written.find("locationRef=\"file:///srv/manuals/new%20manual.pdf\""),
            std::string::npos);
  EXPECT_NE(written.find("locationRef=\"/data/other/wheel.step\""), std::string::npos);
  EXPECT_NE(written.find("dataSetRef=\"#"), std::string::npos);

  // The last file of a DataSet takes the DataSet and what attaches it along.
  Document bare = Read(kBike);
  RevisionOf(bare, "BIKE", "A").files.erase(RevisionOf(bare, "BIKE", "A").files.begin());
  const std::string one = WriteAndCheck(kBike, bare);
  EXPECT_EQ(one.find("id=\"f1\""), std::string::npos);
  EXPECT_NE(one.find("memberRefs=\"f2\""), std::string::npos);
  RevisionOf(bare, "BIKE", "A").files.clear();
  const std::string none = WriteAndCheck(kBike, bare);
  for (const char* gone : {"ExternalFile", "DataSet"})
    EXPECT_EQ(none.find(gone), std::string::npos) << gone << " left:\n" << none;
}

TEST(Files, RepresentationsOfTheInstanceGraph) {
  Document frame = Read(kFrame);
  RevisionOf(frame, "FRAME", "A").files.clear();
  RevisionOf(frame, "BOLT", "A").files[0].path = "/data/plm/shapes/bolt-m6.jt";
  FileRef added;
  added.path = "/data/plm/shapes/bolt-b.jt";
  added.format = "JT";
  RevisionOf(frame, "BOLT", "B").files.push_back(added);
  const std::string written = WriteAndCheck(kFrame, frame);
  EXPECT_EQ(written.find("rep1"), std::string::npos);
  EXPECT_NE(written.find("location=\"shapes/bolt-m6.jt\""), std::string::npos);
  EXPECT_NE(written.find("location=\"shapes/bolt-b.jt\""), std::string::npos);
}

TEST(Files, AttachmentsOfOccurrencesAndHandedOverLocations) {
  const std::string xml = R"(<PLMXML>
    <Product id="pa" productId="A"/><ProductRevision id="ra" masterRef="#pa" revision="1"/>
    <DataSet id="ds" memberRefs="f1"/><ExternalFile id="f1" locationRef="#f0"/>
    <ExternalFile id="f0" locationRef="x/y.jt"/><ExternalFile id="f9" locationRef="z.pdf"/>
    <ProductView id="v"><AssociatedAttachment id="aa" attachmentRef="#ds" role="shape"/>
      <AssociatedAttachment id="ab" attachmentRef="#f9"/>
      <Occurrence id="o1" instancedRef="#ra" associatedAttachmentRefs="aa ab"/></ProductView></PLMXML>)";
  Document want = Read(xml);
  std::vector<FileRef>& files = want.items[0].revisions[0].files;
  ASSERT_EQ(files.size(), 2u);
  files[0].path = "/data/plm/x/z.jt";
  files.pop_back();
  const std::string moved = WriteAndCheck(xml, want);
  EXPECT_NE(moved.find("locationRef=\"#f0\""), std::string::npos);
  EXPECT_NE(moved.find("locationRef=\"x/z.jt\""), std::string::npos);
  EXPECT_NE(moved.find("associatedAttachmentRefs=\"aa\""), std::string::npos) << moved;
  for (const char* gone : {"\"ab\"", "f9"}) EXPECT_EQ(moved.find(gone), std::string::npos) << gone;
  files.clear();
  const std::string none = WriteAndCheck(xml, want);
  for (const char* gone : {"Attachment", "DataSet", "ExternalFile"})
    EXPECT_EQ(none.find(gone), std::string::npos) << gone << " left:\n" << none;
}

TEST(OccurrenceTree, RemovedSubassemblyUseGoesEverywhereItWasExpanded) {
  Document bike = Read(kBike);
  EraseUse(bike, "o6");
  // HUB/A is no longer in the tree, so its uses cannot be read back.
  EraseUse(bike, "o10");
  const std::string written = WriteAndCheck(kBike, bike);
  for (const char* gone : {"\"o6\"", "\"o9\"", "\"o10\"", "\"o11\"", "#r4"})
    EXPECT_EQ(written.find(gone), std::string::npos) << gone << " left:\n" << written;
  pugi::xml_document doc;
  doc.load_string(written.c_str());
  EXPECT_EQ(Words(ElementOf(doc, "o2").attribute("occurrenceRefs").value()),
            (std::vector<std::string>{"o4", "o5"}));
  EXPECT_EQ(Words(ElementOf(doc, "o3").attribute("occurrenceRefs").value()),
            (std::vector<std::string>{"o7", "o8"}));
}

TEST(OccurrenceTree, NewUseOfASubassemblyBringsItsSubtreeToEveryCopy) {
  Document bike = Read(kBike);
  // A second hub in the wheel, first in order, and one on the bike itself.
  bike.uses.insert(bike.uses.begin() + 2, NewUse("WHEEL/A", "HUB/A", "inner hub", kShift));
  bike.uses.push_back(NewUse("BIKE/A", "HUB/A", "spare"));
  // The new hub must precede o6 among the wheel's children, so it is the first expanded
  // hub of the document now, and the reader takes the hub's uses from its copy.
  const std::string written = WriteAndCheck(kBike, bike, false);
  // A caller that still knows the hub's use by its old id changes nothing.
  Document again = Read(written);
  for (Use& use : again.uses) {
    if (use.parentItem == "HUB") use.elementId = "o10";
  }
  EXPECT_EQ(Write(written, again), Write(written, Read(written)));
  EXPECT_EQ(Count(written, "instancedRef=\"#r6\""), 5u) << written;
  EXPECT_EQ(Count(written, "instancedRef=\"#r4\""), 5u);
  pugi::xml_document doc;
  doc.load_string(written.c_str());
  for (const char* wheel : {"o2", "o3"}) {
    const std::vector<std::string> children =
        Words(ElementOf(doc, wheel).attribute("occurrenceRefs").value());
    ASSERT_EQ(children.size(), 4u) << wheel;
    const pugi::xml_node hub = ElementOf(doc, children[0]);
    EXPECT_STREQ(hub.attribute("name").value(), "inner hub");
    EXPECT_EQ(std::string(hub.attribute("parentRef").value()), std::string("#") + wheel);
    EXPECT_STREQ(hub.child("plm:Transform").text().get(), kShift);
    const std::vector<std::string> bearing = Words(hub.attribute("occurrenceRefs").value());
    ASSERT_EQ(bearing.size(), 1u);
    EXPECT_STREQ(ElementOf(doc, bearing[0]).attribute("instancedRef").value(), "#r6");
  }
}

TEST(OccurrenceTree, ChangedUsesApplyToEveryCopyAndANewChildRevisionIsExpandedAnew) {
  Document bike = Read(kBike);
  Use& hub = UseOf(bike, "o6");
  hub.childRevision = "B";
  hub.name = "hub";
  hub.transform = kShift;
  bike.uses.push_back(NewUse("HUB/B", "SPOKE/A", "axle"));
  EraseUse(bike, "o10");  // HUB/A leaves the tree
  UseOf(bike, "o2").transform = "";
  UseOf(bike, "o5").name = "long spoke";
  const std::string written = WriteAndCheck(kBike, bike);
  pugi::xml_document doc;
  doc.load_string(written.c_str());
  for (const char* id : {"o6", "o9"}) {
    const pugi::xml_node copy = ElementOf(doc, id);
    EXPECT_STREQ(copy.attribute("instancedRef").value(), "#r5") << id;
    EXPECT_STREQ(copy.attribute("name").value(), "hub") << id;
    const std::vector<std::string> children = Words(copy.attribute("occurrenceRefs").value());
    ASSERT_EQ(children.size(), 1u) << id;
    EXPECT_STREQ(ElementOf(doc, children[0]).attribute("name").value(), "axle");
  }
  EXPECT_STREQ(ElementOf(doc, "o8").attribute("name").value(), "long spoke");
  EXPECT_FALSE(ElementOf(doc, "o2").child("plm:Transform"));
  EXPECT_EQ(written.find("\"o10\""), std::string::npos);
}

TEST(OccurrenceTree, CopiesAnExportLeftBareStayBareWhileALeafGrowsEverywhere) {
  // B's second occurrence o3 was not expanded; C is a leaf under o2 and under A itself.
  const std::string xml = R"(<PLMXML>
    <Product id="pa" productId="A"/><ProductRevision id="ra" masterRef="#pa" revision="1"/>
    <Product id="pb" productId="B"/><ProductRevision id="rb" masterRef="#pb" revision="1"/>
    <Product id="pc" productId="C"/><ProductRevision id="rc" masterRef="#pc" revision="1"/>
    <Product id="pd" productId="D"/><ProductRevision id="rd" masterRef="#pd" revision="1"/>
    <ProductView id="v"><Occurrence id="o1" instancedRef="#ra" occurrenceRefs="o2 o3 o5"/>
      <Occurrence id="o2" instancedRef="#rb" occurrenceRefs="o4"/><Occurrence id="o4" instancedRef="#rc"/>
      <Occurrence id="o3" instancedRef="#rb"/><Occurrence id="o5" instancedRef="#rc"/></ProductView></PLMXML>)";
  Document want = Read(xml);
  want.uses.push_back(NewUse("B/1", "C/1", "second"));
  want.uses.push_back(NewUse("C/1", "D/1"));
  want.roots = {{"A", "1"}};  // D is used now
  const std::string written = WriteAndCheck(xml, want);
  EXPECT_EQ(Count(written, "instancedRef=\"#rd\""), 3u) << written;
  EXPECT_EQ(Count(written, "parentRef=\"#o3\""), 0u) << written;
  EXPECT_NE(written.find("<Occurrence id=\"o3\" instancedRef=\"#rb\" />"), std::string::npos);
}

TEST(OccurrenceTree, AnAssemblyTheTreeNeverShowedGetsARootOccurrence) {
  Document bike = Read(kBike);
  Item kit;
  kit.key = "KIT";
  kit.revisions.push_back({"1", "", "1", "", "", {}, {}});
  bike.items.push_back(kit);
  bike.uses.push_back(NewUse("KIT/1", "HUB/A"));
  bike.roots.push_back({"KIT", "1"});
  const std::string written = WriteAndCheck(kBike, bike);
  EXPECT_EQ(Count(written, "instancedRef=\"#r6\""), 3u);
}

TEST(InstanceGraph, InstancesFollowTheUsesInOrder) {
  Document frame = Read(kFrame);
  EraseUse(frame, "i2");
  Use i1 = UseOf(frame, "i1");
  i1.name = "first bolt";
  i1.transform = "";
  i1.childRevision = "B";
  EraseUse(frame, "i1");
  frame.uses.insert(frame.uses.begin() + 1, NewUse("FRAME/A", "PLATE/A", "second plate", kShift));
  frame.uses.insert(frame.uses.begin() + 2, i1);  // i3, new, i1
  const std::string written = WriteAndCheck(kFrame, frame);
  pugi::xml_document doc;
  doc.load_string(written.c_str());
  const std::vector<std::string> listed =
      Words(ElementOf(doc, "x1").attribute("instanceRefs").value());
  ASSERT_EQ(listed.size(), 3u);
  EXPECT_EQ(listed[0], "#i3");
  EXPECT_EQ(listed[2], "#i1");
  EXPECT_STREQ(ElementOf(doc, listed[1].substr(1)).attribute("partRef").value(), "#x4");
  EXPECT_FALSE(ElementOf(doc, "i2"));
  EXPECT_STREQ(ElementOf(doc, "i3").attribute("v:note").value(), "welded");
}

TEST(Ids, NewIdsAreFreshAndReferencesFollowTheDocumentsStyle) {
  Document bike = Read(kBike);
  Item bell;
  bell.key = "BELL";
  bell.revisions.push_back({"A", "", "A", "", "", {{"tone", "high", ""}}, {}});
  bell.revisions[0].files.push_back({"", "/data/plm/bell.prt", "prt", "", ""});
  bike.items.push_back(bell);
  bike.uses.push_back(NewUse("BIKE/A", "BELL/A"));
  bike.uses.push_back(NewUse("WHEEL/A", "BELL/A"));
  const std::string written = WriteAndCheck(kBike, bike);
  pugi::xml_document doc;
  doc.load_string(written.c_str());
  std::set<std::string> ids;
  std::size_t made = 0;
  for (const pugi::xpath_node found : doc.select_nodes("//*[@id]")) {
    const std::string id = found.node().attribute("id").value();
    EXPECT_TRUE(ids.insert(id).second) << "id " << id << " twice";
    const std::string original = std::string("id=\"") + id + "\"";
    if (std::string(kBike).find(original) != std::string::npos) continue;
    ++made;
    ASSERT_EQ(id.substr(0, 2), "id");
    EXPECT_GT(std::stoi(id.substr(2)), 41) << id;
  }
  EXPECT_GE(made, 8u);  // Product, revision, UserData, DataSet, ExternalFile, 3 Occurrences
  const pugi::xml_node o1 = ElementOf(doc, "o1");
  const std::vector<std::string> children = Words(o1.attribute("occurrenceRefs").value());
  ASSERT_EQ(children.size(), 3u);
  EXPECT_NE(children[2][0], '#');
  EXPECT_STREQ(ElementOf(doc, children[2]).attribute("parentRef").value(), "#o1");
}

TEST(Refusals, UnknownKeysCyclesAndUnreadableDocuments) {
  const auto refusal = [](const Document& want) -> std::string {
    try {
      Write(kBike, want);
    } catch (const std::invalid_argument& e) {
      return e.what();
    }
    return "(written)";
  };
  Document unknownItem = Read(kBike);
  unknownItem.uses.push_back(NewUse("BIKE/A", "NOPE/A"));
  EXPECT_NE(refusal(unknownItem).find("item \"NOPE\""), std::string::npos) << refusal(unknownItem);
  Document unknownRevision = Read(kBike);
  unknownRevision.uses.push_back(NewUse("WHEEL/Z", "HUB/A"));
  EXPECT_NE(refusal(unknownRevision).find("revision \"Z\" of item \"WHEEL\""), std::string::npos);
  Document unknownRoot = Read(kBike);
  unknownRoot.roots.push_back({"GHOST", "1"});
  EXPECT_NE(refusal(unknownRoot).find("item \"GHOST\""), std::string::npos);
  Document cycle = Read(kBike);
  cycle.uses.push_back(NewUse("BEARING/A", "WHEEL/A"));
  EXPECT_NE(refusal(cycle).find("cannot contain itself"), std::string::npos) << refusal(cycle);
  Document badTransform = Read(kBike);
  UseOf(badTransform, "o4").transform = "1 0 0 1";
  EXPECT_NE(refusal(badTransform).find("use \"o4\""), std::string::npos);
  Document twice = Read(kBike);
  twice.items.push_back(twice.items[1]);
  twice.items.back().elementId.clear();
  EXPECT_NE(refusal(twice).find("item \"WHEEL\" is in the model twice"), std::string::npos);

  EXPECT_THROW(Write("<PLMXML><Product id='a'></PLMXML>", Read(kBike)), ReadError);
}

TEST(Scale, AHundredThousandOccurrencesWriteQuickly) {
  // A uses 1000 x B, B uses 100 x C: 101,000 occurrences.
  std::string xml = R"(<PLMXML><Product id="pa" productId="A"/><Product id="pb" productId="B"/>
    <Product id="pc" productId="C"/><Product id="pd" productId="D"/>
    <ProductRevision id="ra" masterRef="#pa" revision="1"/><ProductRevision id="rb" masterRef="#pb" revision="1"/>
    <ProductRevision id="rc" masterRef="#pc" revision="1"/><ProductRevision id="rd" masterRef="#pd" revision="1"/>
    <ProductView id="v" rootRefs="top"><Occurrence id="top" instancedRef="#ra"/>)";
  int next = 0;
  for (int b = 0; b < 1000; ++b) {
    const std::string id = "b" + std::to_string(b);
    xml += "<Occurrence id=\"" + id + "\" instancedRef=\"#rb\" parentRef=\"#top\"/>";
    for (int c = 0; c < 100; ++c) {
      xml += "<Occurrence id=\"c" + std::to_string(next++) +
             "\" instancedRef=\"#rc\" parentRef=\"#" + id +
             "\"><Transform>1 0 0 0 0 1 0 0 0 0 1 0 " + std::to_string(c) +
             " 0 0 1</Transform></Occurrence>";
    }
  }
  xml += "</ProductView></PLMXML>";
  Document want = Read(xml);
  ASSERT_EQ(want.uses.size(), 1100u);
  want.uses.erase(want.uses.begin() + 1000);  // B's first use of C, in all 1000 copies
  want.uses.push_back(NewUse("B/1", "D/1", "new"));
  const auto start = std::chrono::steady_clock::now();
  const std::string written = Write(xml, want);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_LT(seconds, 15.0);  // quadratic work would take minutes
  EXPECT_EQ(Count(written, "instancedRef=\"#rd\""), 1000u);
  EXPECT_EQ(Count(written, "instancedRef=\"#rc\""), 99000u);
  std::cout << "wrote 101,000 occurrences in " << seconds << " s\n";
}
