#include "session_fixture.h"

#include <vqkudmrt/UDMRegistry.h>
#include <vqkudmrt/UDMRetrieveConfig.h>

#include <fstream>

using namespace vqkudm;

class RegistryTest : public RepositoryTest {
 protected:
  boost::shared_ptr<UDMSessionConfig> Config(const std::string& name) {
    auto config = boost::make_shared<UDMSessionConfig>();
    config->SetRepositoryBaseDir(m_dir.string());
    config->SetRepositoryName(name);
    config->SetUserName("alice");
    return config;
  }
  std::vector<vqString> Names() {
    std::vector<vqString> names;
    for (const auto& r : UDMRegistry().GetRepositories("")) names.push_back(r.name + (r.isDefault ? "*" : ""));
    return names;
  }
};

TEST_P(RegistryTest, SessionsRegisterTheirRepositoryAndTheDefaultCanMove) {
  UDMFramework* framework = UDMFramework::GetInstance();
  EXPECT_EQ(UDMRegistry::DefaultFile(), (m_dir / "registry.json").string());
  EXPECT_EQ(Names(), std::vector<vqString>{"repo*"}) << "opening a session registers its repository once";
  OpenSession("bob");
  EXPECT_EQ(Names(), std::vector<vqString>{"repo*"});

  boost::shared_ptr<UDMSessionConfig> second = Config("second");
  m_opened.push_back(framework->CreateSession(second));
  EXPECT_EQ(Names(), (std::vector<vqString>{"repo*", "second"}));
  framework->SetDefaultRepository(Config("second"));
  EXPECT_EQ(Names(), (std::vector<vqString>{"repo", "second*"}));

  vqStlVector<vqString> ids, workspaces;
  auto retrieve = boost::make_shared<UDMRetrieveConfig>();
  retrieve->SetUserName("alice");
  framework->GetRepositories(ids, retrieve);
  EXPECT_EQ(ids.size(), 2u);
  framework->GetWorkspaces(workspaces, retrieve);
  EXPECT_EQ(workspaces, vqStlVector<vqString>{"ws-alice"});

  EXPECT_THROW(framework->DeleteRepository(Config("repo"), false, false), UDMException)
      << "a repository open in a session is not removed without force";
  EXPECT_THROW(framework->SetDefaultRepository(Config("unknown")), UDMException);
}

TEST_P(RegistryTest, ExistingRepositoriesAreAddedOnlyWhereTheyExistAndDeletedWithTheirData) {
  UDMFramework* framework = UDMFramework::GetInstance();
  EXPECT_THROW(framework->AddExistingRepository(Config("nowhere"), ""), UDMException);
  std::filesystem::create_directories(m_dir / "copied");
  std::filesystem::copy_file(m_dir / "repo" / "repository.db", m_dir / "copied" / "repository.db");
  const vqString id = framework->AddExistingRepository(Config("ignored"), "copied");
  UDMRepositoryRecord record;
  ASSERT_TRUE(UDMRegistry().FindRepository(id, record));
  EXPECT_EQ(record.name, "copied");

  framework->DeleteRepository(Config("copied"), true, false);
  EXPECT_FALSE(UDMRegistry().FindRepository("copied", record));
  EXPECT_FALSE(std::filesystem::exists(m_dir / "copied"));
  EXPECT_TRUE(std::filesystem::exists(m_dir / "repo" / "repository.db"));
}

TEST_P(RegistryTest, AGarbledRegistryIsReportedNotOverwritten) {
  std::ofstream(m_dir / "registry.json") << "{ not json";
  EXPECT_THROW(UDMRegistry().GetRepositories(""), UDMException);
  OpenSession("carol");  // still opens; the registry is left for the user to mend
  std::ifstream in(m_dir / "registry.json");
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_EQ(text, "{ not json");
}

// The registry records where local repositories live on disk.
INSTANTIATE_TEST_SUITE_P(Backends, RegistryTest, ::testing::Values("sqlite"));
