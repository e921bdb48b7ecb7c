#include "udm_runner.h"

#include <pugixml.hpp>

#include <chrono>
#include <cstdio>
#include <set>

namespace {

// The item: revisions 0, 1 and 2 on its first line, and a branch from
// revision 1 with revisions 0 and 1, checked in after revision 2.
class LogTest : public UdmRepositoryTest {
 protected:
  void BranchedHistory() {
    const UdmResult created = Udm({"--json", "new", "UDMPart", "bracket", "--set", "mass=1"});
    ASSERT_EQ(created.status, 0) << created.err;
    m_line = created.json()["id"].get<std::string>().substr(0, 32);
    ASSERT_EQ(Udm({"checkin", "bracket", "-m", "created"}).status, 0);
    CheckIn("bracket", "mass=2", "heavier");
    CheckIn("bracket", "material=steel", "needs <M8> & \"washers\"");
    ASSERT_EQ(Udm({"checkout", m_line + "1"}).status, 0);
    ASSERT_EQ(Udm({"set", m_line + "1", "mass=5"}).status, 0);
    const UdmResult branched = Udm({"--json", "checkin", m_line + "1", "-m", "lighter variant"});
    ASSERT_EQ(branched.status, 0) << branched.err;
    m_branch = branched.json()["id"].get<std::string>().substr(0, 32);
    ASSERT_NE(m_branch, m_line);
    CheckIn(m_branch, "material=aluminium", "variant in aluminium");
  }

  void CheckIn(const std::string& item, const std::string& assignment, const std::string& message) {
    ASSERT_EQ(Udm({"checkout", item}).status, 0);
    ASSERT_EQ(Udm({"set", item, assignment}).status, 0);
    const UdmResult stored = Udm({"checkin", item, "-m", message});
    ASSERT_EQ(stored.status, 0) << stored.err;
  }

  static const nlohmann::json& Revision(const nlohmann::json& log, const std::string& id) {
    for (const nlohmann::json& revision : log["revisions"]) {
      if (revision["id"] == id) return revision;
    }
    static const nlohmann::json none;
    ADD_FAILURE() << "no revision " << id << " in " << log.dump();
    return none;
  }

