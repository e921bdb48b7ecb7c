#include <vqlmosa/osaDynamicObject.h>
#include <vqlmosa/osaLibrary.h>

#include <gtest/gtest.h>

#include <filesystem>

#include "osa_test_support.h"

namespace fs = std::filesystem;

namespace {
void FunctionInTheTestProgram() {}
}  // namespace

TEST(OsaLibrary, NamesLibrariesAsTheBuildProducesThem) {
  EXPECT_EQ(osaLibrary::GetAbsoluteLibraryName("osa_test_plugin"), OSA_TEST_PLUGIN_FILE_NAME);
  EXPECT_EQ(osaLibrary::GetPlatform().EndsWith("64"), sizeof(void*) == 8);
}

TEST(OsaLibrary, FindsTheModuleThatHoldsAnAddress) {
  osaDynamicObject plugin;
  ASSERT_TRUE(plugin.LoadLibrary(OSA_TEST_PLUGIN_FILE).IsOk());
  const void* address = plugin.FindSymbol("osaTestPluginAnswer");
  EXPECT_EQ(osaLibrary::GetLibraryPathOf(address), fs::canonical(OSA_TEST_PLUGIN_FILE).string());

  vqString path = "unchanged";
  const int onTheStack = 0;
  EXPECT_FALSE(osaLibrary::GetLibraryPathOf(&onTheStack, path).IsOk());
  EXPECT_EQ(path, "unchanged");
}

// For the program the loader reports argv[0], which may be relative; CTest
// also starts this test by a relative name for that reason.
TEST(OsaLibrary, FindsTheProgramFileForItsOwnCode) {
  const OsaTempDir elsewhere;
  const fs::path previous = fs::current_path();
  fs::current_path(elsewhere.path());
  vqString path;
  const osaStatus status =
      osaLibrary::GetLibraryPathOf(reinterpret_cast<const void*>(&FunctionInTheTestProgram), path);
  fs::current_path(previous);
  ASSERT_TRUE(status.IsOk()) << status.GetText();
  EXPECT_EQ(path, fs::canonical(OSA_TEST_EXECUTABLE).string());
}
