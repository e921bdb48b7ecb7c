#include <fstream>
#include <map>
#include <set>

#include "udm_runner.h"

namespace {

namespace fs = std::filesystem;

class ImportTreeTest : public UdmRepositoryTest {
 protected:
  void Write(const std::string& relative, const std::string& content) {
    const fs::path path = m_tree / relative;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
  }

  // "tree", "tree/a", "tree/a/b", "tree/c", with a file or two in each.
  void SmallTree() {
    Write("top.txt", "top");
    Write("a/one.bin", std::string(1000, 'x'));
    Write("a/two.bin", "two");
    Write("a/b/deep.txt", "deep");
    Write("c/other.txt", "other");
  }

  UdmResult Import(const std::vector<std::string>& extra = {}, const std::string& environment = "") {
    std::vector<std::string> args{"--json", "import-tree", m_tree.string()};
    args.insert(args.end(), extra.begin(), extra.end());
    return Udm(args, environment);
  }

  nlohmann::json Show(const std::string& item) {
    const UdmResult shown = Udm({"--json", "show", item});
    EXPECT_EQ(shown.status, 0) << item << ": " << shown.err;
    return shown.status == 0 ? shown.json() : nlohmann::json::object();
  }

  std::map<std::string, std::int64_t> Files(const std::string& item) {
    std::map<std::string, std::int64_t> sizes;
    const nlohmann::json shown = Show(item);
    for (const nlohmann::json& file : shown["files"]) sizes[file["name"]] = file["size"];
    return sizes;
  }

  int Revision(const std::string& item) { return Show(item)["revision"]; }

  nlohmann::json State() {
    return {Udm({"--json", "ls"}).json(), Udm({"--json", "status"}).json()};
  }

