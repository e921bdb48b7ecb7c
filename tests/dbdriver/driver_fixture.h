#pragma once

// A fresh, empty database per test on each driver: a file in a temporary
// directory for SQLite, a database of its own on the test server for
// PostgreSQL.

#include <vqlmidbdriver/DbDriverLoader.h>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "pg_test_database.h"
#include "temp_dir.h"

class DriverTest : public ::testing::TestWithParam<std::string> {
 protected:
  bool IsPostgres() const { return GetParam() == "postgres"; }

  void SetUp() override {
    if (IsPostgres()) {
      m_pg.emplace();
      if (!m_pg->ok()) GTEST_SKIP() << kNoPostgresServer;
      m_connection = m_pg->connection();
    } else {
      m_dir.emplace("udm-dbdriver");
      m_connection = (m_dir->path() / "test.db").string();
    }
    m_db = Open();
  }
  void TearDown() override { m_db.reset(); }

  std::shared_ptr<vqlm::iDbDriver> Load() {
    std::shared_ptr<vqlm::iDbDriver> driver;
    const vqlm::DbStatus loaded =
        vqlm::LoadDbDriver(IsPostgres() ? POSTGRES_DRIVER_PATH : SQLITE_DRIVER_PATH, driver);
    EXPECT_TRUE(loaded) << loaded.GetText();
    return driver;
  }
  std::shared_ptr<vqlm::iDbDriver> Open() {
    std::shared_ptr<vqlm::iDbDriver> driver = Load();
    const vqlm::DbStatus opened = driver->Open(m_connection);
    EXPECT_TRUE(opened) << opened.GetText();
    return driver;
  }
  const char* BlobType() const { return IsPostgres() ? "BYTEA" : "BLOB"; }

  void Exec(const vqString& sql) {
    const vqlm::DbStatus status = m_db->ExecSqlStatement(sql);
    ASSERT_TRUE(status) << status.GetText();
  }
  std::int64_t Count(const vqString& table, vqlm::iDbDriver* db = nullptr) {
    vqlm::ResultSet rows;
    const vqlm::DbStatus status = (db ? db : m_db.get())->ExecSqlQuery("SELECT count(*) FROM " + table, rows);
    EXPECT_TRUE(status) << status.GetText();
    std::int64_t n = -1;
    if (status) rows.GetValue(0, 0).ToInt64(n);
    return n;
  }

  std::optional<TestDirectory> m_dir;
  std::optional<PgTestDatabase> m_pg;
  std::string m_connection;
  std::shared_ptr<vqlm::iDbDriver> m_db;
};
