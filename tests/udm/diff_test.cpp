#include "udm_runner.h"

namespace {

class DiffTest : public UdmRepositoryTest {
 protected:
  void Write(const std::string& name, const std::string& text) { std::ofstream(m_work / name) << text; }
  void Run(const std::vector<std::string>& args) {
    const UdmResult result = Udm(args);
    ASSERT_EQ(result.status, 0) << args[0] << ": " << result.err;
  }
  // bracket@0: described "first", two files, two bolts; bolt is used by it.
  void StoredBracket() {
    Run({"new", "UDMPart", "bracket", "--set", "description=first"});
    Write("note.txt", "one");
    Write("keep.txt", "unchanged");
    Run({"add-file", "bracket", "note.txt", "keep.txt"});
    Run({"new", "UDMPart", "bolt"});
    Run({"link", "bracket", "bolt", "--set", "quantity=2"});
    Run({"checkin", "bracket", "-m", "first", "--recursive"});
  }
  // The differences of `diff args...` under --json.
  nlohmann::json Diff(std::vector<std::string> args) {
    args.insert(args.begin(), {"--json", "diff"});
    const UdmResult result = Udm(args);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.json();
  }
};

TEST_F(DiffTest, RevisionsShowExactlyWhatChanged) {
  StoredBracket();
  Run({"new", "Categories", "fasteners"});
  Run({"checkin", "fasteners", "-m", "category"});
  Run({"checkout", "bracket"});
  Run({"set", "bracket", "description=second"});
  Write("note.txt", "two, longer");
  Run({"add-file", "bracket", "note.txt"});
  Run({"unlink", "bracket", "bolt"});
  Run({"link", "bracket", "bolt", "--set", "quantity=3"});
  Run({"classify", "bracket", "fasteners"});
  Run({"checkin", "bracket", "-m", "second"});

  const nlohmann::json document = Diff({"bracket@0", "bracket@1"});
  EXPECT_TRUE(document["different"].get<bool>());
  ASSERT_EQ(document["items"].size(), 1u);
  const nlohmann::json& item = document["items"][0];
  EXPECT_EQ(item["before"]["revision"], 0);
  EXPECT_EQ(item["after"]["revision"], 1);
  EXPECT_EQ(item["attributes"], nlohmann::json::parse(R"([{"name": "description", "before": "first", "after": "second"}])"));
  EXPECT_TRUE(item["uses"]["added"].empty() && item["uses"]["removed"].empty()) << "a bolt relinked is the same use";
  ASSERT_EQ(item["uses"]["changed"].size(), 1u);
  EXPECT_EQ(item["uses"]["changed"][0]["name"], "bolt");
  EXPECT_EQ(item["uses"]["changed"][0]["changes"],
            nlohmann::json::parse(R"([{"name": "quantity", "before": 2.0, "after": 3.0}])"));
  EXPECT_TRUE(item["files"]["added"].empty() && item["files"]["removed"].empty());
  ASSERT_EQ(item["files"]["changed"].size(), 1u) << "keep.txt did not change";
  const nlohmann::json& note = item["files"]["changed"][0];
  EXPECT_EQ(note["name"], "note.txt");
  EXPECT_EQ(note["before"]["size"], 3);
  EXPECT_EQ(note["after"]["size"], 11);
  EXPECT_NE(note["before"]["contentKey"], note["after"]["contentKey"]);
  EXPECT_EQ(Names(item["classifications"]["added"]), std::vector<std::string>{"fasteners"});
  EXPECT_TRUE(item["classifications"]["removed"].empty());
  EXPECT_TRUE(item["relations"]["added"].empty() && item["relations"]["removed"].empty());

  const nlohmann::json back = Diff({"bracket@1", "bracket@0"})["items"][0];
  EXPECT_EQ(Names(back["classifications"]["removed"]), std::vector<std::string>{"fasteners"});
  EXPECT_EQ(back["attributes"][0]["after"], "first");

  // The latest against the one before, in text with markers and no colour when piped.
  const UdmResult text = Udm({"diff", "bracket"});
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_EQ(text.out.find("\033"), std::string::npos);
  EXPECT_EQ(text.out.rfind("diff bracket@0 bracket@1\n", 0), 0u) << text.out;
  EXPECT_NE(text.out.find("\n~ description: first -> second\n"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("\n~ use bolt (parts): quantity 2.0 -> 3.0\n"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("\n+ category fasteners\n"), std::string::npos) << text.out;
}

TEST_F(DiffTest, OneItemComparesTheWorkingCopyWithItsRevision) {
  StoredBracket();
  Run({"checkout", "bracket"});
  UdmResult same = Udm({"diff", "--exit-code", "bracket"});
  EXPECT_EQ(same.status, 0) << same.err;
  EXPECT_EQ(same.out, "");

  Run({"set", "bracket", "description=draft"});
  Run({"unlink", "bracket", "bolt"});
  // Read in the user's session, revision 0 would be the draft itself.
  const nlohmann::json item = Diff({"bracket"})["items"][0];
  EXPECT_FALSE(item["before"]["workingCopy"].get<bool>());
  EXPECT_TRUE(item["after"]["workingCopy"].get<bool>());
  EXPECT_EQ(item["attributes"][0]["after"], "draft");
  EXPECT_EQ(Names(item["uses"]["removed"]), std::vector<std::string>{"bolt"});
  EXPECT_EQ(Diff({"bracket@0", "bracket"})["items"][0], item) << "the bare name is the working copy";

  const UdmResult differs = Udm({"diff", "--exit-code", "bracket"});
  EXPECT_EQ(differs.status, 1);
  EXPECT_EQ(differs.err, "");

  Run({"new", "UDMPart", "washer", "--set", "description=flat"});
  const nlohmann::json fresh = Diff({"washer"})["items"][0];
  EXPECT_TRUE(fresh["before"].is_null());
  bool described = false;
  for (const nlohmann::json& change : fresh["attributes"]) {
    EXPECT_TRUE(change["before"].is_null());
    described = described || (change["name"] == "description" && change["after"] == "flat");
  }
  EXPECT_TRUE(described) << fresh.dump();
}

TEST_F(DiffTest, RecursiveReportsEachChangedChildOnceUnderItsPath) {
  Run({"new", "UDMProject", "assembly"});
  Run({"new", "UDMPart", "bracket", "--under", "assembly"});
  Run({"new", "UDMPart", "bolt"});
  Run({"link", "bracket", "bolt", "--set", "quantity=2"});
  Run({"link", "assembly", "bolt", "--set", "quantity=4"});
  Run({"checkin", "assembly", "-m", "first", "--recursive"});
  Run({"checkout", "assembly"});
  Run({"checkout", "bracket"});
  Run({"checkout", "bolt"});
  Run({"unlink", "bracket", "bolt"});
  Run({"link", "bracket", "bolt", "--set", "quantity=6"});
  Run({"set", "bolt", "description=longer"});

  EXPECT_EQ(Diff({"assembly"})["items"].size(), 1u) << "without --recursive the item alone";
  EXPECT_FALSE(Diff({"assembly"})["different"].get<bool>());
  const nlohmann::json document = Diff({"assembly", "--recursive"});
  EXPECT_TRUE(document["different"].get<bool>());
  std::vector<std::string> paths;
  for (const nlohmann::json& item : document["items"]) paths.push_back(item["path"]);
  // bolt is used twice: compared once, under the first use.
  EXPECT_EQ(paths, (std::vector<std::string>{"assembly", "assembly/bracket", "assembly/bracket/bolt"}));
  EXPECT_EQ(document["items"][1]["uses"]["changed"][0]["changes"][0]["after"], 6.0);
  EXPECT_EQ(document["items"][2]["attributes"][0]["after"], "longer");

  const UdmResult text = Udm({"diff", "assembly", "--recursive", "--exit-code"});
  EXPECT_EQ(text.status, 1);
  EXPECT_EQ(text.out.find("diff assembly@0"), std::string::npos) << "assembly itself is unchanged";
  EXPECT_NE(text.out.find("diff assembly/bracket@0 assembly/bracket (working copy)\n"), std::string::npos) << text.out;
}

TEST_F(DiffTest, MissingRevisionsAndItemsAreRefused) {
  StoredBracket();
  const UdmResult revision = Udm({"diff", "bracket@3"});
  EXPECT_EQ(revision.status, 1);
  EXPECT_EQ(revision.err, "udm: \"bracket\" has no stored revision 3\n");
  const UdmResult item = Udm({"diff", "bracket", "nothing"});
  EXPECT_EQ(item.status, 1);
  EXPECT_EQ(item.err, "udm: no item \"nothing\"\n");
  EXPECT_EQ(Udm({"diff", "a", "b", "c"}).status, 2);
}

}  // namespace
