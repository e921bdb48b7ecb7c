// What a team sharing one repository on a database server relies on: the
// server's reasons reach the user, a connection lost mid-change leaves
// nothing half-written, and waiting sessions learn of changes.

#include "session_fixture.h"

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/store/DatabaseOpener.h>
#include <vqlmidbdriver/DbDriverWrapper.h>

#include <chrono>
#include <thread>

using namespace vqkudm;

namespace {

class SharedServerTest : public RepositoryTest {};

// Terminates its own server backend from a second connection just before
// committing, as a server restart or a network cut would.
class KilledAtCommit : public vqlm::DbDriverWrapper {
 public:
  KilledAtCommit(std::shared_ptr<vqlm::iDbDriver> target, std::string admin)
      : DbDriverWrapper(std::move(target)), m_admin(std::move(admin)) {}
  bool armed = false;
  vqlm::DbStatus Commit() override {
    if (armed) {
      armed = false;
      vqlm::ResultSet rows;
      EXPECT_TRUE(Target().ExecSqlQuery("SELECT pg_backend_pid()", rows));
      std::shared_ptr<vqlm::iDbDriver> admin;
      EXPECT_TRUE(vqlm::LoadDbDriver(POSTGRES_DRIVER_PATH, admin));
      EXPECT_TRUE(admin->Open(m_admin));
      EXPECT_TRUE(admin->ExecSqlStatement("SELECT pg_terminate_backend(?)", {rows.GetValue(0, 0)}));
    }
    return DbDriverWrapper::Commit();
  }

 private:
  std::string m_admin;
};

}  // namespace

TEST_P(SharedServerTest, WrongCredentialsAreRefusedWithTheServersReason) {
  auto config = boost::make_shared<UDMSessionConfig>(*OpenSession("erin")->GetSessionConfig());
  auto settings = config->GetLMRepoClientSettings();
  settings["dbpasswd"] = "not-the-password";
  config->SetLMRepoClientSettings(settings);
  try {
    UDMFramework::GetInstance()->CreateSession(config);
    FAIL() << "a session opened with a wrong password";
  } catch (const UDMException& e) {
    EXPECT_NE(std::string(e.what()).find("password authentication failed"), std::string::npos) << e.what();
  }
}

TEST_P(SharedServerTest, ConnectionKilledDuringPersistLeavesTheRepositoryAsBefore) {
  std::shared_ptr<KilledAtCommit> killer;
  store::SetDriverDecorator([&](std::shared_ptr<vqlm::iDbDriver> db) {
    killer = std::make_shared<KilledAtCommit>(db, m_pg->server());
    return killer;
  });
  boost::shared_ptr<IUDMSession> frank = OpenSession("frank");
  store::SetDriverDecorator(nullptr);

  UDMItemPtr assembly = frank->CreateEntity(kClassProject, "gearbox", UDMUID());
  assembly->AddChild(frank->CreateEntity(kClassPart, "gear", UDMUID()), "parts");
  killer->armed = true;
  EXPECT_THROW(assembly->Persist("", GDM_RECURSE_ALL, -1, false, true), UDMException);
  EXPECT_TRUE(assembly->IsNew());

  vqStlVector<UDMItemPtr> roots;
  OpenSession("grace")->GetRootEntities(RootEntityItems, roots);
  EXPECT_TRUE(roots.empty()) << "nothing of the killed transaction may survive";

  // The session connects again and its unsaved work is all still there.
  assembly->Persist("", GDM_RECURSE_ALL, -1, false, true);
  OpenSession("heidi")->GetRootEntities(RootEntityItems, roots);
  ASSERT_EQ(roots.size(), 1u);
  vqStlVector<UDMItemPtr> children;
  roots[0]->GetChildren(children, "parts");
  EXPECT_EQ(children.size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Backends, SharedServerTest, ::testing::Values("postgres"));
