#pragma once

// A fresh repository per test, opened through the framework as an
// application would, on each backend the store supports.

#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>
#include <vqkudmrt/store/DatabaseOpener.h>
#include <vqlmidbdriver/DbDriverWrapper.h>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "pg_test_database.h"
#include "temp_dir.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <sstream>
#include <string>


// The sub-category and message of the UDMException an action raises; (0, "") when none.
inline std::pair<int, std::string> FailureOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const vqkudm::UDMException& e) {
    return {e.GetExceptionSubCategory(), e.what()};
  }
  return {0, ""};
}

// Fails the next commit once armed, as a full disk would; everything else
// runs for real. The fault cannot be produced otherwise.
class FailNextCommitDriver : public vqlm::DbDriverWrapper {
 public:
  using DbDriverWrapper::DbDriverWrapper;
  bool armed = false;
  vqlm::DbStatus Commit() override {
    if (!armed) return DbDriverWrapper::Commit();
    armed = false;
    Target().Rollback();
    return vqlm::DbStatus::Failure(vqlm::DbFailed, "disk full (injected)");
  }
};

// The sub-category of the UDMException an action raises; 0 when it raises none.
inline int SubCategoryOf(const std::function<void()>& action) { return FailureOf(action).first; }

class RepositoryTest : public ::testing::TestWithParam<std::string> {
 protected:
  bool IsPostgres() const { return GetParam() == "postgres"; }

  void SetUp() override {
    if (IsPostgres()) {
      m_pg.emplace();
      if (!m_pg->ok()) GTEST_SKIP() << kNoPostgresServer;
    }
    // Sessions register their repository: keep that out of the user's home.
    ::setenv("NORVEL_VQK_UDMRT_DB_DIR", m_dir.c_str(), 1);
    m_session = OpenSession("alice");
  }
  void TearDown() override {
    for (auto& session : m_opened) vqkudm::UDMFramework::GetInstance()->DeleteSession(session);
    m_opened.clear();
    m_session.reset();
  }

  boost::shared_ptr<vqkudm::IUDMSession> OpenSession(const std::string& user) {
    auto config = boost::make_shared<vqkudm::UDMSessionConfig>();
    config->SetRepositoryBaseDir(m_dir.string());
    config->SetRepositoryName(IsPostgres() ? m_pg->name() : "repo");
    config->SetWorkspaceBaseDir(m_dir.string());
    config->SetWorkspaceName("ws-" + user);
    config->SetUserName(user);
    config->SetUDMConfigFile(m_configFile);
    config->SetDataSource(IsPostgres() ? "PostGres" : "local");
    if (IsPostgres()) {
      vqStlMap<vqString, vqString> settings;
      for (const auto& [key, value] : PostgresClientSettings(m_pg->server())) settings[key] = value;
      config->SetLMRepoClientSettings(settings);
    }
    boost::shared_ptr<vqkudm::IUDMSession> session =
        vqkudm::UDMFramework::GetInstance()->CreateSession(config);
    m_opened.push_back(session);
    return session;
  }

  // A session whose database connection fails the next commit when `*driver` is armed.
  boost::shared_ptr<vqkudm::IUDMSession> OpenFailingSession(const std::string& user,
                                                            std::shared_ptr<FailNextCommitDriver>* driver) {
    vqkudm::store::SetDriverDecorator([driver](std::shared_ptr<vqlm::iDbDriver> db) {
      *driver = std::make_shared<FailNextCommitDriver>(db);
      return *driver;
    });
    boost::shared_ptr<vqkudm::IUDMSession> session = OpenSession(user);
    vqkudm::store::SetDriverDecorator(nullptr);
    return session;
  }

  // The engine's session behind the fixture's, for what only it offers.
  vqkudm::UDMSession& Session() { return dynamic_cast<vqkudm::UDMSession&>(*m_session); }
  // Where the local repository keeps the content of that key.
  std::filesystem::path ObjectPath(const vqString& key) const {
    return m_dir / "repo" / "vault" / "objects" / key.substr(0, 2) / key.str();
  }
  // Whether the repository still keeps the content, wherever it keeps contents.
  bool ContentKept(const vqString& key) {
    if (!IsPostgres()) return std::filesystem::exists(ObjectPath(key));
    vqlm::ResultSet rows;
    auto session = boost::dynamic_pointer_cast<vqkudm::UDMSession>(m_session);
    EXPECT_TRUE(session->Database().ExecSqlQuery("SELECT 1 FROM udm_content WHERE content_key = ?", {key}, rows));
    return !rows.IsEmpty();
  }

  std::optional<PgTestDatabase> m_pg;
  TestDirectory m_tmp{"udm-repo"};
  const std::filesystem::path& m_dir = m_tmp.path();
  vqString m_configFile;  // empty: the default data model
  boost::shared_ptr<vqkudm::IUDMSession> m_session;
  std::vector<boost::shared_ptr<vqkudm::IUDMSession>> m_opened;
};

// Runs a suite of repository tests on every backend the store supports.
#define UDM_ON_EVERY_BACKEND(Suite) \
  INSTANTIATE_TEST_SUITE_P(Backends, Suite, ::testing::Values("sqlite", "postgres"))
