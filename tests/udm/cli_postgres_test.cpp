#include "pg_test_database.h"
#include "udm_runner.h"

#include <fstream>
#include <iterator>

namespace {

class CliPostgresTest : public UdmTest {
 protected:
  // `udm --repo DATABASE args...` with the server's credentials, as libpq reads them.
  UdmResult OnServer(const PgTestDatabase& database, std::vector<std::string> args) {
    const auto settings = PostgresClientSettings(database.server());
    args.insert(args.begin(), {"--repo", database.name()});
    return Udm(args, "PGUSER=" + Quote(settings.at("dbusername")) + " PGPASSWORD=" + Quote(settings.at("dbpasswd")));
  }
};

TEST_F(CliPostgresTest, InitRegistersServerRepositoryUsedByLaterCommands) {
  PgTestDatabase database;
  if (!database.ok()) GTEST_SKIP() << kNoPostgresServer;
  const UdmResult init = Udm({"--json", "init", "--postgres", database.connection()});
  ASSERT_EQ(init.status, 0) << init.err;
  EXPECT_EQ(init.json()["repository"]["name"], database.name());

  // Later commands find the server in the registry and the credentials in
  // libpq's environment, as the registry keeps no password.
  ASSERT_EQ(OnServer(database, {"new", "UDMPart", "shaft"}).status, 0);
  ASSERT_EQ(OnServer(database, {"checkin", "shaft", "-m", "first"}).status, 0);
  const UdmResult found = OnServer(database, {"--json", "query", "name = 'shaft'"});
  ASSERT_EQ(found.status, 0) << found.err;
  EXPECT_EQ(found.json()["items"].size(), 1u);
}

TEST_F(CliPostgresTest, StructureAndFilesLiveOnTheServer) {
  PgTestDatabase database;
  if (!database.ok()) GTEST_SKIP() << kNoPostgresServer;
  ASSERT_EQ(Udm({"init", "--postgres", database.connection()}).status, 0);
  const std::string bytes("solid\0bracket\n", 14);
  std::ofstream(m_work / "bracket.step", std::ios::binary) << bytes;
  ASSERT_EQ(OnServer(database, {"new", "UDMProject", "cart"}).status, 0);
  ASSERT_EQ(OnServer(database, {"new", "UDMPart", "bracket", "--under", "cart"}).status, 0);
  ASSERT_EQ(OnServer(database, {"add-file", "bracket", (m_work / "bracket.step").string()}).status, 0);
  ASSERT_EQ(OnServer(database, {"link", "cart", "bracket", "--set", "quantity=3"}).status, 0);
  const UdmResult checkin = OnServer(database, {"checkin", "cart", "-m", "first", "--recursive"});
  ASSERT_EQ(checkin.status, 0) << checkin.err;

  const UdmResult tree = OnServer(database, {"--json", "tree", "cart"});
  ASSERT_EQ(tree.status, 0) << tree.err;
  EXPECT_EQ(tree.json()["children"].size(), 2u) << tree.out;
  const UdmResult users = OnServer(database, {"--json", "where-used", "bracket"});
  ASSERT_EQ(users.status, 0) << users.err;
  EXPECT_EQ(users.json()["items"].size(), 1u) << users.out;
  ASSERT_EQ(OnServer(database, {"get", "bracket", (m_work / "out").string()}).status, 0);
  std::ifstream in(m_work / "out" / "bracket.step", std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()), bytes);
}

}  // namespace
