#include "driver_fixture.h"

using namespace vqlm;

namespace {

class PostgresDriverTest : public DriverTest {
 protected:
  std::int64_t BackendPid(iDbDriver& db) {
    ResultSet rows;
    EXPECT_TRUE(db.ExecSqlQuery("SELECT pg_backend_pid()", rows));
    std::int64_t pid = 0;
    rows.GetValue(0, 0).ToInt64(pid);
    return pid;
  }
  DbStatus OpenWith(const std::string& connection) {
    std::shared_ptr<iDbDriver> driver = Load();
    return driver->Open(connection);
  }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Postgres, PostgresDriverTest, ::testing::Values("postgres"));

TEST_P(PostgresDriverTest, ConnectionFailuresTellCredentialsFromAnUnreachableServer) {
  const DbStatus badPassword = OpenWith(WithConnectionKeyword(m_connection, "password", "wrong"));
  EXPECT_EQ(badPassword.GetKind(), DbAuthentication) << badPassword.GetText();
  EXPECT_NE(badPassword.GetText().find("password authentication failed"), std::string::npos)
      << badPassword.GetText();

  const DbStatus noServer = OpenWith("host=127.0.0.1 port=1 connect_timeout=5 dbname=x");
  EXPECT_EQ(noServer.GetKind(), DbConnection) << noServer.GetText();

  const DbStatus noDatabase = OpenWith(WithConnectionKeyword(m_connection, "dbname", "udm_no_such_db"));
  EXPECT_EQ(noDatabase.GetKind(), DbConnection) << "the credentials were right: " << noDatabase.GetText();
  EXPECT_NE(noDatabase.GetText().find("udm_no_such_db"), std::string::npos) << noDatabase.GetText();
}

TEST_P(PostgresDriverTest, ServerErrorsCarryTheirSqlStateAndFailTheTransaction) {
  Exec("CREATE TABLE u (k TEXT PRIMARY KEY)");
  ASSERT_TRUE(m_db->BeginTransaction());
  ASSERT_TRUE(m_db->ExecSqlStatement("INSERT INTO u VALUES (?)", {vqVariant("a")}));
  const DbStatus duplicate = m_db->ExecSqlStatement("INSERT INTO u VALUES (?)", {vqVariant("a")});
  EXPECT_EQ(duplicate.GetKind(), DbConstraint);
  EXPECT_EQ(duplicate.GetSqlState(), "23505");
  EXPECT_NE(duplicate.GetText().find("u_pkey"), std::string::npos) << duplicate.GetText();
  EXPECT_FALSE(m_db->Commit()) << "a transaction that met an error must not report a commit";
  EXPECT_EQ(Count("u"), 0);
}

TEST_P(PostgresDriverTest, KilledBackendFailsTheTransactionAndTheNextOneReconnects) {
  Exec("CREATE TABLE t (v BIGINT)");
  std::unique_ptr<iDbStatement> insert;
  ASSERT_TRUE(m_db->Prepare("INSERT INTO t VALUES (?)", insert));
  ASSERT_TRUE(m_db->BeginTransaction());
  ASSERT_TRUE(insert->BindAll({vqVariant(1)}));
  ASSERT_TRUE(insert->Execute());

  std::shared_ptr<iDbDriver> admin = Open();
  ASSERT_TRUE(admin->ExecSqlStatement("SELECT pg_terminate_backend(?)", {vqVariant(BackendPid(*m_db))}));

  const DbStatus lost = insert->Execute();
  EXPECT_EQ(lost.GetKind(), DbConnection) << lost.GetText();
  EXPECT_TRUE(m_db->IsInTransaction()) << "the caller still has to end its transaction";
  m_db->Rollback();
  EXPECT_EQ(Count("t", admin.get()), 0) << "nothing of the killed transaction survives";

  // Outside a transaction the driver connects again; the statement is re-prepared.
  ASSERT_TRUE(m_db->BeginTransaction());
  ASSERT_TRUE(insert->Execute());
  ASSERT_TRUE(m_db->Commit());
  EXPECT_EQ(Count("t", admin.get()), 1);
}

TEST_P(PostgresDriverTest, NotificationsArriveAtCommitOnly) {
  std::shared_ptr<iDbDriver> listener = Open();
  ASSERT_TRUE(listener->HasNotifications());
  ASSERT_TRUE(listener->Listen("udm change"));
  vqStlVector<vqString> payloads;

  ASSERT_TRUE(m_db->BeginTransaction());
  ASSERT_TRUE(m_db->Notify("udm change", "seq 7"));
  ASSERT_TRUE(listener->WaitForNotification(50, payloads));
  EXPECT_TRUE(payloads.empty()) << "nothing before commit";
  ASSERT_TRUE(m_db->Commit());

  ASSERT_TRUE(listener->WaitForNotification(5000, payloads));
  ASSERT_EQ(payloads.size(), 1u);
  EXPECT_EQ(payloads[0], "seq 7");
}

TEST_P(PostgresDriverTest, ManyDistinctStatementsOutgrowTheCacheWithoutHarm) {
  std::unique_ptr<iDbStatement> first;
  ASSERT_TRUE(m_db->Prepare("SELECT ? + 0", first));
  for (int i = 1; i < 700; ++i) {
    ResultSet rows;
    ASSERT_TRUE(m_db->ExecSqlQuery("SELECT ? + " + std::to_string(i), {vqVariant(1)}, rows));
    ASSERT_EQ(rows.GetValue(0, 0), vqVariant(std::int64_t(1 + i)));
  }
  ResultSet rows;
  ASSERT_TRUE(first->BindAll({vqVariant(41)}));
  ASSERT_TRUE(first->Query(rows)) << "an evicted statement is prepared again";
  EXPECT_EQ(rows.GetValue(0, 0), vqVariant(std::int64_t(41)));
}
