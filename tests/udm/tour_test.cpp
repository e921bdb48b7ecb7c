// The README's main job: the tour script on the KiCad demo projects, checked
// afterwards through udm itself.

#include "udm_runner.h"

namespace {

namespace fs = std::filesystem;

const char* const kDemos = "/usr/share/kicad/demos";

TEST_F(UdmTest, TourOfTheKicadDemosLeavesBothRepositoriesAsItSays) {
  ASSERT_TRUE(fs::is_directory(kDemos)) << "the Debian package kicad-demos is missing";
  const std::string log = (m_dir.path() / "tour.log").string();
  const std::string command = "bash " + Quote(TOUR_SCRIPT) + " " + Quote(UDM_BINARY) + " " + Quote(kDemos) + " " +
                              Quote(m_dir.path().string()) + " >" + Quote(log) + " 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0) << Read(log);

  m_work = m_dir.path() / "team";
  const nlohmann::json users = Udm({"--json", "where-used", "demos/pic_programmer/libs"}).json()["items"];
  std::vector<std::string> paths;
  for (const nlohmann::json& user : users) paths.push_back(user["path"]);
  EXPECT_EQ(paths, (std::vector<std::string>{"demos/complex_hierarchy", "demos/pic_programmer", "demos"}));
  EXPECT_TRUE(Udm({"--json", "status"}).json()["items"].empty());
  ASSERT_EQ(Udm({"get", "demos/pic_programmer@0", "first"}).status, 0);
  const std::string schematic = "/pic_programmer/pic_programmer.kicad_sch";
  EXPECT_EQ(Read((m_work / "first/pic_programmer.kicad_sch").string()), Read(kDemos + schematic));

  m_work = m_dir.path() / "lab";
  ASSERT_EQ(Udm({"get", "pic_programmer", "copy", "--recursive"}).status, 0);
  const std::string edited = Read((m_work / "copy/pic_programmer.kicad_sch").string());
  EXPECT_NE(edited.find("(rev \"3\")"), std::string::npos) << "the package carries the new revision";
  EXPECT_EQ(Read((m_work / "copy/libs/pic_programmer_schlib.kicad_sym").string()),
            Read(std::string(kDemos) + "/pic_programmer/libs/pic_programmer_schlib.kicad_sym"));
}

}  // namespace
