#include "pg_test_database.h"
#include "udm_runner.h"

namespace {

class CliPostgresTest : public UdmTest {};

TEST_F(CliPostgresTest, InitRegistersServerRepositoryUsedByLaterCommands) {
  PgTestDatabase database;
  if (!database.ok()) GTEST_SKIP() << kNoPostgresServer;
  const UdmResult init = Udm({"--json", "init", "--postgres", database.connection()});
  ASSERT_EQ(init.status, 0) << init.err;
  EXPECT_EQ(init.json()["repository"]["name"], database.name());

  // Later commands find the server in the registry and the credentials in
  // libpq's environment, as the registry keeps no password.
  const auto settings = PostgresClientSettings(database.server());
  const std::string credentials = "PGUSER=" + Quote(settings.at("dbusername")) +
                                  " PGPASSWORD=" + Quote(settings.at("dbpasswd"));
  ASSERT_EQ(Udm({"--repo", database.name(), "new", "UDMPart", "shaft"}, credentials).status, 0);
  ASSERT_EQ(Udm({"--repo", database.name(), "checkin", "shaft", "-m", "first"}, credentials).status, 0);
  const UdmResult found = Udm({"--json", "--repo", database.name(), "query", "name = 'shaft'"}, credentials);
  ASSERT_EQ(found.status, 0) << found.err;
  EXPECT_EQ(found.json()["items"].size(), 1u);
}

}  // namespace
