// The repositories and workspaces the installation knows, through the
// profile manager.

#include "profile_fixture.h"

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
