#include "profile_fixture.h"

#include <filesystem>

using namespace vqkudm;

namespace {

const std::string kInitSignature =
    "enum vqkudm::UDMResult __cdecl vqkudm::UDMCoreProfile::Init(const class boost::weak_ptr<class "
    "vqkudm::UDMSession> &,const class boost::shared_ptr<class vqkudm::UDMPluginConfig> &)";

}  // namespace

TEST_F(ProfileTest, TheManagerHandsOutTheCorePlugInOfTheSession) {
  auto core = boost::dynamic_pointer_cast<UDMCoreProfile>(m_profile);
  ASSERT_TRUE(core) << "the plug-in loaded by name is the profile class this program links";
  EXPECT_EQ(core->GetDisplayName(), "UDMCoreProfile");
  EXPECT_EQ(core->GetInterfaceName(), "IUDMProfile");
  EXPECT_EQ(core->GetKey(), "Core");
  EXPECT_FALSE(core->Clone());
  EXPECT_FALSE(core->CreateNew());
  EXPECT_EQ(m_profile->GetUName(), SessionOf(m_profile).GetUserName());
  EXPECT_TRUE(std::filesystem::is_directory(m_dir.path() / "repo")) << "the repository is made on first use";
}

TEST_F(ProfileTest, AProfileWithoutALiveSessionSaysSo) {
  boost::shared_ptr<IUDMPlugin> plugin;
  ASSERT_EQ(UDMCoreProfile::CreateInstance(plugin), UDM_SUCCESS);
  auto fresh = boost::dynamic_pointer_cast<IUDMProfile>(plugin);
  UDMException e = RaisedBy([&] { fresh->GetSessionId(); });
  EXPECT_EQ(std::string(e.what()), "Session Ptr is NULL");
  EXPECT_EQ(e.GetExceptionCategory(), ExcCatState);

  // The expired session is reported before the missing configuration is looked at.
  e = RaisedBy([&] { plugin->Init(boost::weak_ptr<UDMSession>(), nullptr); });
  EXPECT_EQ(std::string(e.what()), kInitSignature + ": session weak Ptr  is Null");
  EXPECT_EQ(e.GetExceptionCategory(), ExcCatInvalidArgument);
  EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubNull);

  UDMProfileMgr::DiscardProfile(m_profile);
  EXPECT_FALSE(m_profile);
  boost::shared_ptr<IUDMProfile> discarded = m_opened.front();
  EXPECT_EQ(std::string(RaisedBy([&] { discarded->CreateEntity("UDMPart", "late"); }).what()), "Session Ptr is NULL");
}

TEST_F(ProfileTest, UnknownIdentifiersAndHandlesWithoutEntitiesAreRefusedByName) {
  const UDMException unknown = RaisedBy([&] { m_profile->GetUDMItemHandle("0123456789abcdef0123456789abcdef7"); });
  EXPECT_TRUE(EndsWith(unknown.what(),
                       ": invalid Identifier provided. Identifier 0123456789abcdef0123456789abcdef7 is Null"))
      << unknown.what();
  EXPECT_EQ(unknown.GetExceptionCategory(), ExcCatInvalidArgument);

  UDMItemHandle empty;
  EXPECT_EQ(std::string(RaisedBy([&] { m_profile->Persist(empty, "", false, false, false); }).what()),
            "No concrete handle found for handle " + empty.ToString());
}

TEST_F(ProfileTest, TheConfigurationMapIsReadAsDocumented) {
  vqStlMap<vqString, vqVariant> configuration;
  UDMException e = RaisedBy([&] { UDMProfileMgr::GetProfile(configuration); });
  EXPECT_TRUE(EndsWith(e.what(), ": Configuration Map empty. list has size zero.")) << e.what();
  EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubListEmpty);

  configuration["RepositoryBaseDir"] = m_dir.path().string();
  configuration["RepositoryName"] = "other";
  configuration["DataSource"] = "Local";
  e = RaisedBy([&] { UDMProfileMgr::GetProfile(configuration); });
  EXPECT_NE(std::string(e.what()).find("Local"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(m_dir.path() / "other")) << "nothing is opened for an unknown source";
}

TEST_F(ProfileTest, AnotherSessionsProfileIsFoundByItsSessionId) {
  boost::shared_ptr<IUDMProfile> again = UDMProfileMgr::GetProfile(m_profile->GetSessionId(), "Core");
  EXPECT_EQ(again, m_profile);
  EXPECT_TRUE(EndsWith(RaisedBy([&] { UDMProfileMgr::GetProfile("", "Core"); }).what(), ": Sess ID NULL is Empty."));
}