  std::string m_line;    // the first line's data-model id
  std::string m_branch;  // the branch's
};

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The graph part of a line: what comes before the first letter or digit.
std::string GraphOf(const std::string& line) {
  return line.substr(0, line.find_first_not_of(" |*/\\_"));
}

TEST_F(LogTest, TextGraphShowsEveryRevisionAndTheBranch) {
  BranchedHistory();
  const UdmResult log = Udm({"log", m_line});
  ASSERT_EQ(log.status, 0) << log.err;
  EXPECT_EQ(log.out.find('\033'), std::string::npos) << "piped output has no colours";
  const std::vector<std::string> lines = Lines(log.out);

  // Newest first: the branch's two revisions, then the first line's, the
  // branch joining it above revision 1.
  std::vector<std::string> rows;
  for (const std::string& line : lines) {
    if (line.find('*') != std::string::npos) rows.push_back(GraphOf(line));
  }
  EXPECT_EQ(rows, (std::vector<std::string>{"  *  ", "  *  ", "* |  ", "*    ", "*    "})) << log.out;
  EXPECT_NE(log.out.find("  *  0 (branched from 1)  "), std::string::npos) << log.out;
  EXPECT_NE(log.out.find("\n|/\n*    1  "), std::string::npos) << log.out;

  for (const std::string& id : {m_line + "0", m_line + "1", m_line + "2", m_branch + "0", m_branch + "1"}) {
    EXPECT_NE(log.out.find(id), std::string::npos) << id;
  }
  EXPECT_NE(log.out.find("needs <M8> & \"washers\""), std::string::npos);
  EXPECT_NE(log.out.find(m_branch + "0  mass: 2 \xE2\x86\x92 5\n"), std::string::npos) << log.out;
  EXPECT_NE(log.out.find(m_line + "2  material: \xE2\x88\x85 \xE2\x86\x92 steel\n"), std::string::npos) << log.out;

  // Asked for by the branch, the whole history is drawn the same way.
  EXPECT_EQ(Udm({"log", m_branch + "0"}).out, log.out);

  // On a terminal (util-linux `script` makes one): coloured.
  if (std::system("command -v script >/dev/null 2>&1") == 0) {
    const std::string out = (m_dir.path() / "terminal").string();
    const std::string command = "cd " + Quote(m_work.string()) + " && env NORVEL_VQK_UDMRT_DB_DIR=" +
                                Quote((m_dir.path() / "registry").string()) + " HOME=" + Quote(m_dir.path().string()) +
                                " script -qec " + Quote(Quote(UDM_BINARY) + " log " + m_line) + " /dev/null >" +
                                Quote(out) + " </dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_NE(Read(out).find("\033[1m"), std::string::npos) << Read(out);
  }
}

TEST_F(LogTest, JsonGivesOriginsAndChangesSinceThem) {
  BranchedHistory();
  // Work in progress is no revision: the stored revision 2 is shown, not the draft.
  ASSERT_EQ(Udm({"checkout", m_line}).status, 0);
  ASSERT_EQ(Udm({"set", m_line, "mass=9"}).status, 0);
  const UdmResult log = Udm({"--json", "log", m_line});
  ASSERT_EQ(log.status, 0) << log.err;
  const nlohmann::json document = log.json();
  ASSERT_EQ(document["revisions"].size(), 5u);
  EXPECT_EQ(document["lanes"], 2);
  ASSERT_EQ(document["lines"].size(), 2u);
  EXPECT_EQ(document["lines"][0]["id"], m_line);
  EXPECT_TRUE(document["lines"][0]["branchedFrom"].is_null());
  EXPECT_EQ(document["lines"][1]["branchedFrom"], m_line + "1");

  const nlohmann::json& start = Revision(document, m_branch + "0");
  EXPECT_EQ(start["revision"], 0);
  EXPECT_EQ(start["branchedFrom"], 1);
  EXPECT_EQ(start["from"], m_line + "1");
  EXPECT_EQ(start["comment"], "lighter variant");
  // Compared with revision 1, not with the newer revision 2 of its source line.
  EXPECT_EQ(start["changed"], nlohmann::json::parse(R"([{"name": "mass", "before": 2.0, "after": 5.0}])"));

  const nlohmann::json& next = Revision(document, m_branch + "1");
  EXPECT_TRUE(next["branchedFrom"].is_null());
  EXPECT_EQ(next["from"], m_branch + "0");
  EXPECT_EQ(next["changed"],
            nlohmann::json::parse(R"([{"name": "material", "before": null, "after": "aluminium"}])"));

  const nlohmann::json& second = Revision(document, m_line + "2");
  EXPECT_TRUE(second["branchedFrom"].is_null());
  EXPECT_EQ(second["changed"], nlohmann::json::parse(R"([{"name": "material", "before": null, "after": "steel"}])"));
  const nlohmann::json& first = Revision(document, m_line + "0");
  EXPECT_TRUE(first["from"].is_null());
  std::set<std::string> initial;
  for (const nlohmann::json& change : first["changed"]) {
    EXPECT_TRUE(change["before"].is_null());
    initial.insert(change["name"].get<std::string>());
  }
  EXPECT_TRUE(initial.count("mass") && initial.count("smd_name")) << first.dump();
  for (const nlohmann::json& revision : document["revisions"]) {
    EXPECT_FALSE(revision["by"].get<std::string>().empty());
    EXPECT_FALSE(revision["time"].get<std::string>().empty());
  }
}

// The picture's parts every test looks at.
struct Picture {
  pugi::xml_document document;
  pugi::xml_node svg;
  std::size_t nodes = 0;
  std::set<std::string> rows;  // the nodes' heights
};

void Parse(const std::string& path, Picture& picture) {
  const pugi::xml_parse_result parsed = picture.document.load_file(path.c_str());
  ASSERT_TRUE(parsed) << path << ": " << parsed.description() << " at " << parsed.offset;
  picture.svg = picture.document.select_node("//*[local-name()='svg']").node();
  ASSERT_TRUE(picture.svg) << path;
  EXPECT_STREQ(picture.svg.attribute("xmlns").value(), "http://www.w3.org/2000/svg");
  const std::string size = picture.svg.attribute("width").value() + std::string(" ") + picture.svg.attribute("height").value();
  EXPECT_EQ(std::string(picture.svg.attribute("viewBox").value()), "0 0 " + size);
  for (const pugi::xpath_node& node : picture.svg.select_nodes(".//*[local-name()='circle']")) {
    ++picture.nodes;
    picture.rows.insert(node.node().attribute("cy").value());
  }
  // Nothing loaded from elsewhere.
  for (const pugi::xpath_node& node : picture.document.select_nodes("//*[@src or @href or @xlink:href]")) {
    ADD_FAILURE() << path << " refers to " << node.node().name();
  }
  for (const pugi::xpath_node& style : picture.document.select_nodes("//*[local-name()='style']")) {
    EXPECT_EQ(std::string(style.node().text().get()).find("url("), std::string::npos);
  }
}

TEST_F(LogTest, PicturesAreWellFormedWithANodePerRevision) {
  BranchedHistory();
  const std::string svgPath = (m_work / "history.svg").string(), htmlPath = (m_work / "history.html").string();
  const UdmResult written = Udm({"log", m_line, "--svg", "history.svg", "--html", "history.html"});
  ASSERT_EQ(written.status, 0) << written.err;
  EXPECT_NE(written.out.find("history.svg"), std::string::npos);

  Picture svg;
  Parse(svgPath, svg);
  EXPECT_EQ(svg.nodes, 5u);
  EXPECT_EQ(svg.rows.size(), 5u) << "one row per revision";
  EXPECT_EQ(svg.svg.select_nodes(".//*[local-name()='title']").size(), 5u) << "each node's details";
  EXPECT_STREQ(svg.svg.child("text").text().get(), "History of bracket");

  Picture html;
  Parse(htmlPath, html);
  EXPECT_EQ(html.nodes, 5u);
  EXPECT_STREQ(html.document.document_element().name(), "html");
  const pugi::xml_node row = html.document.select_node(("//*[@data-id='" + m_branch + "0']").c_str()).node();
  ASSERT_TRUE(row);
  EXPECT_STREQ(row.attribute("data-changes").value(), "mass: 2 \xE2\x86\x92 5");
  const pugi::xml_node escaped = html.document.select_node(("//*[@data-id='" + m_line + "2']").c_str()).node();
  EXPECT_STREQ(escaped.attribute("data-comment").value(), "needs <M8> & \"washers\"");
  EXPECT_TRUE(html.document.select_node("//*[local-name()='script']")) << "the hover details";

  const UdmResult json = Udm({"--json", "log", m_line, "--svg", "again.svg"});
  EXPECT_EQ(json.json()["written"], nlohmann::json::array({"again.svg"}));
}

TEST_F(LogTest, RefusesWhatHasNoHistoryOrCannotBeWritten) {
  ASSERT_EQ(Udm({"new", "UDMPart", "draft"}).status, 0);
  const UdmResult unstored = Udm({"log", "draft"});
  EXPECT_EQ(unstored.status, 1);
  EXPECT_NE(unstored.err.find("no stored revisions"), std::string::npos) << unstored.err;
  EXPECT_EQ(std::count(unstored.err.begin(), unstored.err.end(), '\n'), 1);

  ASSERT_EQ(Udm({"checkin", "draft", "-m", "first"}).status, 0);
  const UdmResult unwritable = Udm({"log", "draft", "--html", "missing/dir/page.html"});
  EXPECT_EQ(unwritable.status, 1);
  EXPECT_NE(unwritable.err.find("missing/dir/page.html"), std::string::npos) << unwritable.err;
  EXPECT_EQ(Udm({"log", "nothing-of-that-name"}).status, 1);
  EXPECT_EQ(Udm({"log"}).status, 2);
}

// A package of `revisions` revisions: a first line and, every 40 of its
// revisions, a branch of 10 checked in before the line goes on.
void WriteLargeHistory(const std::filesystem::path& package, int revisions, std::string& firstLine) {
  firstLine = "0123456789abcdef0123456789abcdef";
  nlohmann::json entities = nlohmann::json::array();
  int minute = 0;
  const auto time = [&minute] {
    char text[64];
    std::snprintf(text, sizeof text, "2026-01-%02dT%02d:%02d:00.000Z", 1 + minute / 1440, minute / 60 % 24, minute % 60);
    ++minute;
    return std::string(text);
  };
  const auto revision = [](int number, const std::string& when, const std::string& comment, int mass) {
    return nlohmann::json{{"revision", number}, {"name", "frame"},   {"modifiedBy", "alice"},
                          {"modified", when},   {"comment", comment}, {"files", nlohmann::json::array()},
                          {"attributes", {{{"name", "mass"}, {"type", 4}, {"text", std::to_string(mass)},
                                           {"number", mass}}}}};
  };
  const auto entity = [](const std::string& id, const nlohmann::json& branchFrom, nlohmann::json versions) {
    return nlohmann::json{{"id", id}, {"definition", "UDMPart"}, {"class", "UDMItem"},
                          {"latestRevision", versions.size() - 1}, {"deleted", false}, {"createdBy", "alice"},
                          {"created", versions[0]["modified"]}, {"branchFrom", branchFrom},
                          {"revisions", versions}, {"links", nlohmann::json::array()},
                          {"references", nlohmann::json::array()}, {"classifications", nlohmann::json::array()}};
  };
  const int branches = revisions / 50;
  nlohmann::json line = nlohmann::json::array();
  for (int number = 0; number < revisions - 10 * branches; ++number) {
    line.push_back(revision(number, time(), "step " + std::to_string(number), number));
    if (number % 40 != 1 || static_cast<int>(entities.size()) >= branches) continue;
    char id[48];
    std::snprintf(id, sizeof id, "fedcba9876543210fedcba98765432%02d", static_cast<int>(entities.size()));
    nlohmann::json versions = nlohmann::json::array();
    for (int b = 0; b < 10; ++b) versions.push_back(revision(b, time(), "variant " + std::to_string(b), 1000 + b));
    const std::string source = firstLine + std::to_string(number);
    versions[0]["attributes"].push_back({{"name", "smd_branchfrom"}, {"type", 5}, {"text", firstLine}, {"number", nullptr}});
    versions[0]["attributes"].push_back({{"name", "smd_branchfromver"}, {"type", 3}, {"text", std::to_string(number)},
                                         {"number", number}});
    versions[0]["attributes"].push_back({{"name", "smd_branchedtime"}, {"type", 5},
                                         {"text", versions[0]["modified"]}, {"number", nullptr}});
    entities.push_back(entity(id, source, versions));
  }
  entities.insert(entities.begin(), entity(firstLine, nullptr, line));
  std::filesystem::create_directories(package / "contents");
  std::ofstream(package / "manifest.json")
      << nlohmann::json{{"format", "vqkudm-package"}, {"version", 1}, {"exported", time()}, {"source", "test"},
                        {"contentsFolder", "contents"}, {"contents", nlohmann::json::array()}, {"entities", entities}}
             .dump();
}

TEST_F(LogTest, LargeHistoryStaysOneRowPerRevisionInFewLanes) {
  std::string line;
  WriteLargeHistory(m_dir.path() / "package", 500, line);
  const UdmResult imported = Udm({"import", (m_dir.path() / "package").string()});
  ASSERT_EQ(imported.status, 0) << imported.err;

  const auto started = std::chrono::steady_clock::now();
  const UdmResult log = Udm({"--json", "log", line, "--svg", "large.svg", "--html", "large.html"});
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  ASSERT_EQ(log.status, 0) << log.err;
  EXPECT_LT(seconds, 20) << "udm log of 500 revisions";
  const nlohmann::json document = log.json();
  ASSERT_EQ(document["revisions"].size(), 500u);
  // The branches follow each other: one lane serves them all.
  EXPECT_EQ(document["lanes"], 2);
  int starts = 0;
  for (const nlohmann::json& revision : document["revisions"]) starts += revision["branchedFrom"].is_null() ? 0 : 1;
  EXPECT_EQ(starts, 10);

  for (const char* file : {"large.svg", "large.html"}) {
    Picture picture;
    Parse((m_work / file).string(), picture);
    EXPECT_EQ(picture.nodes, 500u) << file;
    EXPECT_EQ(picture.rows.size(), 500u) << file << ": one row per revision";
    const double width = std::stod(picture.svg.attribute("width").value());
    EXPECT_LT(width, 1600) << file << ": long fields are cut";
  }
}

TEST_F(LogTest, HtmlPageRunsInABrowserWithoutErrors) {
  std::string browser;
  for (const char* name : {"chromium", "chromium-browser"}) {
    if (std::system(("command -v " + std::string(name) + " >/dev/null 2>&1").c_str()) == 0) browser = name;
  }
  if (browser.empty()) GTEST_SKIP() << "no chromium on PATH";
  BranchedHistory();
  ASSERT_EQ(Udm({"log", m_line, "--html", "page.html"}).status, 0);
  const std::string err = (m_dir.path() / "browser.err").string(), out = (m_dir.path() / "browser.out").string();
  const std::string command = browser + " --headless --disable-gpu --no-sandbox --no-first-run --enable-logging=stderr --v=0 " +
                              "--user-data-dir=" + Quote((m_dir.path() / "profile").string()) + " --dump-dom " +
                              Quote("file://" + (m_work / "page.html").string()) + " >" + Quote(out) + " 2>" + Quote(err);
  ASSERT_EQ(std::system(command.c_str()), 0) << Read(err);
  const std::string log = Read(err);
  EXPECT_EQ(log.find("CONSOLE"), std::string::npos) << log;
  EXPECT_EQ(log.find("Uncaught"), std::string::npos) << log;
  EXPECT_NE(Read(out).find("data-id=\"" + m_branch + "0\""), std::string::npos);
}

}  // namespace