  fs::path m_tree = m_dir.path() / "tree";
};

TEST_F(ImportTreeTest, StoresFoldersAndFilesInOneCheckin) {
  SmallTree();
  const UdmResult imported = Import();
  ASSERT_EQ(imported.status, 0) << imported.err;
  const nlohmann::json result = imported.json();
  EXPECT_EQ(result["created"], 4);
  EXPECT_EQ(result["files"]["added"], 5);
  EXPECT_EQ(result["bytes"], 3 + 1000 + 3 + 4 + 5);
  EXPECT_EQ(result["item"]["revision"], 0);

  EXPECT_EQ(Names(Show("tree")["children"]), (std::vector<std::string>{"a", "c"}));
  EXPECT_EQ(Show("tree/a")["children"][0]["group"], "Foldertype");
  EXPECT_EQ(Files("tree"), (std::map<std::string, std::int64_t>{{"top.txt", 3}}));
  EXPECT_EQ(Files("tree/a"), (std::map<std::string, std::int64_t>{{"one.bin", 1000}, {"two.bin", 3}}));
  EXPECT_EQ(Files("tree/a/b"), (std::map<std::string, std::int64_t>{{"deep.txt", 4}}));
  EXPECT_FALSE(Show("tree/a/b")["checkedOut"]);
  EXPECT_TRUE(Udm({"--json", "status"}).json()["items"].empty());
}

TEST_F(ImportTreeTest, DryRunWritesNothingAndReportsRenamesAndCollisions) {
  SmallTree();
  Write("x:y/f", "1");
  Write("x_y/g", "2");
  const nlohmann::json before = State();

  const UdmResult dry = Import({"--dry-run"});
  ASSERT_EQ(dry.status, 0) << dry.err;
  const nlohmann::json plan = dry.json();
  EXPECT_EQ(plan["dryRun"], true);
  EXPECT_EQ(plan["created"], 6);
  EXPECT_EQ(plan["files"]["added"], 7);
  ASSERT_EQ(plan["renamed"].size(), 1u);
  EXPECT_EQ(plan["renamed"][0]["path"], "tree/x:y");
  EXPECT_EQ(plan["renamed"][0]["name"], "x_y");
  ASSERT_EQ(plan["collisions"].size(), 1u);
  EXPECT_EQ(plan["collisions"][0]["name"], "x_y");
  EXPECT_EQ(plan["collisions"][0]["paths"], (nlohmann::json{"tree/x:y", "tree/x_y"}));
  EXPECT_EQ(State(), before);

  // Stored for real, the two folders would be one item: refused, nothing written.
  EXPECT_EQ(Import().status, 1);
  EXPECT_EQ(State(), before);
}

TEST_F(ImportTreeTest, RerunRevisesOnlyTheFoldersThatChanged) {
  SmallTree();
  ASSERT_EQ(Import().status, 0);

  Write("a/b/deep.txt", "deeper");
  const nlohmann::json deepOnly = Import().json();
  EXPECT_EQ(deepOnly["updated"], 1) << "a change in a/b alone needs no revision above it";
  EXPECT_EQ(deepOnly["files"]["replaced"], 1);
  EXPECT_EQ(Revision("tree/a/b"), 1);
  EXPECT_EQ(Revision("tree/a"), 0);
  EXPECT_EQ(Revision("tree"), 0);

  Write("a/two.bin", "TWO");  // same size, other content
  Write("a/new/n.txt", "n");
  fs::remove(m_tree / "top.txt");
  const nlohmann::json result = Import().json();
  EXPECT_EQ(result["created"], 1);
  EXPECT_EQ(result["updated"], 2);
  EXPECT_EQ(result["unchanged"], 2);
  EXPECT_EQ(result["files"]["added"], 1);
  EXPECT_EQ(result["files"]["replaced"], 1);
  EXPECT_EQ(result["files"]["removed"], 1);

  EXPECT_EQ(Revision("tree"), 1);
  EXPECT_EQ(Revision("tree/a"), 1);
  EXPECT_EQ(Revision("tree/a/b"), 1);
  EXPECT_EQ(Revision("tree/c"), 0);
  EXPECT_TRUE(Files("tree").empty());
  EXPECT_EQ(Files("tree/a/new"), (std::map<std::string, std::int64_t>{{"n.txt", 1}}));
  const nlohmann::json before = Show("tree/a@0")["files"], after = Show("tree/a")["files"];
  EXPECT_NE(before[1]["contentKey"], after[1]["contentKey"]);
  EXPECT_EQ(before[0]["contentKey"], after[0]["contentKey"]);

  const nlohmann::json again = Import().json();
  EXPECT_EQ(again["updated"], 0);
  EXPECT_EQ(again["unchanged"], 5);
  EXPECT_EQ(Revision("tree"), 1);

  fs::remove_all(m_tree / "c");
  const UdmResult planned = Udm({"import-tree", m_tree.string(), "--dry-run"});
  EXPECT_NE(planned.out.find("remove  tree/c/\n"), std::string::npos) << planned.out;
  EXPECT_EQ(Import().json()["removedFolders"], 1);
  auto children = [&](const std::string& item) {
    std::set<std::string> names;
    const nlohmann::json shown = Show(item);
    for (const nlohmann::json& child : shown["children"]) names.insert(child["name"].get<std::string>());
    return names;
  };
  EXPECT_EQ(children("tree"), (std::set<std::string>{"a"}));
  EXPECT_EQ(children("tree@1"), (std::set<std::string>{"a", "c"})) << "older revisions keep the folder";
  EXPECT_EQ(Udm({"show", "c"}).status, 0) << "the folder's item stays";
}

TEST_F(ImportTreeTest, InterruptedImportLeavesNothingBehind) {
  SmallTree();
  const std::string hook = "UDM_TEST_SIGTERM_AFTER_FILES=3";
  EXPECT_EQ(Import({}, hook).status, 143);
  EXPECT_TRUE(Udm({"--json", "ls"}).json()["items"].empty());
  EXPECT_TRUE(Udm({"--json", "status"}).json()["items"].empty());

  const UdmResult full = Import();
  ASSERT_EQ(full.status, 0) << full.err;
  EXPECT_EQ(full.json()["files"]["added"], 5);

  // Interrupting a re-run gives back the check-outs it took.
  Write("a/more.txt", "more");
  Write("c/more.txt", "more");
  EXPECT_EQ(Import({}, "UDM_TEST_SIGTERM_AFTER_FILES=1").status, 143);
  EXPECT_TRUE(Udm({"--json", "status"}).json()["items"].empty());
  EXPECT_EQ(Revision("tree"), 0);
  EXPECT_EQ(Files("tree/a").size(), 2u);
  ASSERT_EQ(Import().status, 0);
  EXPECT_EQ(Files("tree/a").size(), 3u);
  EXPECT_EQ(Files("tree/c").size(), 2u);
}

}  // namespace

TEST_F(ImportTreeTest, SymbolicLinksLeavingTheTreeBringNothingIn) {
  SmallTree();
  const fs::path outside = m_dir.path() / "outside";
  fs::create_directories(outside / "secrets");
  std::ofstream(outside / "secrets" / "key.txt") << "secret";
  fs::create_directory_symlink(outside / "secrets", m_tree / "a" / "linked");
  fs::create_symlink(outside / "secrets" / "key.txt", m_tree / "a" / "key.txt");
  const UdmResult imported = Import();
  ASSERT_EQ(imported.status, 0) << imported.err;
  EXPECT_EQ(Files("a"), (std::map<std::string, std::int64_t>{{"one.bin", 1000}, {"two.bin", 3}}));
  EXPECT_NE(Udm({"show", "linked"}).status, 0) << "no item for the linked folder";
}
