// What every driver promises, run on each of them.

#include <vqlmidbdriver/DbDriverWrapper.h>

#include "driver_fixture.h"

#include <stdexcept>

using namespace vqlm;

INSTANTIATE_TEST_SUITE_P(Drivers, DriverTest, ::testing::Values("sqlite", "postgres"));

TEST_P(DriverTest, ValuesRoundTripThroughBoundParametersWithTheirTypes) {
  Exec(vqString("CREATE TABLE t (i BIGINT, r DOUBLE PRECISION, s TEXT, b ") + BlobType() + ", n TEXT)");
  const std::string bytes("\0\x01quote'\"\\x", 11);
  std::unique_ptr<iDbStatement> insert;
  ASSERT_TRUE(m_db->Prepare("INSERT INTO t VALUES (?, ?, ?, ?, ?)", insert));
  EXPECT_EQ(insert->GetParameterCount(), 5);
  ASSERT_TRUE(insert->BindAll({vqVariant(std::int64_t(1) << 40), vqVariant(2.5),
                               vqVariant("it's? ; DROP TABLE t"), vqVariant(), vqVariant()}));
  ASSERT_TRUE(insert->BindBlob(4, bytes.data(), bytes.size()));
  std::int64_t affected = 0;
  ASSERT_TRUE(insert->Execute(&affected));
  EXPECT_EQ(affected, 1);

  ResultSet rows;
  const DbStatus read =
      m_db->ExecSqlQuery("SELECT * FROM t WHERE s = ? AND s <> '?'", {vqVariant("it's? ; DROP TABLE t")}, rows);
  ASSERT_TRUE(read) << read.GetText();
  ASSERT_EQ(rows.GetRowCount(), 1u);
  EXPECT_EQ(rows.GetColumnName(2), "s");
  EXPECT_EQ(rows.GetValue(0, "i"), vqVariant(std::int64_t(1) << 40));
  EXPECT_EQ(rows.GetValue(0, "r"), vqVariant(2.5));
  EXPECT_EQ(*rows.GetValue(0, "b").GetString(), bytes);
  EXPECT_TRUE(rows.GetValue(0, "n").IsEmpty()) << "NULL comes back empty";
  EXPECT_TRUE(rows.GetValue(0, "no_such_column").IsEmpty());
}

TEST_P(DriverTest, RowsReadOneByOneHoldWhatTheResultSetHolds) {
  Exec("CREATE TABLE t (i BIGINT, r DOUBLE PRECISION, s TEXT, n TEXT)");
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(m_db->ExecSqlStatement("INSERT INTO t VALUES (?, ?, ?, NULL)",
                                       {vqVariant(std::int64_t(i) << 40), vqVariant(i + 0.5),
                                        vqVariant("text " + std::to_string(i))}));
  }
  std::unique_ptr<iDbStatement> select;
  ASSERT_TRUE(m_db->Prepare("SELECT i, r, s, n FROM t ORDER BY i", select));
  ResultSet all;
  ASSERT_TRUE(select->Query(all));
  std::size_t seen = 0;
  const DbStatus read = select->QueryEach([&](const DbRow& row) {
    EXPECT_EQ(row.GetInt64(0), *all.GetValue(seen, 0).GetInt64());
    EXPECT_EQ(row.GetValue(1), all.GetValue(seen, 1));
    EXPECT_EQ(row.GetText(2), *all.GetValue(seen, 2).GetString());
    EXPECT_FALSE(row.IsNull(2));
    EXPECT_TRUE(row.IsNull(3));
    EXPECT_EQ(row.GetText(3), "");
    EXPECT_TRUE(row.GetValue(3).IsEmpty());
    ++seen;
  });
  ASSERT_TRUE(read) << read.GetText();
  EXPECT_EQ(seen, 3u);

  // A reader that gives up ends the query: the statement runs again and the
  // connection still writes.
  EXPECT_THROW(select->QueryEach([](const DbRow&) { throw std::runtime_error("enough"); }), std::runtime_error);
  seen = 0;
  ASSERT_TRUE(select->QueryEach([&](const DbRow&) { ++seen; }));
  EXPECT_EQ(seen, 3u);
  ASSERT_TRUE(m_db->BeginTransaction());
  ASSERT_TRUE(m_db->ExecSqlStatement("DELETE FROM t"));
  ASSERT_TRUE(m_db->Commit());
  EXPECT_EQ(Count("t", m_db.get()), 0);
}

TEST_P(DriverTest, FailuresComeBackAsStatusesNamingTheCause) {
  ResultSet rows;
  const DbStatus missing = m_db->ExecSqlQuery("select * from \"pdmrepositories\"", rows);
  EXPECT_FALSE(missing);
  EXPECT_NE(missing.GetText().find("pdmrepositories"), std::string::npos) << missing.GetText();

  Exec("CREATE TABLE u (k TEXT PRIMARY KEY)");
  ASSERT_TRUE(m_db->ExecSqlStatement("INSERT INTO u VALUES (?)", {vqVariant("a")}));
  const DbStatus duplicate = m_db->ExecSqlStatement("INSERT INTO u VALUES (?)", {vqVariant("a")});
  EXPECT_EQ(duplicate.GetKind(), DbConstraint) << duplicate.GetText();

  std::unique_ptr<iDbStatement> statement;
  EXPECT_FALSE(m_db->Prepare("SELEC 1", statement));
  EXPECT_EQ(m_db->Commit().GetKind(), DbMisuse);

  m_db->Close();
  EXPECT_EQ(m_db->ExecSqlStatement("SELECT 1").GetKind(), DbNotOpen);

  std::shared_ptr<iDbDriver> driver;
  const DbStatus noModule = LoadDbDriver("/nonexistent/libnodriver.so", driver);
  EXPECT_FALSE(noModule);
  EXPECT_NE(noModule.GetText().find("libnodriver.so"), std::string::npos) << noModule.GetText();
  EXPECT_FALSE(driver);
}

