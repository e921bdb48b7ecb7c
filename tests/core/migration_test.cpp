#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/store/DatabaseOpener.h>
#include <vqkudmrt/store/SchemaMigrations.h>
#include <vqlmidbdriver/DbDriverLoader.h>

#include <gtest/gtest.h>

#include "temp_dir.h"

#include <filesystem>

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

class SchemaMigrationTest : public ::testing::Test {
 protected:
  void SetUp() override { m_db = Open(); }
  void TearDown() override { m_db.reset(); }
  std::shared_ptr<vqlm::iDbDriver> Open() {
    std::shared_ptr<vqlm::iDbDriver> db;
    EXPECT_TRUE(vqlm::LoadDbDriver(SQLITE_DRIVER_PATH, db));
    EXPECT_TRUE(db->Open((m_dir / "repo.db").string()));
    return db;
  }
  bool HasTable(const char* name) {
    vqlm::ResultSet rows;
    EXPECT_TRUE(m_db->ExecSqlQuery("SELECT name FROM sqlite_master WHERE type = 'table' AND name = ?",
                                   {vqVariant(name)}, rows));
    return !rows.IsEmpty();
  }

  TestDirectory m_tmp{"udm-migration"};
  const fs::path& m_dir = m_tmp.path();
  std::shared_ptr<vqlm::iDbDriver> m_db;
};

}  // namespace

TEST_F(SchemaMigrationTest, NewDatabaseReachesTheLatestVersionOnceAndForAll) {
  EXPECT_EQ(store::ReadSchemaVersion(*m_db), 0);
  EXPECT_EQ(store::MigrateSchema(*m_db, store::SqlDialect::Sqlite()), store::LatestSchemaVersion());
  EXPECT_TRUE(HasTable("udm_entity"));
  EXPECT_TRUE(HasTable("udm_change"));
  // A second process opening the same repository finds nothing to do.
  std::shared_ptr<vqlm::iDbDriver> other = Open();
  EXPECT_EQ(store::MigrateSchema(*other, store::SqlDialect::Sqlite()), store::LatestSchemaVersion());
  vqlm::ResultSet rows;
  ASSERT_TRUE(m_db->ExecSqlQuery("SELECT count(*) FROM udm_schema_version", rows));
  EXPECT_EQ(rows.GetValue(0, 0), vqVariant(std::int64_t(store::LatestSchemaVersion())));
}

TEST_F(SchemaMigrationTest, RepositoryOfANewerRuntimeIsRefusedUntouched) {
  ASSERT_TRUE(m_db->ExecSqlStatement("CREATE TABLE udm_schema_version (version INTEGER NOT NULL)"));
  ASSERT_TRUE(m_db->ExecSqlStatement("INSERT INTO udm_schema_version VALUES (?)",
                                     {vqVariant(store::LatestSchemaVersion() + 1)}));
  try {
    store::MigrateSchema(*m_db, store::SqlDialect::Sqlite());
    FAIL() << "a newer schema was accepted";
  } catch (const UDMException& e) {
    EXPECT_NE(std::string(e.what()).find("newer than this runtime supports"), std::string::npos);
    EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubDatabase);
  }
  EXPECT_FALSE(HasTable("udm_entity"));
  EXPECT_FALSE(m_db->IsInTransaction());
}

TEST_F(SchemaMigrationTest, FailedMigrationLeavesNoHalfCreatedSchema) {
  // A table in the way makes the migration fail midway.
  ASSERT_TRUE(m_db->ExecSqlStatement("CREATE TABLE udm_lock (unrelated TEXT)"));
  EXPECT_THROW(store::MigrateSchema(*m_db, store::SqlDialect::Sqlite()), UDMException);
  EXPECT_FALSE(HasTable("udm_entity"));
  EXPECT_EQ(store::ReadSchemaVersion(*m_db), 0);
  EXPECT_FALSE(m_db->IsInTransaction());
}

TEST_F(SchemaMigrationTest, RepositoryDatabaseOpensThroughTheInstalledDriver) {
  const vqString path = (m_dir / "opened.db").string();
  std::shared_ptr<vqlm::iDbDriver> db = store::OpenRepositoryDatabase("sqlite", path);
  EXPECT_EQ(db->GetDriverName(), "sqlite");
  EXPECT_EQ(store::ReadSchemaVersion(*db), store::LatestSchemaVersion());

  EXPECT_THROW(store::OpenRepositoryDatabase("oracle", path), UDMException);
  try {
    store::OpenRepositoryDatabase("sqlite", (m_dir / "missing-dir" / "x.db").string());
    FAIL() << "a database in a missing directory was opened";
  } catch (const UDMException& e) {
    EXPECT_NE(std::string(e.what()).find("missing-dir"), std::string::npos) << e.what();
  }
}

TEST_F(SchemaMigrationTest, LinksOfARepositoryBeforeUsesBecomeOneUseEach) {
  ASSERT_EQ(store::MigrateSchema(*m_db, store::SqlDialect::Sqlite(), 3), 3);
  for (const char* dmid : {"p", "c", "d"}) {
    ASSERT_TRUE(m_db->ExecSqlStatement("INSERT INTO udm_entity (dmid, cdef, class, latest_rev, created_by, created_time)"
                                       " VALUES (?, 'UDMPart', 'UDMItem', 1, 'alice', 't')",
                                       {vqVariant(dmid)}));
  }
  ASSERT_TRUE(m_db->ExecSqlStatement(
      "INSERT INTO udm_link (parent_dmid, grp, child_dmid, from_rev, to_rev, position) VALUES"
      " ('p', 'parts', 'c', 0, NULL, 0), ('p', 'parts', 'd', 0, 1, 1), ('p', 'parts', 'd', 1, NULL, 2)"));

  EXPECT_EQ(store::MigrateSchema(*m_db, store::SqlDialect::Sqlite()), store::LatestSchemaVersion());
  vqlm::ResultSet rows;
  ASSERT_TRUE(m_db->ExecSqlQuery(
      "SELECT use_id, child_dmid, from_rev, to_rev, position FROM udm_link ORDER BY from_rev, position", rows));
  ASSERT_EQ(rows.GetRowCount(), 3u);
  // The history keeps its ranges; one link over two revisions stays one use.
  EXPECT_EQ(rows.GetValue(0, 0).ToString(), "parts/c");
  EXPECT_EQ(rows.GetValue(1, 0).ToString(), "parts/d");
  EXPECT_EQ(rows.GetValue(1, 3), vqVariant(std::int64_t(1)));
  EXPECT_EQ(rows.GetValue(2, 0).ToString(), "parts/d");
  EXPECT_TRUE(rows.GetValue(2, 3).IsEmpty());
  // A second use of the same child is now possible.
  EXPECT_TRUE(m_db->ExecSqlStatement("INSERT INTO udm_link (parent_dmid, use_id, grp, child_dmid, from_rev, position)"
                                     " VALUES ('p', 'u2', 'parts', 'c', 2, 3)"));
}
