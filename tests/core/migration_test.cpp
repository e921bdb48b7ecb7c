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
