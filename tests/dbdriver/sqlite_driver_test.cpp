#include <vqlmidbdriver/DbDriverLoader.h>
#include <vqlmidbdriver/DbDriverWrapper.h>

#include <gtest/gtest.h>

#include <filesystem>

using namespace vqlm;
namespace fs = std::filesystem;

namespace {

class SqliteDriverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_dir = fs::temp_directory_path() /
            ("udm-dbdriver-" + std::to_string(::getpid()) + "-" +
             ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(m_dir);
    fs::create_directories(m_dir);
    m_path = (m_dir / "test.db").string();
    m_db = Open();
  }
  void TearDown() override {
    m_db.reset();
    fs::remove_all(m_dir);
  }
  std::shared_ptr<iDbDriver> Open() {
    std::shared_ptr<iDbDriver> driver;
    const DbStatus loaded = LoadDbDriver(SQLITE_DRIVER_PATH, driver);
    EXPECT_TRUE(loaded) << loaded.GetText();
    const DbStatus opened = driver->Open(m_path);
    EXPECT_TRUE(opened) << opened.GetText();
    return driver;
  }
  void Exec(const vqString& sql) {
    const DbStatus status = m_db->ExecSqlStatement(sql);
    ASSERT_TRUE(status) << status.GetText();
  }
  std::int64_t Count(const vqString& table) {
    ResultSet rows;
    EXPECT_TRUE(m_db->ExecSqlQuery("SELECT count(*) FROM " + table, rows));
    std::int64_t n = -1;
    rows.GetValue(0, 0).ToInt64(n);
    return n;
  }

  fs::path m_dir;
  vqString m_path;
  std::shared_ptr<iDbDriver> m_db;
};

}  // namespace

TEST_F(SqliteDriverTest, ValuesRoundTripThroughBoundParametersWithTheirTypes) {
  Exec("CREATE TABLE t (i INTEGER, r REAL, s TEXT, b BLOB, n TEXT)");
  const std::string bytes("\0\x01quote'\"", 9);
  std::unique_ptr<iDbStatement> insert;
  ASSERT_TRUE(m_db->Prepare("INSERT INTO t VALUES (?, ?, ?, ?, ?)", insert));
  EXPECT_EQ(insert->GetParameterCount(), 5);
  ASSERT_TRUE(insert->BindAll({vqVariant(std::int64_t(1) << 40), vqVariant(2.5),
                               vqVariant("it's; DROP TABLE t"), vqVariant(), vqVariant()}));
  ASSERT_TRUE(insert->BindBlob(4, bytes.data(), bytes.size()));
  std::int64_t affected = 0;
  ASSERT_TRUE(insert->Execute(&affected));
  EXPECT_EQ(affected, 1);

  ResultSet rows;
  ASSERT_TRUE(m_db->ExecSqlQuery("SELECT * FROM t WHERE s = ?", {vqVariant("it's; DROP TABLE t")}, rows));
  ASSERT_EQ(rows.GetRowCount(), 1u);
  EXPECT_EQ(rows.GetColumnName(2), "s");
  EXPECT_EQ(rows.GetValue(0, "i"), vqVariant(std::int64_t(1) << 40));
  EXPECT_EQ(rows.GetValue(0, "r"), vqVariant(2.5));
  EXPECT_EQ(*rows.GetValue(0, "b").GetString(), bytes);
  EXPECT_TRUE(rows.GetValue(0, "n").IsEmpty()) << "NULL comes back empty";
  EXPECT_TRUE(rows.GetValue(0, "no_such_column").IsEmpty());
}

TEST_F(SqliteDriverTest, FailuresComeBackAsStatusesNamingTheCause) {
  ResultSet rows;
  const DbStatus missing = m_db->ExecSqlQuery("select * from \"pdmrepositories\"", rows);
  EXPECT_FALSE(missing);
  EXPECT_NE(missing.GetText().find("no such table: pdmrepositories"), std::string::npos)
      << missing.GetText();

  Exec("CREATE TABLE u (k TEXT PRIMARY KEY)");
  ASSERT_TRUE(m_db->ExecSqlStatement("INSERT INTO u VALUES (?)", {vqVariant("a")}));
  const DbStatus duplicate = m_db->ExecSqlStatement("INSERT INTO u VALUES (?)", {vqVariant("a")});
  EXPECT_EQ(duplicate.GetKind(), DbConstraint);

  std::unique_ptr<iDbStatement> statement;
  EXPECT_EQ(m_db->Prepare("SELEC 1", statement).GetKind(), DbFailed);
  EXPECT_EQ(m_db->Commit().GetKind(), DbMisuse);

  m_db->Close();
  EXPECT_EQ(m_db->ExecSqlStatement("SELECT 1").GetKind(), DbNotOpen);

  std::shared_ptr<iDbDriver> driver;
  const DbStatus noModule = LoadDbDriver("/nonexistent/libnodriver.so", driver);
  EXPECT_FALSE(noModule);
  EXPECT_NE(noModule.GetText().find("libnodriver.so"), std::string::npos) << noModule.GetText();
  EXPECT_FALSE(driver);
}

