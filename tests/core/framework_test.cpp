#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMLogger.h>

#include <gtest/gtest.h>

#include "temp_dir.h"

#include <filesystem>
#include <fstream>
#include <sstream>

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

std::string ReadAll(const fs::path& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace

TEST(UDMLoggerTest, WritesLevelNamesAtOrAboveThresholdToItsFile) {
  TestDirectory dir("udm-core");
  const fs::path file = dir.path() / "log.txt";
  {
    UDMLogger logger(file.string(), UDMLogger::LevelInfo);
    EXPECT_TRUE(logger.IsLoggedToFile());
    logger.LogMessage("hidden detail", UDMLogger::LevelDebug);
    logger.LogMessage("opened repository", UDMLogger::LevelInfo);
    logger.LogMessage("beyond the last level", 99);
    logger.SetThreshold(UDMLogger::LevelPerformance);
    logger.LogMessage("timing", UDMLogger::LevelPerformance);
  }
  const std::string text = ReadAll(file);
  EXPECT_EQ(text.find("hidden detail"), std::string::npos);
  EXPECT_NE(text.find("LM_MSG_INFO opened repository"), std::string::npos) << text;
  EXPECT_NE(text.find("LM_MSG_FATAL beyond the last level"), std::string::npos) << text;
  EXPECT_NE(text.find("LM_MSG_PERFORMANCE timing"), std::string::npos) << text;
}

TEST(UDMLoggerTest, UnopenableFileFallsBackToStandardError) {
  TestDirectory dir("udm-core");
  const fs::path notADirectory = dir.path() / "plain-file";
  std::ofstream(notADirectory) << "x";
  UDMLogger logger((notADirectory / "log.txt").string(), UDMLogger::LevelFatal);
  EXPECT_FALSE(logger.IsLoggedToFile());
  logger.LogMessage("still works", UDMLogger::LevelFatal);
}

TEST(UDMFrameworkTest, IsOneInstanceWithASharedLogger) {
  UDMFramework* framework = UDMFramework::GetInstance();
  ASSERT_NE(framework, nullptr);
  EXPECT_EQ(framework, UDMFramework::GetInstance());
  EXPECT_EQ(framework->GetLogger(), framework->GetLogger());
}

TEST(UDMFrameworkTest, FindsItsDirectoriesRelativeToItsOwnLibrary) {
  const UDMInstallLayout& layout = UDMFramework::GetInstance()->GetInstallLayout();
  EXPECT_EQ(fs::path(layout.libraryDir.str()), fs::canonical(CORE_LIBRARY_DIR));
  EXPECT_EQ(fs::path(layout.dataDir.str()), fs::weakly_canonical(STAGE_DATA_DIR));
  EXPECT_EQ(fs::path(layout.pluginDir.str()), fs::path(layout.libraryDir.str()) / "vqkudm/plugins");
  EXPECT_EQ(fs::path(layout.driverDir.str()), fs::path(layout.libraryDir.str()) / "vqkudm/drivers");
}

TEST(UDMFrameworkTest, LayoutUnderAHomeDirectoryMirrorsTheInstalledTree) {
  const UDMInstallLayout layout = UDMInstallLayout::UnderHome("/opt/udm/");
  EXPECT_EQ(layout.homeDir, "/opt/udm");
  EXPECT_EQ(fs::path(layout.libraryDir.str()).parent_path().string().rfind("/opt/udm", 0), 0u);
  EXPECT_EQ(layout.dataDir, "/opt/udm/share/vqkudm");
  EXPECT_EQ(UDMInstallLayout::AroundLibraryDir(layout.libraryDir).homeDir, "/opt/udm");
}
