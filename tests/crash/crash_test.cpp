// Crash rounds: a writer process works on the repository and is killed
// with SIGKILL at a random moment; then the repository must be sound, every
// operation that returned complete, and every one in flight all there or
// not there at all. Seeded; VQKUDM_CRASH_ROUNDS and VQKUDM_CRASH_SEED set the
// number of rounds and the seed (printed, to run a failure again).

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include <vqkudm/UDMProfileExtensions.h>
#include <vqkudm/UDMProfileMgr.h>
#include <vqkudmrt/UDMException.h>

#include "crash_repository.h"
#include "pg_test_database.h"
#include "temp_dir.h"

extern char** environ;

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

int Setting(const char* name, int fallback) {
  const char* value = std::getenv(name);
  return value ? std::atoi(value) : fallback;
}

// What the writer said of one operation.
struct Entry {
  std::string state;  // "begin", "done" or "fail"
  std::vector<std::string> words;  // what followed the kind
};
using Journal = std::map<std::pair<int, std::string>, Entry>;

Journal Parse(const std::string& output) {
  Journal journal;
  std::istringstream lines(output);
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream words(line);
    std::string state, kind, word;
    int op = 0;
    if (!(words >> state >> op >> kind)) continue;  // "ready", or a line cut by the kill
    Entry& entry = journal[{op, kind}];
    std::vector<std::string> rest;
    while (words >> word) rest.push_back(word);
    if (state == "begin") entry.words = rest;  // the plan
    entry.state = state;
  }
  return journal;
}

