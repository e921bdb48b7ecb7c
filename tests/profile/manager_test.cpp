// The repositories and workspaces the installation knows, through the
// profile manager.

#include "profile_fixture.h"

#include "pg_test_database.h"

#include <cstdlib>
#include <filesystem>

using namespace vqkudm;

namespace {

vqStlMap<vqString, vqVariant> Everyone() { return {{"username", vqVariant("")}}; }

}  // namespace

TEST_F(ProfileTest, RepositoriesAreListedDescribedMadeDefaultAndReopened) {
  OpenProfile("second");
  vqStlVector<vqString> ids;
  UDMProfileMgr::GetRepositoryIds(ids, Everyone(), 0);
  ASSERT_EQ(ids.size(), 2u);
  vqStlMap<vqString, vqString> first, second;
  UDMProfileMgr::GetRepositoryInfo(first, ids[0], Everyone());
  UDMProfileMgr::GetRepositoryInfo(second, ids[1], Everyone());
  EXPECT_EQ(first["name"], "repo");
  EXPECT_EQ(first["type"], "local");
  EXPECT_EQ(first["is_default"], "true") << "the first repository registered";
  EXPECT_EQ(second["is_default"], "false");
  EXPECT_TRUE(std::filesystem::is_regular_file(second["ldbfile"].str())) << second["ldbfile"];
  EXPECT_TRUE(second["dbhost"].empty());

  vqStlMap<vqString, vqVariant> which = {{"RepositoryBaseDir", vqVariant(m_dir.path().string())},
                                          {"RepositoryName", vqVariant("second")}};
  UDMProfileMgr::SetDefaultRepository(which);
  first.clear();
  UDMProfileMgr::GetRepositoryInfo(first, "repo", Everyone());
  EXPECT_EQ(first["is_default"], "false");

  // The client settings lead back into the repository.
  vqStlMap<vqString, vqString> settings;
  vqStlMap<vqString, vqVariant> reopen = {{"WorkspaceBaseDir", vqVariant(m_dir.path().string())},
                                          {"WorkspaceName", vqVariant("ws2")}};
  UDMProfileMgr::GetRepositoryClientSettings(settings, ids[1], reopen);
  m_opened.push_back(UDMProfileMgr::GetProfile(reopen));
  EXPECT_EQ(SessionOf(m_opened.back()).GetSessionConfig()->GetRepositoryName(), "second");

  EXPECT_EQ(RaisedBy([&] { UDMProfileMgr::GetRepositoryInfo(first, "no-such", Everyone()); })
                .GetExceptionSubCategory(),
            ExcSubNotFound);
  const UDMException empty = RaisedBy([&] { UDMProfileMgr::GetRepositoryIds(ids, {}, 0); });
  EXPECT_TRUE(EndsWith(empty.what(), ": Configuration Map empty. list has size zero.")) << empty.what();
}

TEST_F(ProfileTest, AnExistingRepositoryIsAddedAndAMissingOneRefused) {
  // A repository made while another registry was in use is unknown here.
  const auto elsewhere = m_dir.path() / "other-registry";
  std::filesystem::create_directories(elsewhere);
  ::setenv("NORVEL_VQK_UDMRT_DB_DIR", elsewhere.c_str(), 1);
  boost::shared_ptr<IUDMProfile> made = OpenProfile("archive");
  UDMProfileMgr::DiscardProfile(made);
  ::setenv("NORVEL_VQK_UDMRT_DB_DIR", m_dir.path().c_str(), 1);

  vqStlMap<vqString, vqVariant> archive = {{"RepositoryBaseDir", vqVariant(m_dir.path().string())},
                                           {"RepositoryName", vqVariant("archive")}};
  const vqString id = UDMProfileMgr::AddExistingRepository(archive, "");
  vqStlVector<vqString> ids;
  UDMProfileMgr::GetRepositoryIds(ids, Everyone(), 0);
  EXPECT_NE(std::find(ids.begin(), ids.end(), id), ids.end());

  archive["RepositoryName"] = vqVariant("never-made");
  const UDMException missing = RaisedBy([&] { UDMProfileMgr::AddExistingRepository(archive, ""); });
  EXPECT_NE(std::string(missing.what()).find("never-made"), std::string::npos) << missing.what();
}

TEST_F(ProfileTest, WorkspacesAreListedAndDescribed) {
  vqStlVector<vqString> names;
  UDMProfileMgr::GetWorkspaces(names, Everyone());
  ASSERT_EQ(names, (vqStlVector<vqString>{"ws"}));
  vqStlMap<vqString, vqString> info;
  UDMProfileMgr::GetWorkspaceInfo(info, "ws", Everyone());
  EXPECT_EQ(info["workingdir"], (m_dir.path() / "ws").string());
  EXPECT_EQ(info["client_working_dir"], info["workingdir"]);
  EXPECT_EQ(info["is_default"], "true");
  EXPECT_FALSE(info["user_name"].empty());
  EXPECT_EQ(RaisedBy([&] { UDMProfileMgr::GetWorkspaceInfo(info, "nope", Everyone()); }).GetExceptionSubCategory(),
            ExcSubNotFound);
}

