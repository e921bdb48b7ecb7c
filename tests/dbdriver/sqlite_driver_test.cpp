#include "driver_fixture.h"

using namespace vqlm;

namespace {
class SqliteDriverTest : public DriverTest {};
}  // namespace

INSTANTIATE_TEST_SUITE_P(Sqlite, SqliteDriverTest, ::testing::Values("sqlite"));

TEST_P(SqliteDriverTest, ConnectionsUseWalAndEnforceForeignKeys) {
  ResultSet mode;
  ASSERT_TRUE(m_db->ExecSqlQuery("PRAGMA journal_mode", mode));
  EXPECT_EQ(mode.GetValue(0, 0), vqVariant("wal"));
  ASSERT_TRUE(m_db->ExecSqlQuery("PRAGMA foreign_keys", mode));
  EXPECT_EQ(mode.GetValue(0, 0), vqVariant(std::int64_t(1)));
  EXPECT_FALSE(m_db->HasNotifications());
  EXPECT_EQ(m_db->Listen("udm").GetKind(), DbMisuse);
}