// The writer, running until killed; its output is read once it is gone.
class WriterProcess {
 public:
  explicit WriterProcess(const std::vector<std::string>& arguments) {
    int out[2];
    EXPECT_EQ(::pipe(out), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    std::vector<char*> argv;
    for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    EXPECT_EQ(::posix_spawn(&m_pid, CRASH_WRITER, &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    m_out = out[0];
  }
  ~WriterProcess() {
    if (m_pid > 0) Kill();
    ::close(m_out);
  }

  // Reads until the writer says it is ready; false when it ended first.
  bool AwaitReady() {
    while (m_output.find("ready\n") == std::string::npos) {
      if (!ReadSome()) return false;
    }
    return true;
  }
  // Kills the writer and returns all it said.
  std::string Kill() {
    ::kill(m_pid, SIGKILL);
    int status = 0;
    ::waitpid(m_pid, &status, 0);
    m_pid = -1;
    while (ReadSome()) {
    }
    return m_output;
  }

 private:
  bool ReadSome() {
    char buffer[4096];
    const ssize_t got = ::read(m_out, buffer, sizeof buffer);
    if (got <= 0) return false;
    m_output.append(buffer, static_cast<std::size_t>(got));
    return true;
  }

  pid_t m_pid = -1;
  int m_out = -1;
  std::string m_output;
};

class CrashTest : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    ::setenv("NORVEL_VQK_UDMRT_DB_DIR", (m_dir.path() / "registry").c_str(), 1);
    if (GetParam() == "postgres") {
      m_pg.emplace();
      if (!m_pg->ok()) GTEST_SKIP() << kNoPostgresServer;
      m_target = {"postgres", m_pg->name(), m_pg->server()};
    } else {
      m_target = {"sqlite", (m_dir.path() / "repo").string(), ""};
    }
    m_seed = static_cast<unsigned>(Setting("VQKUDM_CRASH_SEED", static_cast<int>(std::random_device()() >> 1)));
    std::cout << "crash rounds on " << GetParam() << ": VQKUDM_CRASH_SEED=" << m_seed << "\n";
    MakePackage();
    MakeBigFile();
  }

  // A package of three parts for the writer to import.
  void MakePackage() {
    const CrashTarget source{"sqlite", (m_dir.path() / "source").string(), ""};
    boost::shared_ptr<IUDMProfile> profile = OpenCrashRepository(source, source.location);
    vqStlVector<UDMItemHandle> items;
    for (int i = 0; i < 3; ++i) {
      items.push_back(profile->CreateEntity("UDMPart", "imported-" + std::to_string(i)));
      profile->Persist(items.back(), "to import", false, false, false);
    }
    m_package = (m_dir.path() / "package").string();
    UDMProfileExtensions::ExportItems(profile, items, m_package, ExportDirectory);
    UDMProfileMgr::DiscardProfile(profile);
  }

  void MakeBigFile() {
    m_bigFile = (m_dir.path() / "scan.bin").string();
    std::mt19937 random(m_seed);
    std::string bytes(50 << 20, '\0');
    for (std::size_t i = 0; i < bytes.size(); i += 4) *reinterpret_cast<std::uint32_t*>(&bytes[i]) = random();
    std::ofstream(m_bigFile, std::ios::binary) << bytes;
  }

  void Round(int round, std::mt19937& random) {
    const int firstOp = round * 1000;
    WriterProcess writer({CRASH_WRITER, m_target.kind, m_target.location, m_target.server,
                          std::to_string(random()), std::to_string(firstOp), m_package, m_bigFile});
    ASSERT_TRUE(writer.AwaitReady()) << "the writer did not start";
    const auto delay = std::chrono::milliseconds(10 + random() % 500);
    // On the server, some rounds also lose their connections mid-transaction.
    const bool cut = m_pg && random() % 2 == 0;
    if (cut) {
      std::this_thread::sleep_for(delay / 2);
      m_pg->Admin("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = '" + m_pg->name() +
                  "' AND pid <> pg_backend_pid()");
      std::this_thread::sleep_for(delay / 2);
    } else {
      std::this_thread::sleep_for(delay);
    }
    const Journal journal = Parse(writer.Kill());
    std::size_t returned = 0, failed = 0;
    std::string inFlight = "nothing";
    for (const auto& [key, entry] : journal) {
      returned += entry.state == "done" ? 1 : 0;
      failed += entry.state == "fail" ? 1 : 0;
      if (entry.state == "begin") inFlight = key.second;
    }
    std::cout << "round " << round << ": " << (cut ? "connections cut, " : "") << "killed after " << delay.count()
              << " ms, " << returned << " returned, "
              << failed << " failed, in flight: " << inFlight << "\n";
    Check(journal, round);
  }

  void Check(const Journal& journal, int round) {
    SCOPED_TRACE("round " + std::to_string(round));
    boost::shared_ptr<IUDMProfile> profile = OpenCrashRepository(m_target, (m_dir.path() / "checker").string());
    const UDMIntegrityReport report = UDMProfileExtensions::VerifyRepository(profile, false);
    for (const UDMIntegrityFinding& finding : report.findings) {
      EXPECT_FALSE(finding.fault) << finding.check << " " << finding.subject << ": " << finding.message;
    }
    for (const auto& [key, entry] : journal) {
      const auto& [op, kind] = key;
      SCOPED_TRACE(std::to_string(op) + " " + kind + " " + entry.state);
      const bool done = entry.state == "done";
      const auto later = [&](const char* next) {
        const auto found = journal.find({op, next});
        return found == journal.end() ? std::string() : found->second.state;
      };
      if (kind == "batch" && later("unlink").empty() && later("obliterate").empty()) {
        CheckBatch(*profile, op, std::stoi(entry.words.at(0)), done);
      } else if (kind == "unlink") {
        const std::size_t children = Children(*profile, op);
        if (done) {
          EXPECT_EQ(children, 2u);
        } else {
          EXPECT_TRUE(children == 6u || children == 2u) << children << " parts: a half-done check-in";
        }
      } else if (kind == "obliterate") {
        const std::size_t left = Named(*profile, BatchName(op)) + Named(*profile, "part-" + std::to_string(op) + "-*");
        if (done) {
          EXPECT_EQ(left, 0u);
        } else {
          EXPECT_TRUE(left == 0u || left == 4u) << left << " items left of four: a half-done obliteration";
        }
      } else if (kind == "file") {
        vqStlVector<UDMItemHandle> made;
        profile->QueryEntities(made, "name = '" + BatchName(op) + "'", UDMQuerySettingHandle(), false, false);
        EXPECT_TRUE(done ? made.size() == 1u : made.size() <= 1u);
        if (!made.empty()) {
          // Their bytes were checked by hash with the rest of the vault.
          vqStlVector<UDMGenericDocument> files;
          profile->GetFileInfoList(made[0], files, false);
          EXPECT_GE(files.size(), 1u) << "a part stored without its file";
        }
      } else if (kind == "import") {
        const std::size_t imported = Named(*profile, "imported-*");
        EXPECT_TRUE(done ? imported == 3u : imported == 0u || imported == 3u) << imported << " of 3 imported";
      } else if (kind == "schema" && done) {
        const vqStlVector<vqString> names = profile->GetProfileUtils().GetAttributeNameList("UDMDocument");
        EXPECT_NE(std::find(names.begin(), names.end(), vqString("crash_" + std::to_string(op))), names.end());
      }
    }
    UDMProfileMgr::DiscardProfile(profile);
  }

  // A batch is there whole (the project, every part with its attribute) or not at all.
  void CheckBatch(IUDMProfile& profile, int op, int count, bool done) {
    const std::size_t projects = Named(profile, BatchName(op));
    const std::size_t parts = Named(profile, "part-" + std::to_string(op) + "-*");
    if (!done && projects == 0) {
      EXPECT_EQ(parts, 0u) << "parts of a batch that is not there";
      return;
    }
    ASSERT_EQ(projects, 1u);
    EXPECT_EQ(parts, static_cast<std::size_t>(count));
    EXPECT_EQ(Children(profile, op), static_cast<std::size_t>(count));
    vqStlVector<UDMItemHandle> found;
    profile.QueryEntities(found, "name like 'part-" + std::to_string(op) + "-*' and partnumber like 'PN-*'",
                          UDMQuerySettingHandle(), false, false);
    EXPECT_EQ(found.size(), static_cast<std::size_t>(count)) << "parts without their attribute";
  }

  static std::size_t Named(IUDMProfile& profile, const std::string& pattern) {
    vqStlVector<UDMItemHandle> found;
    profile.QueryEntities(found, "name like '" + pattern + "'", UDMQuerySettingHandle(), false, false);
    return found.size();
  }
  static std::size_t Children(IUDMProfile& profile, int op) {
    vqStlVector<UDMItemHandle> found;
    profile.QueryEntities(found, "name = '" + BatchName(op) + "'", UDMQuerySettingHandle(), false, false);
    if (found.empty()) return 0;
    return profile.GetNChildren(found[0], "parts", "");
  }

  TestDirectory m_dir{"vqkudm-crash"};
  std::optional<PgTestDatabase> m_pg;
  CrashTarget m_target;
  unsigned m_seed = 0;
  std::string m_package;
  std::string m_bigFile;
};

}  // namespace

TEST_P(CrashTest, AKilledWriterLeavesEveryOperationWholeOrAbsent) {
  std::mt19937 random(m_seed);
  const int rounds = Setting("VQKUDM_CRASH_ROUNDS", 6);
  for (int round = 0; round < rounds && !HasFatalFailure(); ++round) Round(round, random);
}

INSTANTIATE_TEST_SUITE_P(Backends, CrashTest, ::testing::Values("sqlite", "postgres"));