TEST_F(ProfileTest, DeletingARepositoryForgetsItAndWithItsDataRemovesIt) {
  boost::shared_ptr<IUDMProfile> scratch = OpenProfile("scratch");
  UDMItemHandle bolt = scratch->CreateEntity("UDMPart", "bolt");
  scratch->Persist(bolt, "", false, false, false);
  vqStlMap<vqString, vqVariant> which = {{"RepositoryBaseDir", vqVariant(m_dir.path().string())},
                                          {"RepositoryName", vqVariant("scratch")},
                                          {"WorkspaceBaseDir", vqVariant(m_dir.path().string())},
                                          {"WorkspaceName", vqVariant("ws-scratch")}};
  const auto repository = m_dir.path() / "scratch";
  const UDMException open = RaisedBy([&] { UDMProfileMgr::DeleteRepository(which, true, false); });
  EXPECT_EQ(open.GetExceptionSubCategory(), ExcSubConflict) << "a session has it open";
  EXPECT_TRUE(std::filesystem::exists(repository));

  UDMProfileMgr::DiscardProfile(scratch);
  UDMProfileMgr::DeleteRepository(which, false, false);
  vqStlMap<vqString, vqString> info;
  EXPECT_EQ(RaisedBy([&] { UDMProfileMgr::GetRepositoryInfo(info, "scratch", Everyone()); }).GetExceptionSubCategory(),
            ExcSubNotFound);
  EXPECT_TRUE(std::filesystem::exists(repository / "repository.db")) << "the registration only";

  // Opened again it is registered again, with its data; then removed for good.
  boost::shared_ptr<IUDMProfile> again = UDMProfileMgr::GetProfile(which);
  vqStlVector<UDMItemHandle> found;
  again->QueryEntities(found, "cdef = 'UDMPart'", UDMQuerySettingHandle(), false, false);
  EXPECT_EQ(found.size(), 1u);
  UDMProfileMgr::DiscardProfile(again);
  EXPECT_TRUE(std::filesystem::exists(m_dir.path() / "ws-scratch"));
  UDMProfileMgr::DeleteRepository(which, true, true);
  EXPECT_FALSE(std::filesystem::exists(repository));
  EXPECT_FALSE(std::filesystem::exists(m_dir.path() / "ws-scratch"));
  vqStlVector<vqString> workspaces;
  UDMProfileMgr::GetWorkspaces(workspaces, Everyone());
  EXPECT_EQ(workspaces, (vqStlVector<vqString>{"ws"}));

  // A new profile on the same place starts an empty repository.
  boost::shared_ptr<IUDMProfile> fresh = UDMProfileMgr::GetProfile(which);
  found.clear();
  fresh->QueryEntities(found, "cdef = 'UDMPart'", UDMQuerySettingHandle(), false, false);
  EXPECT_TRUE(found.empty());
  UDMProfileMgr::DiscardProfile(fresh);
}

TEST_F(ProfileTest, ConnectionsAreCheckedBeforeUse) {
  vqString message;
  const std::string missing = (m_dir.path() / "no-such.xml").string();
  EXPECT_FALSE(UDMProfileMgr::CheckConnection("UDMXML", "", "", "", "", "", missing, message));
  EXPECT_EQ(message, "File " + missing + " does not exist.");
  EXPECT_FALSE(UDMProfileMgr::CheckConnection("local", "", "", "", "", "", missing, message));
  EXPECT_TRUE(UDMProfileMgr::CheckConnection("local", "", "", "", "", "", m_dir.path().string(), message)) << message;
  EXPECT_FALSE(UDMProfileMgr::CheckConnection("Oracle", "", "", "", "", "", "", message));
  EXPECT_NE(message.find("Oracle"), vqString::npos) << message;

  // Port 1: nothing listens there.
  EXPECT_FALSE(UDMProfileMgr::CheckConnection("Teamcenter", "127.0.0.1", "1", "", "", "", "", message));
  EXPECT_NE(message.find("127.0.0.1:1"), vqString::npos) << message;

  const char* server = PostgresTestServer();
  if (!server) GTEST_SKIP() << kNoPostgresServer;
  auto settings = PostgresClientSettings(server);
  EXPECT_TRUE(UDMProfileMgr::CheckConnection("PostGres", settings["dbhost"], settings["dbport"], "postgres",
                                             settings["dbusername"], settings["dbpasswd"], "", message))
      << message;
  EXPECT_FALSE(UDMProfileMgr::CheckConnection("PostGres", settings["dbhost"], settings["dbport"], "postgres",
                                              settings["dbusername"], "wrong", "", message));
  EXPECT_NE(message.find("password authentication failed"), vqString::npos) << "the server's own words: " << message;
  EXPECT_TRUE(UDMProfileMgr::CheckConnection("Windchill", settings["dbhost"], settings["dbport"], "", "", "", "",
                                             message))
      << "a listening port is reached: " << message;
}
