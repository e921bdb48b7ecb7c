#include "udm_runner.h"

namespace {

class FilesTest : public UdmRepositoryTest {
 protected:
  void Write(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(m_work / path, std::ios::binary) << bytes;
  }
  std::string Bytes(const std::filesystem::path& path) {
    std::ifstream in(m_work / path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  // Stored: "assembly" with the part "bracket" under it, which holds both files.
  void StoredAssemblyWithFiles() {
    Write("note.txt", "a note\n");
    Write("shape.bin", kBinary);
    ASSERT_EQ(Udm({"new", "UDMProject", "assembly"}).status, 0);
    ASSERT_EQ(Udm({"new", "UDMPart", "bracket", "--under", "assembly"}).status, 0);
    const UdmResult added = Udm({"add-file", "bracket", "note.txt", "shape.bin"});
    ASSERT_EQ(added.status, 0) << added.err;
    ASSERT_EQ(Udm({"checkin", "assembly", "-m", "first", "--recursive"}).status, 0);
  }

  const std::string kBinary{"\x00\x01\xff\x00zero\x00\r\n", 11};
};

TEST_F(FilesTest, GetWritesTheFilesByteExact) {
  StoredAssemblyWithFiles();
  const UdmResult got = Udm({"--json", "get", "bracket", "out"});
  ASSERT_EQ(got.status, 0) << got.err;
  EXPECT_EQ(got.json()["files"].size(), 2u);
  EXPECT_EQ(Bytes("out/shape.bin"), kBinary);
  EXPECT_EQ(Bytes("out/note.txt"), "a note\n");

  ASSERT_EQ(Udm({"get", "assembly", "tree", "--recursive"}).status, 0);
  EXPECT_EQ(Bytes("tree/bracket/shape.bin"), kBinary);
  EXPECT_EQ(Udm({"--json", "get", "assembly", "flat"}).json()["files"].size(), 0u) << "the assembly has none";
}

TEST_F(FilesTest, AddFileReplacesAndNeedsCheckout) {
  StoredAssemblyWithFiles();
  Write("note.txt", "a longer note\n");
  EXPECT_EQ(Udm({"add-file", "bracket", "note.txt"}).err,
            "udm: \"assembly/bracket\" is not checked out: run `udm checkout assembly/bracket` first\n");
  ASSERT_EQ(Udm({"checkout", "bracket"}).status, 0);
  EXPECT_EQ(Udm({"add-file", "bracket", "missing.txt"}).err, "udm: no file missing.txt\n");
  ASSERT_EQ(Udm({"add-file", "bracket", "note.txt"}).status, 0);
  ASSERT_EQ(Udm({"checkin", "bracket", "-m", "longer"}).status, 0);
  ASSERT_EQ(Udm({"get", "bracket", "new"}).status, 0);
  EXPECT_EQ(Bytes("new/note.txt"), "a longer note\n");
  ASSERT_EQ(Udm({"get", "bracket@0", "old"}).status, 0);
  EXPECT_EQ(Bytes("old/note.txt"), "a note\n");
}

TEST_F(FilesTest, ExportedItemsImportIntoAnotherRepository) {
  StoredAssemblyWithFiles();
  const UdmResult exported = Udm({"--json", "export", "assembly", "-o", "assembly.tar.gz"});
  ASSERT_EQ(exported.status, 0) << exported.err;
  EXPECT_TRUE(std::filesystem::is_regular_file(m_work / "assembly.tar.gz"));
  const std::string package = exported.json()["package"];

  m_work = m_dir.path() / "other";
  std::filesystem::create_directories(m_work);
  ASSERT_EQ(Udm({"init"}).status, 0);
  const std::string other = m_work.string();
  m_work = m_dir.path();
  const UdmResult imported = Udm({"--json", "--repo", other, "import", package});
  ASSERT_EQ(imported.status, 0) << imported.err;
  EXPECT_EQ(imported.json()["added"], 2);
  const nlohmann::json tree = Udm({"--json", "--repo", other, "tree", "assembly"}).json();
  EXPECT_EQ(Names(tree["children"]), (std::vector<std::string>{"bracket"}));
  ASSERT_EQ(Udm({"--repo", other, "get", "bracket", "copy"}).status, 0);
  EXPECT_EQ(Bytes("copy/shape.bin"), kBinary);
  const UdmResult again = Udm({"--json", "--repo", other, "import", package});
  ASSERT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(again.json()["added"], 0) << "a second import changes nothing";
}

TEST_F(FilesTest, AddedAttributeCanBeSet) {
  const UdmResult added = Udm({"--json", "defs", "add-attr", "UDMPart", "supplier", "string"});
  ASSERT_EQ(added.status, 0) << added.err;
  const nlohmann::json definition = added.json();
  bool listed = false;
  for (const nlohmann::json& attribute : definition["attributes"]) listed |= attribute["name"] == "supplier";
  EXPECT_TRUE(listed);
  EXPECT_EQ(Udm({"defs", "add-attr", "UDMPart", "supplier", "string"}).err,
            "udm: UDMPart has an attribute \"supplier\" already\n");
  EXPECT_EQ(Udm({"defs", "NoSuchClass"}).err, "udm: no definition \"NoSuchClass\"\n");
  // Regression: a definition the repository holds is edited from its stored form.
  const UdmResult second = Udm({"defs", "add-attr", "UDMPart", "plant", "string"});
  EXPECT_EQ(second.status, 0) << second.err;

  ASSERT_EQ(Udm({"new", "UDMPart", "nut", "--set", "supplier=acme"}).status, 0);
  ASSERT_EQ(Udm({"checkin", "nut", "-m", "bought"}).status, 0);
  const UdmResult found = Udm({"--json", "query", "supplier = 'acme'"});
  ASSERT_EQ(found.status, 0) << found.err;
  EXPECT_EQ(Names(found.json()["items"]), (std::vector<std::string>{"nut"}));
}

TEST_F(FilesTest, DefinitionsListAttributesAndGroups) {
  const nlohmann::json part = Udm({"--json", "defs", "UDMPart"}).json();
  EXPECT_EQ(part["derivedFrom"], "UDMItem");
  bool parts = false;
  for (const nlohmann::json& group : part["groups"]) {
    if (group["name"] == "parts") parts = group["admits"] == nlohmann::json::array({"UDMPart"});
  }
  EXPECT_TRUE(parts) << part.dump();
  const UdmResult help = Udm({"defs", "add-attr", "--help"});
  EXPECT_NE(help.out.find("Example: udm defs add-attr"), std::string::npos) << help.out;
}

}  // namespace

TEST_F(FilesTest, FsckFindsAContentGoneFromTheVaultAndPrunesOnlyWhenAsked) {
  StoredAssemblyWithFiles();
  const UdmResult sound = Udm({"--json", "fsck"});
  ASSERT_EQ(sound.status, 0) << sound.err;
  EXPECT_TRUE(sound.json()["sound"].get<bool>());
  EXPECT_EQ(sound.json()["fileRecords"], 2);

  const std::string key = Udm({"--json", "show", "bracket"}).json()["files"][0]["contentKey"];
  const std::filesystem::path vault = m_work / ".udm" / "project" / "vault" / "objects";
  std::filesystem::copy_file(vault / key.substr(0, 2) / key, m_work / "kept");
  std::filesystem::remove(vault / key.substr(0, 2) / key);
  const UdmResult broken = Udm({"fsck"});
  EXPECT_EQ(broken.status, 1);
  EXPECT_NE(broken.out.find("fault  content  " + key + "  missing from the vault"), std::string::npos) << broken.out;
  EXPECT_NE(broken.out.find(": 1 fault\n"), std::string::npos) << broken.out;

  // A content put back under a key nothing records is a note until pruned.
  const std::string stray(64, 'a');
  std::filesystem::create_directories(vault / "aa");
  std::filesystem::rename(m_work / "kept", vault / "aa" / stray);
  const nlohmann::json noted = Udm({"--json", "fsck"}).json();
  ASSERT_EQ(noted["findings"].size(), 2u);
  EXPECT_EQ(noted["findings"][1]["check"], "unreferenced content");
  EXPECT_FALSE(noted["findings"][1]["fault"].get<bool>());
  EXPECT_TRUE(std::filesystem::exists(vault / "aa" / stray));
  const nlohmann::json pruned = Udm({"--json", "fsck", "--prune"}).json();
  EXPECT_TRUE(pruned["findings"][1]["removed"].get<bool>());
  EXPECT_FALSE(std::filesystem::exists(vault / "aa" / stray));
}
