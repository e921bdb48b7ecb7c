#include "udm_runner.h"

#include <pugixml.hpp>

#include <set>

namespace {

class StructureTest : public UdmRepositoryTest {
 protected:
  // Stored: "assembly" uses "bracket" once and "bolt" four times; "bracket" uses "bolt" twice.
  void StoredAssembly() {
    ASSERT_EQ(Udm({"new", "UDMProject", "assembly"}).status, 0);
    ASSERT_EQ(Udm({"new", "UDMPart", "bracket", "--under", "assembly"}).status, 0);
    ASSERT_EQ(Udm({"new", "UDMPart", "bolt"}).status, 0);
    const UdmResult linked = Udm({"link", "assembly", "bolt", "--set", "quantity=4", "--set", "findnumber=10"});
    ASSERT_EQ(linked.status, 0) << linked.err;
    ASSERT_EQ(Udm({"link", "bracket", "bolt", "--set", "quantity=2"}).status, 0);
    ASSERT_EQ(Udm({"checkin", "assembly", "-m", "first", "--recursive"}).status, 0);
  }
  static const nlohmann::json* Find(const nlohmann::json& items, const std::string& name) {
    for (const nlohmann::json& item : items) {
      if (item["name"] == name) return &item;
    }
    return nullptr;
  }
};

TEST_F(StructureTest, TreeShowsEachUseWithItsAttributes) {
  StoredAssembly();
  const UdmResult tree = Udm({"--json", "tree", "assembly"});
  ASSERT_EQ(tree.status, 0) << tree.err;
  const nlohmann::json children = tree.json()["children"];
  ASSERT_EQ(Names(children), (std::vector<std::string>{"bracket", "bolt"}));
  const nlohmann::json& bolt = children[1];
  EXPECT_EQ(bolt["quantity"], 4.0);
  EXPECT_EQ(bolt["attributes"]["findnumber"], 10);
  EXPECT_EQ(bolt["group"], "parts");
  const nlohmann::json& bracket = children[0];
  EXPECT_EQ(bracket["quantity"], 1.0) << "the group's default";
  ASSERT_EQ(Names(bracket["children"]), (std::vector<std::string>{"bolt"}));
  EXPECT_EQ(bracket["children"][0]["quantity"], 2.0);

  const nlohmann::json shallow = Udm({"--json", "tree", "assembly", "--depth", "1"}).json();
  EXPECT_TRUE(shallow["children"][0]["children"].empty());
  EXPECT_EQ(Udm({"tree", "assembly", "--depth", "0"}).status, 2);
}

TEST_F(StructureTest, WhereUsedListsEveryLevel) {
  StoredAssembly();
  const UdmResult used = Udm({"--json", "where-used", "bolt"});
  ASSERT_EQ(used.status, 0) << used.err;
  const nlohmann::json items = used.json()["items"];
  ASSERT_EQ(items.size(), 3u) << items.dump();
  std::vector<std::string> seen;
  for (const nlohmann::json& item : items) {
    seen.push_back(item["path"].get<std::string>() + "@" + std::to_string(item["level"].get<int>()));
    EXPECT_EQ(item["uses"], 1);
  }
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(seen, (std::vector<std::string>{"assembly/bracket@1", "assembly@1", "assembly@2"}));
  EXPECT_TRUE(Udm({"--json", "where-used", "assembly"}).json()["items"].empty());
}

TEST_F(StructureTest, UnlinkRemovesTheLastUse) {
  StoredAssembly();
  ASSERT_EQ(Udm({"checkout", "assembly"}).status, 0);
  ASSERT_EQ(Udm({"link", "assembly", "bolt", "--set", "quantity=8"}).status, 0);
  const UdmResult unlinked = Udm({"unlink", "assembly", "bolt"});
  ASSERT_EQ(unlinked.status, 0) << unlinked.err;
  nlohmann::json children = Udm({"--json", "tree", "assembly"}).json()["children"];
  ASSERT_EQ(Names(children), (std::vector<std::string>{"bracket", "bolt"}));
  EXPECT_EQ(children[1]["quantity"], 4.0) << "the first use stays";

  ASSERT_EQ(Udm({"unlink", "assembly", "bolt"}).status, 0);
  ASSERT_EQ(Udm({"checkin", "assembly", "-m", "no bolts"}).status, 0);
  children = Udm({"--json", "tree", "assembly"}).json()["children"];
  EXPECT_EQ(Names(children), (std::vector<std::string>{"bracket"}));
}

TEST_F(StructureTest, StructureEditsNeedTheParentCheckedOut) {
  StoredAssembly();
  const std::string hint = "\"assembly\" is not checked out: run `udm checkout assembly` first\n";
  EXPECT_EQ(Udm({"link", "assembly", "bolt"}).err, "udm: " + hint);
  const UdmResult refused = Udm({"unlink", "assembly", "bolt"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.err, "udm: " + hint);
  EXPECT_EQ(Udm({"link", "assembly", "bolt", "--set", "quantity"}).status, 2);
}

TEST_F(StructureTest, RelationAndCategoryShowOnTheItem) {
  StoredAssembly();
  ASSERT_EQ(Udm({"new", "Categories", "fasteners"}).status, 0);
  ASSERT_EQ(Udm({"checkin", "fasteners", "-m", "tree"}).status, 0);
  EXPECT_EQ(Udm({"classify", "bolt", "fasteners"}).status, 1) << "bolt is not checked out";
  ASSERT_EQ(Udm({"checkout", "bolt"}).status, 0);
  const UdmResult classified = Udm({"classify", "bolt", "fasteners"});
  ASSERT_EQ(classified.status, 0) << classified.err;
  EXPECT_EQ(Udm({"classify", "bolt", "bracket"}).err, "udm: \"assembly/bracket\" is a UDMPart, not a category\n");
  const UdmResult related = Udm({"--json", "relate", "bolt", "bracket", "--type", "UDMRelTraceability"});
  ASSERT_EQ(related.status, 0) << related.err;
  ASSERT_EQ(Udm({"relate", "bolt", "assembly"}).status, 0);
  ASSERT_EQ(Udm({"checkin", "bolt", "-m", "classified"}).status, 0);

  const nlohmann::json shown = Udm({"--json", "show", "bolt"}).json();
  EXPECT_EQ(Names(shown["classifications"]), (std::vector<std::string>{"fasteners"}));
  std::vector<std::string> relations;
  for (const nlohmann::json& relation : shown["relations"]) {
    EXPECT_EQ(relation["left"]["name"], "bolt");
    relations.push_back(relation["type"].get<std::string>() + ":" + relation["right"]["name"].get<std::string>());
  }
  std::sort(relations.begin(), relations.end());
  EXPECT_EQ(relations, (std::vector<std::string>{"UDMRelGeneral:assembly", "UDMRelTraceability:bracket"}));
  EXPECT_EQ(Udm({"--json", "show", "bracket"}).json()["relations"].size(), 1u) << "seen from its right end too";
}

TEST_F(StructureTest, RemovedItemIsRestored) {
  ASSERT_EQ(Udm({"new", "UDMPart", "washer"}).status, 0);
  ASSERT_EQ(Udm({"checkin", "washer", "-m", "first"}).status, 0);
  const UdmResult removed = Udm({"--json", "rm", "washer"});
  ASSERT_EQ(removed.status, 0) << removed.err;
  EXPECT_EQ(Udm({"show", "washer"}).status, 1);
  EXPECT_EQ(Udm({"restore", "nothing"}).err, "udm: no deleted item \"nothing\"\n");
  const UdmResult restored = Udm({"--json", "restore", removed.json()["id"].get<std::string>().substr(0, 32)});
  ASSERT_EQ(restored.status, 0) << restored.err;
  EXPECT_EQ(restored.json()["name"], "washer");
  EXPECT_EQ(Udm({"--json", "show", "washer"}).json()["checkedOut"], false);
}

TEST_F(StructureTest, PicturesDrawEachItemOnceAndEveryUse) {
  StoredAssembly();
  ASSERT_EQ(Udm({"checkout", "bolt"}).status, 0);
  std::ofstream(m_work / "bolt.step") << "ISO-10303-21;";
  ASSERT_EQ(Udm({"add-file", "bolt", "bolt.step"}).status, 0);
  ASSERT_EQ(Udm({"checkin", "bolt", "-m", "shape"}).status, 0);
  const UdmResult drawn = Udm({"--json", "tree", "assembly", "--svg", "a.svg", "--html", "a.html"});
  ASSERT_EQ(drawn.status, 0) << drawn.err;
  EXPECT_EQ(drawn.json()["written"].size(), 2u);

  pugi::xml_document svg;
  ASSERT_TRUE(svg.load_file((m_work / "a.svg").c_str())) << "well-formed SVG";
  EXPECT_EQ(svg.select_nodes("//*[local-name()='g'][@class='node']").size(), 3u) << "the reused bolt once";
  const pugi::xpath_node_set edges = svg.select_nodes("//*[local-name()='g'][@class='edge']");
  ASSERT_EQ(edges.size(), 3u) << "one edge per use";
  std::multiset<std::string> labels;
  for (const pugi::xpath_node& edge : edges) labels.insert(edge.node().select_node("*[local-name()='text']").node().text().get());
  EXPECT_EQ(labels, (std::multiset<std::string>{"\u00d71", "\u00d72", "\u00d74"}));
  EXPECT_TRUE(svg.select_node("//*[local-name()='text'][starts-with(., 'bolt.step')]")) << "files under their item";

  pugi::xml_document html;
  ASSERT_TRUE(html.load_file((m_work / "a.html").c_str())) << "well-formed XHTML";
  EXPECT_EQ(html.select_nodes("//*[local-name()='details']").size(), 3u) << "assembly, bracket and bolt fold";
  EXPECT_EQ(html.select_nodes("//*[local-name()='a'][starts-with(@href, '#outline-')]").size(), 1u)
      << "the second use of bolt points at the first";
  EXPECT_TRUE(html.select_node("//*[local-name()='svg']")) << "the picture is inline";

  EXPECT_EQ(Udm({"tree", "assembly", "--svg", (m_work / "missing/dir/a.svg").string()}).status, 1);
}

}  // namespace
