#include "udm_runner.h"

#include <algorithm>
#include <fstream>

namespace {

class CliTest : public UdmRepositoryTest {
 protected:
  // A stored project "assembly" with the stored part "bracket" under it.
  void StoredAssembly() {
    ASSERT_EQ(Udm({"new", "UDMProject", "assembly"}).status, 0);
    ASSERT_EQ(Udm({"new", "UDMPart", "bracket", "--under", "assembly", "--set", "mass=2.5"}).status, 0);
    ASSERT_EQ(Udm({"checkin", "assembly", "-m", "first", "--recursive"}).status, 0);
  }
};

TEST_F(CliTest, NewSetAndCheckinCarryWorkAcrossProcesses) {
  const UdmResult created = Udm({"--json", "new", "UDMPart", "bracket", "--set", "material=steel"});
  ASSERT_EQ(created.status, 0) << created.err;
  const std::string id = created.json()["id"];
  EXPECT_EQ(created.json()["version"], 1);

  ASSERT_EQ(Udm({"set", "bracket", "mass=0.25"}).status, 0);
  const UdmResult checkedIn = Udm({"--json", "checkin", "bracket", "-m", "created"});
  ASSERT_EQ(checkedIn.status, 0) << checkedIn.err;
  EXPECT_EQ(checkedIn.json()["id"], id) << "a new item is stored as its revision 0";

  const nlohmann::json shown = Udm({"--json", "show", id.substr(0, 32)}).json();
  EXPECT_EQ(shown["checkedOut"], false);
  for (const nlohmann::json& attribute : shown["attributes"]) {
    if (attribute["name"] == "mass") {
      EXPECT_EQ(attribute["value"], 0.25);
    } else if (attribute["name"] == "material") {
      EXPECT_EQ(attribute["value"], "steel");
    }
  }
  ASSERT_EQ(shown["revisions"].size(), 1u);
  EXPECT_EQ(shown["revisions"][0]["comment"], "created");
}

TEST_F(CliTest, EditingWithoutCheckoutFailsWithTheHint) {
  StoredAssembly();
  const UdmResult refused = Udm({"set", "bracket", "mass=3"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.err, "udm: \"assembly/bracket\" is not checked out: run `udm checkout assembly/bracket` first\n");
}

TEST_F(CliTest, CheckoutSurvivesTheProcessAndStatusTellsModified) {
  StoredAssembly();
  ASSERT_EQ(Udm({"checkout", "bracket", "-m", "edit"}).status, 0);
  nlohmann::json status = Udm({"--json", "status"}).json();
  ASSERT_EQ(status["items"].size(), 1u);
  EXPECT_EQ(status["items"][0]["state"], "checked out");
  EXPECT_EQ(status["items"][0]["modified"], false);

  ASSERT_EQ(Udm({"set", "bracket", "mass=3"}).status, 0);
  status = Udm({"--json", "status"}).json();
  EXPECT_EQ(status["items"][0]["modified"], true);
  EXPECT_EQ(status["items"][0]["path"], "assembly/bracket");

  ASSERT_EQ(Udm({"undo", "bracket"}).status, 0);
  EXPECT_TRUE(Udm({"--json", "status"}).json()["items"].empty());

  ASSERT_EQ(Udm({"checkout", "bracket"}).status, 0);
  std::ofstream(m_work / "note.txt") << "a file is a change too";
  ASSERT_EQ(Udm({"add-file", "bracket", "note.txt"}).status, 0);
  EXPECT_EQ(Udm({"--json", "status"}).json()["items"][0]["modified"], true);
}

TEST_F(CliTest, RefusedCheckinKeepsTheChanges) {
  StoredAssembly();
  ASSERT_EQ(Udm({"checkout", "assembly"}).status, 0);
  ASSERT_EQ(Udm({"new", "UDMPart", "bolt", "--under", "assembly"}).status, 0);
  ASSERT_EQ(Udm({"set", "bolt", "mass=heavy"}).status, 1) << "a Double refuses text";
  // The project's check-in needs its new child along.
  const UdmResult refused = Udm({"checkin", "assembly", "-m", "half"});
  EXPECT_EQ(refused.status, 1);
  const nlohmann::json status = Udm({"--json", "status"}).json();
  std::vector<std::string> held = Names(status["items"]);
  std::sort(held.begin(), held.end());
  EXPECT_EQ(held, (std::vector<std::string>{"assembly", "bolt"}));
  EXPECT_EQ(Udm({"checkin", "assembly", "-m", "whole", "--recursive"}).status, 0);
  EXPECT_EQ(Names(Udm({"--json", "ls", "assembly"}).json()["items"]), (std::vector<std::string>{"bracket", "bolt"}));
}

TEST_F(CliTest, AmbiguousNameIsRefusedListingCandidates) {
  ASSERT_EQ(Udm({"new", "UDMProject", "left"}).status, 0);
  ASSERT_EQ(Udm({"new", "UDMProject", "right"}).status, 0);
  ASSERT_EQ(Udm({"new", "UDMPart", "hinge", "--under", "left"}).status, 0);
  ASSERT_EQ(Udm({"new", "UDMPart", "hinge", "--under", "right"}).status, 0);
  const UdmResult refused = Udm({"show", "hinge"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("\"hinge\" names several items: "), std::string::npos) << refused.err;
  EXPECT_NE(refused.err.find("left/hinge ("), std::string::npos) << refused.err;
  EXPECT_NE(refused.err.find("right/hinge ("), std::string::npos) << refused.err;
  EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1);
  EXPECT_EQ(Udm({"--json", "show", "right/hinge"}).json()["path"], "right/hinge");
}

TEST_F(CliTest, StoredRevisionIsNamedWithAt) {
  StoredAssembly();
  ASSERT_EQ(Udm({"checkout", "bracket"}).status, 0);
  ASSERT_EQ(Udm({"set", "bracket", "mass=3"}).status, 0);
  ASSERT_EQ(Udm({"checkin", "bracket", "-m", "heavier"}).status, 0);
  const nlohmann::json first = Udm({"--json", "show", "assembly/bracket@0"}).json();
  EXPECT_EQ(first["revision"], 0);
  EXPECT_EQ(Udm({"--json", "show", "bracket"}).json()["revision"], 1);
  EXPECT_EQ(Udm({"show", "bracket@2"}).status, 1);

  // An older revision is checked out as the start of a branch, where the definition allows one.
  const UdmResult branch = Udm({"checkout", "bracket@0", "-m", "light variant"});
  ASSERT_EQ(branch.status, 0) << branch.err;
  EXPECT_NE(branch.out.find("starting a branch from revision 0"), std::string::npos) << branch.out;
  ASSERT_EQ(Udm({"undo", "bracket@0"}).status, 0);
  ASSERT_EQ(Udm({"new", "UDMLMFoldertype", "drawings"}).status, 0);
  ASSERT_EQ(Udm({"checkin", "drawings", "-m", "a"}).status, 0);
  ASSERT_EQ(Udm({"checkout", "drawings"}).status, 0);
  ASSERT_EQ(Udm({"checkin", "drawings", "-m", "b"}).status, 0);
  const UdmResult refused = Udm({"checkout", "drawings@0"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("check out the latest, revision 1"), std::string::npos) << refused.err;
}

TEST_F(CliTest, WrongUsageExitsTwo) {
  EXPECT_EQ(Udm({"show", "--no-such-option", "x"}).status, 2);
  EXPECT_EQ(Udm({"set", "bracket", "no-equals"}).status, 1) << "resolving comes first: no bracket";
  EXPECT_EQ(Udm({"query"}).status, 2);
  const UdmResult help = Udm({"new", "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("Example: udm new"), std::string::npos) << help.out;
}

TEST_F(CliTest, JsonErrorIsAnObjectOnStderr) {
  const UdmResult refused = Udm({"--json", "show", "nothing"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_TRUE(refused.out.empty());
  const nlohmann::json error = nlohmann::json::parse(refused.err);
  EXPECT_EQ(error["error"], "no item \"nothing\"");
  EXPECT_EQ(error["subCategory"], 1103);
}

TEST_F(CliTest, SignatureAndCategoriesOnlyWhenVerbose) {
  const UdmResult plain = Udm({"new", "UDMPart", ""});
  EXPECT_EQ(plain.status, 1);
  EXPECT_EQ(std::count(plain.err.begin(), plain.err.end(), '\n'), 1) << plain.err;
  const UdmResult verbose = Udm({"--verbose", "new", "UDMPart", ""});
  EXPECT_NE(verbose.err.find("\n  in "), std::string::npos) << verbose.err;
  EXPECT_NE(verbose.err.find("category 1001"), std::string::npos) << verbose.err;
}

TEST_F(CliTest, QuerySortsAndPages) {
  ASSERT_EQ(Udm({"new", "UDMProject", "kit"}).status, 0);
  for (const char* part : {"a", "b", "c", "d", "e"}) {
    const std::string mass = std::string("mass=") + std::to_string(part[0] - 'a' + 1);
    ASSERT_EQ(Udm({"new", "UDMPart", part, "--under", "kit", "--set", mass}).status, 0);
  }
  ASSERT_EQ(Udm({"checkin", "kit", "-m", "kit", "--recursive"}).status, 0);
  const UdmResult page = Udm({"--json", "query", "cdef = 'UDMPart'", "--sort", "mass", "--desc", "--page", "2",
                              "--size", "2"});
  ASSERT_EQ(page.status, 0) << page.err;
  EXPECT_EQ(Names(page.json()["items"]), (std::vector<std::string>{"c", "b"}));
  EXPECT_EQ(Names(Udm({"--json", "query", "mass >= 4", "--sort", "name"}).json()["items"]), (std::vector<std::string>{"d", "e"}));
}

TEST_F(CliTest, RepositoryFoundFromSubdirectoryAndByRegistry) {
  ASSERT_EQ(Udm({"new", "UDMPart", "axle"}).status, 0);
  m_work /= "sub";
  std::filesystem::create_directories(m_work);
  EXPECT_EQ(Udm({"--json", "status"}).json()["items"].size(), 1u);

  m_work = m_dir.path();
  const nlohmann::json listed = Udm({"--json", "repo", "list"}).json();
  ASSERT_EQ(listed["repositories"].size(), 1u);
  EXPECT_EQ(listed["repositories"][0]["name"], "project");
  EXPECT_EQ(Udm({"--json", "--repo", "project", "status"}).json()["items"].size(), 1u);
  EXPECT_EQ(Udm({"--json", "status"}, "UDM_REPO=project").json()["items"].size(), 1u);
  EXPECT_EQ(Udm({"init", "project"}).status, 1) << "a directory holds one repository";
}

}  // namespace
