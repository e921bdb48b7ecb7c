#include "pg_test_database.h"
#include "udm_runner.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <iterator>
#include <memory>
#include <regex>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

// `udm watch` running in the background, its stdout in a file.
class Watcher {
 public:
  Watcher(const std::string& command, std::filesystem::path out) : m_out(std::move(out)) {
    m_pid = ::fork();
    if (m_pid == 0) {
      ::execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
      ::_exit(127);
    }
  }
  ~Watcher() {
    if (m_pid <= 0) return;
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
  }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  // The complete lines printed so far.
  Lines Printed() const {
    std::ifstream in(m_out);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    Lines lines;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
      lines.push_back(text.substr(start, end - start));
    }
    return lines;
  }
  // Whether `seen` holds for what was printed within `limit`.
  bool Await(const std::function<bool(const Lines&)>& seen, std::chrono::milliseconds limit) const {
    const Clock::time_point deadline = Clock::now() + limit;
    for (;;) {
      if (seen(Printed())) return true;
      if (Clock::now() > deadline) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
  // Sends `signal` and returns the exit status; -1 when it never ends.
  int Stop(int signal) {
    ::kill(m_pid, signal);
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(20);
    int raw = 0;
    while (::waitpid(m_pid, &raw, WNOHANG) == 0) {
      if (Clock::now() > deadline) return -1;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    m_pid = -1;
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  }

 private:
  std::filesystem::path m_out;
  pid_t m_pid = -1;
};

std::vector<nlohmann::json> Changes(const Lines& lines) {
  std::vector<nlohmann::json> changes;
  for (const std::string& line : lines) changes.push_back(nlohmann::json::parse(line));
  return changes;
}

// The change of that kind to the item of that name, or null.
nlohmann::json Find(const Lines& lines, const std::string& kind, const std::string& name) {
  for (const nlohmann::json& change : Changes(lines)) {
    if (change["kind"] == kind && change["name"] == name) return change;
  }
  return nullptr;
}

std::function<bool(const Lines&)> Reported(const std::string& kind, const std::string& name) {
  return [=](const Lines& lines) { return !Find(lines, kind, name).is_null(); };
}

// On the embedded SQLite repository of `udm init`, or on the test server.
class WatchTest : public UdmTest, public ::testing::WithParamInterface<std::string> {
 protected:
  void SetUp() override {
    UdmTest::SetUp();
    if (GetParam() == "sqlite") {
      ASSERT_EQ(Udm({"init"}).status, 0);
      return;
    }
    m_database = std::make_unique<PgTestDatabase>();
    if (!m_database->ok()) GTEST_SKIP() << kNoPostgresServer;
    ASSERT_EQ(Udm({"init", "--postgres", m_database->connection()}).status, 0);
    const auto settings = PostgresClientSettings(m_database->server());
    m_repo = {"--repo", m_database->name()};
    m_environment = "PGUSER=" + Quote(settings.at("dbusername")) + " PGPASSWORD=" + Quote(settings.at("dbpasswd"));
  }

  UdmResult Run(std::vector<std::string> args) {
    args.insert(args.begin(), m_repo.begin(), m_repo.end());
    return Udm(args, m_environment);
  }
  void CheckIn(const std::string& name) {
    ASSERT_EQ(Run({"new", "UDMPart", name}).status, 0);
    const UdmResult checkin = Run({"checkin", name, "-m", "made"});
    ASSERT_EQ(checkin.status, 0) << checkin.err;
  }

  std::unique_ptr<Watcher> Watch(std::vector<std::string> args) {
    args.insert(args.begin(), m_repo.begin(), m_repo.end());
    std::string command = "cd " + Quote(m_work.string()) + " && exec env NORVEL_VQK_UDMRT_DB_DIR=" +
                          Quote((m_dir.path() / "registry").string()) + " HOME=" + Quote(m_dir.path().string()) +
                          " " + m_environment + " " + Quote(UDM_BINARY);
    for (const std::string& arg : args) command += " " + Quote(arg);
    const std::filesystem::path out = m_dir.path() / ("watch" + std::to_string(++m_watchers));
    command += " >" + Quote(out.string()) + " 2>" + Quote(out.string() + ".err");
    return std::make_unique<Watcher>(command, out);
  }

  // Until a live watcher has read where the log ends, a change may precede
  // it: changes are made until it reports one.
  bool Listening(const Watcher& watcher) {
    for (int probe = 0; probe < 20; ++probe) {
      const std::string name = "probe" + std::to_string(probe);
      CheckIn(name);
      if (watcher.Await(Reported("persisted", name), std::chrono::seconds(1))) return true;
    }
    return false;
  }

  std::unique_ptr<PgTestDatabase> m_database;
  std::vector<std::string> m_repo;
  std::string m_environment;
  int m_watchers = 0;
};

TEST_P(WatchTest, ReportsAnotherProcessesChangesAsTheyComeUntilCtrlC) {
  CheckIn("before");
  std::unique_ptr<Watcher> watcher = Watch({"--json", "watch"});
  ASSERT_TRUE(Listening(*watcher)) << UdmTest::Read((m_dir.path() / "watch1.err").string());

  CheckIn("bracket");
  ASSERT_TRUE(watcher->Await(Reported("persisted", "bracket"), std::chrono::seconds(1)))
      << "the check-in was not reported within a second";
  ASSERT_EQ(Run({"checkout", "bracket"}).status, 0);
  ASSERT_TRUE(watcher->Await(Reported("checked out", "bracket"), std::chrono::seconds(1)));

  const Lines lines = watcher->Printed();
  const nlohmann::json stored = Find(lines, "persisted", "bracket");
  EXPECT_EQ(stored["class"], "UDMPart");
  EXPECT_EQ(stored["revision"], 0);
  EXPECT_EQ(stored["child"], nullptr);
  EXPECT_FALSE(stored["session"].get<std::string>().empty());
  const UdmResult shown = Run({"--json", "show", "bracket@0"});
  ASSERT_EQ(shown.status, 0) << shown.err;
  EXPECT_EQ(stored["id"], shown.json()["id"]);
  EXPECT_EQ(stored["user"], shown.json()["revisions"][0]["by"]);
  EXPECT_EQ(Find(lines, "persisted", "before"), nullptr) << "a change before the watch began was reported";
  std::int64_t previous = 0;
  for (const nlohmann::json& change : Changes(lines)) {
    EXPECT_GT(change["sequence"].get<std::int64_t>(), previous) << "reported twice or out of order";
    previous = change["sequence"].get<std::int64_t>();
  }

  EXPECT_EQ(watcher->Stop(SIGINT), 130);
}

TEST_P(WatchTest, SinceReplaysTheLogFromASequenceNumberOrATime) {
  CheckIn("first");
  CheckIn("second");
  std::unique_ptr<Watcher> all = Watch({"--json", "watch", "--since", "0"});
  ASSERT_TRUE(all->Await(Reported("persisted", "second"), std::chrono::seconds(20)));
  const nlohmann::json first = Find(all->Printed(), "persisted", "first");
  ASSERT_FALSE(first.is_null()) << "the replay missed the first check-in";
  EXPECT_EQ(all->Stop(SIGTERM), 143);

  // Both starting points lie after the first check-in and before the second.
  for (const std::string& since : {std::to_string(first["sequence"].get<std::int64_t>()),
                                   first["time"].get<std::string>()}) {
    std::unique_ptr<Watcher> later = Watch({"--json", "watch", "--since", since});
    ASSERT_TRUE(later->Await(Reported("persisted", "second"), std::chrono::seconds(20))) << since;
    EXPECT_EQ(Changes(later->Printed()).front()["name"], "second") << since;
    EXPECT_EQ(later->Stop(SIGINT), 130);
  }

  std::unique_ptr<Watcher> human = Watch({"watch", "--since", "0"});
  ASSERT_TRUE(human->Await([](const Lines& lines) { return lines.size() >= 2; }, std::chrono::seconds(20)));
  EXPECT_TRUE(std::regex_match(human->Printed()[0],
                               std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z  persisted  first \(UDMPart\) rev 0  by \S+)")))
      << human->Printed()[0];
  EXPECT_EQ(human->Stop(SIGINT), 130);
}

INSTANTIATE_TEST_SUITE_P(Stores, WatchTest, ::testing::Values("sqlite", "postgres"),
                         [](const ::testing::TestParamInfo<std::string>& info) { return info.param; });

TEST_F(UdmRepositoryTest, WatchRefusesASinceThatIsNoTimeOrSequence) {
  for (const char* since : {"yesterday", "2026-02-30T00:00:00Z", "2026-11-24T25:00:00Z", "-3"}) {
    const UdmResult watched = Udm({"watch", "--since", since});
    EXPECT_EQ(watched.status, 2) << since << ": " << watched.err;
    EXPECT_NE(watched.err.find("--since"), std::string::npos) << watched.err;
    EXPECT_EQ(std::count(watched.err.begin(), watched.err.end(), '\n'), 1) << watched.err;
  }
}

}  // namespace
