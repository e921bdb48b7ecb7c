#pragma once

// A database of its own for each PostgreSQL test, on the server that the
// test command starts (VQKUDM_TEST_PG: a connection string for a role that
// may create databases). Without that variable the tests that need the
// server skip, saying how to get one.

#include <vqlmidbdriver/DbDriverLoader.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <string>

inline const char* PostgresTestServer() { return std::getenv("VQKUDM_TEST_PG"); }

inline constexpr const char* kNoPostgresServer =
    "no PostgreSQL test server: run the suite with scripts/test.sh, or eval "
    "\"$(scripts/pg-test-server.sh start)\" first";

// The admin connection string with one keyword replaced or added (libpq
// takes the last value of a repeated keyword).
inline std::string WithConnectionKeyword(const std::string& base, const std::string& keyword,
                                         const std::string& value) {
  return base + " " + keyword + "='" + value + "'";
}

// The repository client settings ("dbhost", "dbport", "dbusername",
// "dbpasswd") that reach the server of a connection string.
inline std::map<std::string, std::string> PostgresClientSettings(const std::string& server) {
  const std::pair<const char*, const char*> names[] = {
      {"host", "dbhost"}, {"port", "dbport"}, {"user", "dbusername"}, {"password", "dbpasswd"}};
  std::map<std::string, std::string> settings;
  std::istringstream words(server);
  std::string word;
  while (words >> word) {
    const auto equals = word.find('=');
    for (const auto& [keyword, setting] : names) {
      if (word.substr(0, equals) == keyword) settings[setting] = word.substr(equals + 1);
    }
  }
  return settings;
}

class PgTestDatabase {
 public:
  // Creates an empty database; `ok()` tells whether a server was there.
  PgTestDatabase() {
    const char* server = PostgresTestServer();
    if (!server) return;
    m_server = server;
    static std::atomic<int> counter{0};
    m_name = "udmtest_" + std::to_string(::getpid()) + "_" + std::to_string(++counter);
    Admin("DROP DATABASE IF EXISTS " + m_name + " WITH (FORCE)");
    Admin("CREATE DATABASE " + m_name);
  }
  ~PgTestDatabase() {
    if (!m_name.empty()) Admin("DROP DATABASE IF EXISTS " + m_name + " WITH (FORCE)");
  }
  PgTestDatabase(const PgTestDatabase&) = delete;
  PgTestDatabase& operator=(const PgTestDatabase&) = delete;

  bool ok() const { return !m_name.empty(); }
  const std::string& name() const { return m_name; }
  std::string connection() const { return WithConnectionKeyword(m_server, "dbname", m_name); }
  const std::string& server() const { return m_server; }

  // Runs one statement on the server's admin database.
  void Admin(const std::string& sql) const {
    std::shared_ptr<vqlm::iDbDriver> admin;
    ASSERT_TRUE(vqlm::LoadDbDriver(POSTGRES_DRIVER_PATH, admin));
    const vqlm::DbStatus opened = admin->Open(m_server);
    ASSERT_TRUE(opened) << opened.GetText();
    const vqlm::DbStatus done = admin->ExecSqlStatement(sql);
    ASSERT_TRUE(done) << done.GetText();
  }

 private:
  std::string m_server;
  std::string m_name;
};
