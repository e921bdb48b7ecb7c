// The PostgreSQL server going away under an open session: operations fail
// with a clear connection error while it is down, nothing stored is lost,
// and the same session works again once the server is back. The server is
// one of the test's own, since stopping the shared one would fail every
// test running beside this one.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>

#include "pg_test_database.h"
#include "temp_dir.h"

using namespace vqkudm;

namespace {

// A cluster of its own, through the script the test command starts the
// shared one with, kept apart by a state file of its own.
class PrivateServer {
 public:
  explicit PrivateServer(const std::filesystem::path& dir) : m_state(dir / "server.state") {
    const std::string exported = Run("start");
    const std::size_t open = exported.find('\'');
    const std::size_t close = exported.rfind('\'');
    if (open != std::string::npos && close > open) m_connection = exported.substr(open + 1, close - open - 1);
  }
  ~PrivateServer() { Run("stop"); }
  PrivateServer(const PrivateServer&) = delete;
  PrivateServer& operator=(const PrivateServer&) = delete;

  const std::string& connection() const { return m_connection; }
  void Down() { Run("down"); }
  void Up() { Run("up"); }

 private:
  std::string Run(const std::string& command) {
    const std::string line = "VQKUDM_PG_STATE='" + m_state.string() + "' bash " PG_TEST_SERVER_SCRIPT " " + command;
    std::string output;
    if (FILE* pipe = ::popen(line.c_str(), "r")) {
      char buffer[512];
      while (std::fgets(buffer, sizeof buffer, pipe)) output += buffer;
      EXPECT_EQ(::pclose(pipe), 0) << line;
    }
    return output;
  }

  std::filesystem::path m_state;
  std::string m_connection;
};

// One server for the suite: making a cluster takes seconds. Each test keeps
// its items apart by name.
class ServerRestartTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!PostgresTestServer()) return;
    s_dir.emplace("udm-restart");
    s_server.emplace(s_dir->path());
  }
  static void TearDownTestSuite() {
    s_server.reset();
    s_dir.reset();
  }
  void SetUp() override {
    if (!PostgresTestServer()) GTEST_SKIP() << kNoPostgresServer;
    ASSERT_FALSE(s_server->connection().empty());
    ::setenv("NORVEL_VQK_UDMRT_DB_DIR", m_dir.path().c_str(), 1);
  }
  void TearDown() override {
    for (auto& session : m_opened) UDMFramework::GetInstance()->DeleteSession(session);
    m_opened.clear();
  }

  boost::shared_ptr<UDMSession> Open(const std::string& user) {
    auto config = boost::make_shared<UDMSessionConfig>();
    config->SetDataSource("PostGres");
    config->SetRepositoryName("postgres");
    config->SetWorkspaceBaseDir(m_dir.path().string());
    config->SetWorkspaceName("ws-" + user);
    config->SetUserName(user);
    vqStlMap<vqString, vqString> settings;
    for (const auto& [key, value] : PostgresClientSettings(s_server->connection())) settings[key] = value;
    config->SetLMRepoClientSettings(settings);
    m_opened.push_back(UDMFramework::GetInstance()->CreateSession(config));
    return boost::dynamic_pointer_cast<UDMSession>(m_opened.back());
  }

  static inline std::optional<TestDirectory> s_dir;
  static inline std::optional<PrivateServer> s_server;
  TestDirectory m_dir{"udm-restart-work"};
  std::vector<boost::shared_ptr<IUDMSession>> m_opened;
};

UDMItemPtr StoredPart(UDMSession& session, const std::string& name) {
  UDMItemPtr part = session.CreateEntity(kClassPart, name, UDMUID());
  part->Persist("", GDM_RECURSE_NONE, -1, false, true);
  return part;
}

}  // namespace

TEST_F(ServerRestartTest, AnOpenSessionFailsClearlyWhileTheServerIsDownAndWorksOnceItIsBack) {
  boost::shared_ptr<UDMSession> session = Open("alice");
  const UDMItemPtr kept = StoredPart(*session, "kept");
  UDMItemPtr bracket = StoredPart(*session, "bracket");
  bracket->CheckOut("");
  bracket->SetAttribute("description", vqVariant("after the outage"));

  s_server->Down();
  try {
    bracket->Persist("", GDM_RECURSE_NONE, -1, false, true);
    ADD_FAILURE() << "checked in with the server down";
  } catch (const UDMException& e) {
    EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubDatabase) << e.what();
    EXPECT_NE(std::string(e.what()).find("connect"), std::string::npos) << e.what();
  }
  s_server->Up();

  bracket->Persist("", GDM_RECURSE_NONE, -1, false, true);
  boost::shared_ptr<UDMSession> other = Open("bob");
  EXPECT_EQ(other->FindLatest(bracket->GetUID().GetDmUid())->GetAttributeValue("description").ToString(),
            "after the outage");
  EXPECT_TRUE(other->FindLatest(kept->GetUID().GetDmUid()));
  EXPECT_TRUE(other->VerifyRepository(false).IsSound());
}

// A restart between two operations is not noticed: the connection the
// server closed while idle is opened again before the next transaction.
TEST_F(ServerRestartTest, ARestartBetweenOperationsGoesUnnoticed) {
  boost::shared_ptr<UDMSession> session = Open("alice");
  UDMItemPtr pin = StoredPart(*session, "pin");
  pin->CheckOut("");
  pin->SetAttribute("description", vqVariant("across a restart"));
  s_server->Down();
  s_server->Up();
  pin->Persist("", GDM_RECURSE_NONE, -1, false, true);
  StoredPart(*session, "washer");
  EXPECT_EQ(Open("bob")->FindLatest(pin->GetUID().GetDmUid())->GetAttributeValue("description").ToString(),
            "across a restart");
}