TEST_F(SqliteDriverTest, RollbackLeavesNothingAndTransactionsDoNotNest) {
  Exec("CREATE TABLE t (v INTEGER)");
  ASSERT_TRUE(m_db->BeginTransaction());
  EXPECT_EQ(m_db->BeginTransaction().GetKind(), DbMisuse);
  ASSERT_TRUE(m_db->BulkInsert("t", {"v"}, {{vqVariant(1)}, {vqVariant(2)}, {vqVariant(3)}}));
  EXPECT_TRUE(m_db->IsInTransaction());
  ASSERT_TRUE(m_db->Rollback());
  EXPECT_FALSE(m_db->IsInTransaction());
  EXPECT_EQ(Count("t"), 0);

  ASSERT_TRUE(m_db->BeginTransaction());
  EXPECT_EQ(m_db->BulkInsert("t", {"v"}, {{vqVariant(1)}, {vqVariant(1), vqVariant(2)}}).GetKind(),
            DbMisuse);
  ASSERT_TRUE(m_db->Commit());
  EXPECT_EQ(Count("t"), 1) << "rows before the bad one stay in the caller's transaction";
}

TEST_F(SqliteDriverTest, SecondConnectionSeesOnlyCommittedWorkAndWaitsForTheWriter) {
  Exec("CREATE TABLE t (v INTEGER)");
  std::shared_ptr<iDbDriver> other = Open();
  ASSERT_TRUE(m_db->BeginTransaction());
  ASSERT_TRUE(m_db->ExecSqlStatement("INSERT INTO t VALUES (?)", {vqVariant(1)}));

  ResultSet rows;
  ASSERT_TRUE(other->ExecSqlQuery("SELECT count(*) FROM t", rows));
  EXPECT_EQ(rows.GetValue(0, 0), vqVariant(std::int64_t(0)));

  ASSERT_TRUE(m_db->Commit());
  ASSERT_TRUE(other->ExecSqlQuery("SELECT count(*) FROM t", rows));
  EXPECT_EQ(rows.GetValue(0, 0), vqVariant(std::int64_t(1)));

  ResultSet mode;
  ASSERT_TRUE(other->ExecSqlQuery("PRAGMA journal_mode", mode));
  EXPECT_EQ(mode.GetValue(0, 0), vqVariant("wal"));
  ASSERT_TRUE(other->ExecSqlQuery("PRAGMA foreign_keys", mode));
  EXPECT_EQ(mode.GetValue(0, 0), vqVariant(std::int64_t(1)));
}

namespace {

// Fails the next commit, as a full disk or a lost lock would.
class FailingCommitDriver : public DbDriverWrapper {
 public:
  using DbDriverWrapper::DbDriverWrapper;
  DbStatus Commit() override {
    Target().Rollback();
    return DbStatus::Failure(DbFailed, "commit: injected failure");
  }
};

}  // namespace

TEST_F(SqliteDriverTest, WrapperCanFailACommitWhileEverythingElseRunsForReal) {
  Exec("CREATE TABLE t (v INTEGER)");
  FailingCommitDriver wrapped(m_db);
  EXPECT_EQ(wrapped.GetDriverName(), "sqlite");
  ASSERT_TRUE(wrapped.BeginTransaction());
  ASSERT_TRUE(wrapped.ExecSqlStatement("INSERT INTO t VALUES (?)", {vqVariant(7)}));
  EXPECT_FALSE(wrapped.Commit());
  EXPECT_FALSE(wrapped.IsInTransaction());
  EXPECT_EQ(Count("t"), 0);
}
