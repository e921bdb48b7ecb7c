// The data connection manager: finding, loading and caching the connect
// profile, and its refusals.

#include "connect_fixture.h"

#include <vqlmosa/osaLibrary.h>

using namespace vqkudm;

namespace {

boost::shared_ptr<UDMConnectConfig> ConnectionIn(const std::filesystem::path& pluginDir, const char* id) {
  boost::shared_ptr<UDMConnectConfig> config(new UDMConnectConfig());
  config->SetIdentifier(id);
  config->SetDataSource("teamcenter");
  config->SetPluginDirectory(pluginDir.string());
  return config;
}

// A plug-in directory whose connect profile is a copy of `module`.
std::filesystem::path PluginDirWith(const std::filesystem::path& root, const char* module) {
  const std::filesystem::path platform = root / osaLibrary::GetPlatform().str();
  std::filesystem::create_directories(platform);
  if (module) {
    std::filesystem::copy_file(module, platform / osaLibrary::GetAbsoluteLibraryName("vqkudmrt_connectprofile").str());
  }
  return root;
}

}  // namespace

TEST_F(ConnectTest, AMissingOrBrokenPlugInIsRefusedAndNothingIsKept) {
  boost::shared_ptr<UDMConnectConfig> none;
  const UDMException null = RaisedBy([&] { UDMDataConnectionMgr::GetInstance()->GetDataConnectionProfile(none); });
  EXPECT_STREQ(null.what(), "UDMConnectConfigPtr Not available");
  EXPECT_EQ(null.GetExceptionSubCategory(), ExcSubNull);

  const std::filesystem::path missing = m_dir.path() / "no-plugins";
  auto config = ConnectionIn(missing, "plm");
  const UDMException notDir = RaisedBy([&] { UDMDataConnectionMgr::GetInstance()->GetDataConnectionProfile(config); });
  EXPECT_EQ(std::string(notDir.what()), "Not a directory :" + (missing / osaLibrary::GetPlatform().str()).string());
  EXPECT_EQ(notDir.GetExceptionCategory(), ExcCatState);
  EXPECT_EQ(notDir.GetExceptionSubCategory(), ExcSubDatabase);

  config = ConnectionIn(PluginDirWith(m_dir.path() / "empty", nullptr), "plm");
  const UDMException noLibrary =
      RaisedBy([&] { UDMDataConnectionMgr::GetInstance()->GetDataConnectionProfile(config); });
  EXPECT_EQ(std::string(noLibrary.what()),
            "Failed to load lib:" + (m_dir.path() / "empty" / osaLibrary::GetPlatform().str() / "libvqkudmrt_connectprofile.so").string());

  config = ConnectionIn(PluginDirWith(m_dir.path() / "no-entry", NO_ENTRY_MODULE_PATH), "plm");
  EXPECT_STREQ(RaisedBy([&] { UDMDataConnectionMgr::GetInstance()->GetDataConnectionProfile(config); }).what(),
               "Failed to find symbol for CreateInstance.");

  // A plug-in that is no profile.
  config = ConnectionIn(PluginDirWith(m_dir.path() / "not-a-profile", PROBE_PLUGIN_PATH), "plm");
  const UDMException notProfile =
      RaisedBy([&] { UDMDataConnectionMgr::GetInstance()->GetDataConnectionProfile(config); });
  EXPECT_STREQ(notProfile.what(), "Failed to get plugin.");
  EXPECT_EQ(notProfile.GetExceptionSubCategory(), ExcSubNull);
  EXPECT_EQ(WorkingDirectories(), 0u);
}

TEST_F(ConnectTest, ASourceWithoutConnectorNamesItselfAndLeavesNoWorkingRepository) {
  for (int attempt = 0; attempt < 2; ++attempt) {  // nothing half-made is cached
    const UDMException e = RaisedBy([] {
      UDMProfileMgr::GetProfile({{"DataSource", vqVariant("Teamcenter")},
                                 {"ConnectionIdentifier", vqVariant("plm-prod")},
                                 {"Host", vqVariant("plm.example.com")}});
    });
    EXPECT_EQ(e.GetExceptionCategory(), ExcCatUnsupported);
    EXPECT_NE(std::string(e.what()).find("DataSource teamcenter (host plm.example.com)"), std::string::npos)
        << e.what();
    EXPECT_NE(std::string(e.what()).find("connector is not available"), std::string::npos);
  }
  EXPECT_EQ(WorkingDirectories(), 0u);

  const UDMException windchill = RaisedBy([] {
    UDMProfileMgr::GetProfile({{"DataSource", vqVariant("Windchill")}, {"ConnectionIdentifier", vqVariant("wc")}});
  });
  EXPECT_NE(std::string(windchill.what()).find("DataSource windchill"), std::string::npos);

  // Only the exact names choose a connection.
  const UDMException lower = RaisedBy([] {
    UDMProfileMgr::GetProfile({{"DataSource", vqVariant("teamcenter")}, {"ConnectionIdentifier", vqVariant("x")}});
  });
  EXPECT_EQ(lower.GetExceptionCategory(), ExcCatInvalidArgument);
  EXPECT_NE(std::string(lower.what()).find("\"teamcenter\""), std::string::npos);
}

TEST_F(ConnectTest, AConnectionNeedsAnIdentifier) {
  const UDMException e = RaisedBy([] {
    UDMProfileMgr::GetProfile({{"DataSource", vqVariant("UDMXML")}, {"FileDataSource", vqVariant("/x.xml")}});
  });
  EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubEmpty);
  EXPECT_NE(std::string(e.what()).find("ConnectionIdentifier"), std::string::npos);
}