TEST_P(DriverTest, RollbackLeavesNothingAndTransactionsDoNotNest) {
  Exec("CREATE TABLE t (v BIGINT, s TEXT)");
  ASSERT_TRUE(m_db->BeginTransaction());
  EXPECT_EQ(m_db->BeginTransaction().GetKind(), DbMisuse);
  ASSERT_TRUE(m_db->BulkInsert("t", {"v", "s"},
                               {{vqVariant(1), vqVariant("tab\there")},
                                {vqVariant(2), vqVariant("line\nback\\slash")},
                                {vqVariant(3), vqVariant()}}));
  EXPECT_TRUE(m_db->IsInTransaction());
  EXPECT_EQ(Count("t"), 3);
  ASSERT_TRUE(m_db->Rollback());
  EXPECT_FALSE(m_db->IsInTransaction());
  EXPECT_EQ(Count("t"), 0);

  EXPECT_EQ(m_db->BulkInsert("t", {"v", "s"}, {{vqVariant(1), vqVariant("a")}, {vqVariant(1)}}).GetKind(),
            DbMisuse);
  EXPECT_EQ(Count("t"), 0) << "a malformed row refuses the whole insert before anything is written";

  ASSERT_TRUE(m_db->BulkInsert("t", {"v", "s"}, {{vqVariant(2), vqVariant("line\nback\\slash")}}));
  ResultSet rows;
  ASSERT_TRUE(m_db->ExecSqlQuery("SELECT s FROM t", rows));
  EXPECT_EQ(rows.GetValue(0, 0), vqVariant("line\nback\\slash"));
}

TEST_P(DriverTest, RowsGivenOneByOneAreWrittenAsTheyWereWhenGiven) {
  Exec("CREATE TABLE t (n BIGINT, x DOUBLE PRECISION, s TEXT)");
  // One buffer for every row: a driver that kept the views past the next
  // row would write the last row's text everywhere.
  std::string text;
  ASSERT_TRUE(m_db->BulkInsertEach("t", {"n", "x", "s"}, 4, [&](std::size_t row, DbParam* values) {
    text = "row " + std::to_string(row) + (row == 1 ? "\ttab\\" : "");
    values[0] = DbParam::Of(std::int64_t(row) - 2);
    values[1] = DbParam::Of(0.5 + static_cast<double>(row));
    values[2] = row == 2 ? DbParam::Of(std::string_view()) : row == 3 ? DbParam() : DbParam::Of(std::string_view(text));
  }));
  ResultSet rows;
  ASSERT_TRUE(m_db->ExecSqlQuery("SELECT n, x, s FROM t ORDER BY n", rows));
  ASSERT_EQ(rows.GetRowCount(), 4u);
  EXPECT_EQ(rows.GetValue(0, 0).ToString(), "-2");
  EXPECT_EQ(rows.GetValue(3, 1).ToString(), "3.5");
  EXPECT_EQ(rows.GetValue(0, 2), vqVariant("row 0"));
  EXPECT_EQ(rows.GetValue(1, 2), vqVariant("row 1\ttab\\"));
  EXPECT_EQ(rows.GetValue(2, 2), vqVariant("")) << "an empty view is the empty text, not NULL";
  EXPECT_TRUE(rows.GetValue(3, 2).IsEmpty());

  EXPECT_EQ(m_db->BulkInsertEach("t", {}, 1, [](std::size_t, DbParam*) {}).GetKind(), DbMisuse);
}

TEST_P(DriverTest, SecondConnectionSeesOnlyCommittedWork) {
  Exec("CREATE TABLE t (v BIGINT)");
  std::shared_ptr<iDbDriver> other = Open();
  ASSERT_TRUE(m_db->BeginTransaction());
  ASSERT_TRUE(m_db->ExecSqlStatement("INSERT INTO t VALUES (?)", {vqVariant(1)}));
  EXPECT_EQ(Count("t", other.get()), 0);
  ASSERT_TRUE(m_db->Commit());
  EXPECT_EQ(Count("t", other.get()), 1);
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

TEST_P(DriverTest, WrapperCanFailACommitWhileEverythingElseRunsForReal) {
  Exec("CREATE TABLE t (v BIGINT)");
  FailingCommitDriver wrapped(m_db);
  EXPECT_EQ(wrapped.GetDriverName(), GetParam());
  ASSERT_TRUE(wrapped.BeginTransaction());
  ASSERT_TRUE(wrapped.ExecSqlStatement("INSERT INTO t VALUES (?)", {vqVariant(7)}));
  EXPECT_FALSE(wrapped.Commit());
  EXPECT_FALSE(wrapped.IsInTransaction());
  EXPECT_EQ(Count("t"), 0);
}
