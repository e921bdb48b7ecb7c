#include <algorithm>
#include <filesystem>

#include "udm_runner.h"

namespace {

class HelpTest : public UdmTest {
 protected:
  // The completion script as `udm completion bash` prints it, in a file.
  std::string Script() {
    const UdmResult script = Udm({"completion", "bash"});
    EXPECT_EQ(script.status, 0) << script.err;
    const std::string path = (m_dir.path() / "udm.bash").string();
    std::ofstream(path) << script.out;
    return path;
  }

  // What the completion offers with the command line `words`, the last the word being completed.
  std::string Complete(const std::string& words) {
    const std::string out = (m_dir.path() / "completed").string();
    const std::string command = "bash -c " + Quote("source " + Quote(Script()) + " && COMP_WORDS=(" + words +
                                                   ") && COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) && "
                                                   "{ _udm; echo -n \"${COMPREPLY[*]}\"; }") +
                                " >" + Quote(out);
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return Read(out);
  }
};

TEST_F(HelpTest, NamedCommandPrintsItsOwnHelp) {
  const UdmResult help = Udm({"help", "checkin"});
  EXPECT_EQ(help.status, 0) << help.err;
  EXPECT_EQ(help.out, Udm({"checkin", "--help"}).out);
  EXPECT_NE(help.out.find("Example: udm checkin"), std::string::npos) << help.out;
  EXPECT_NE(help.out.find("Usage: udm checkin"), std::string::npos) << help.out;
}

TEST_F(HelpTest, SubCommandPrintsItsOwnHelp) {
  const UdmResult help = Udm({"help", "repo", "list"});
  EXPECT_EQ(help.status, 0) << help.err;
  EXPECT_EQ(help.out, Udm({"repo", "list", "--help"}).out);
  EXPECT_NE(help.out.find("Usage: udm repo list"), std::string::npos) << help.out;
}

TEST_F(HelpTest, AloneListsTheCommands) {
  const UdmResult help = Udm({"help"});
  EXPECT_EQ(help.status, 0) << help.err;
  EXPECT_EQ(help.out, Udm({"--help"}).out);
  for (const char* command : {"checkin", "repo", "import-tree", "completion"}) {
    EXPECT_NE(help.out.find(std::string("\n  ") + command + " "), std::string::npos) << command << "\n" << help.out;
  }
}

TEST_F(HelpTest, UnknownCommandIsWrongUsage) {
  const UdmResult help = Udm({"help", "chekin"});
  EXPECT_EQ(help.status, 2);
  EXPECT_TRUE(help.out.empty()) << help.out;
  EXPECT_EQ(std::count(help.err.begin(), help.err.end(), '\n'), 1) << help.err;
  EXPECT_NE(help.err.find("\"chekin\""), std::string::npos) << help.err;
  EXPECT_NE(help.err.find("checkin, undo"), std::string::npos) << help.err;

  const UdmResult sub = Udm({"help", "repo", "lst"});
  EXPECT_EQ(sub.status, 2);
  EXPECT_NE(sub.err.find("\"repo lst\"; the commands of repo: list, add, remove, default"), std::string::npos)
      << sub.err;
}

TEST_F(HelpTest, CompletionScriptIsValidBash) {
  EXPECT_EQ(std::system(("bash -n " + Quote(Script())).c_str()), 0);
  EXPECT_EQ(Udm({"completion", "zsh"}).status, 2);
}

TEST_F(HelpTest, CompletionIsWhatTheBuildStaged) {
  const std::filesystem::path staged = std::filesystem::path(UDM_BINARY).parent_path().parent_path() / "share" /
                                       "bash-completion" / "completions" / "udm";
  EXPECT_EQ(Read(staged.string()), Udm({"completion", "bash"}).out) << staged;
}

TEST_F(HelpTest, CompletesCommandsAndSubCommands) {
  EXPECT_EQ(Complete("udm che"), "checkout checkin");
  EXPECT_EQ(Complete("udm repo ''"), "list add remove default");
  EXPECT_EQ(Complete("udm --repo checkin repo d"), "default");
  EXPECT_EQ(Complete("udm repo list ''"), "");
}

TEST_F(HelpTest, CompletesTheCommandsOptions) {
  EXPECT_EQ(Complete("udm checkin bracket --r"), "--recursive --repo");
  EXPECT_EQ(Complete("udm repo remove x --d"), "--delete-files");
}

}  // namespace
