#include <vqlmosa/osaDynamicObject.h>
#include <vqlmosa/osaLibrary.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <utility>

#include "osa_test_support.h"

namespace {

using IntFunction = int (*)();
const std::string kPlugin = OSA_TEST_PLUGIN_FILE;

int Call(osaDynamicObject& library, const char* symbol) {
  void* address = library.FindSymbol(symbol);
  EXPECT_NE(address, nullptr) << library.GetLastError().GetText();
  return address ? reinterpret_cast<IntFunction>(address)() : -1;
}

}  // namespace

TEST(OsaDynamicObject, LoadsByPathByPlatformFileNameAndByBareName) {
  osaDynamicObject library;
  ASSERT_TRUE(library.LoadLibrary(kPlugin).IsOk()) << library.GetLastError().GetText();
  EXPECT_EQ(library.GetName(), kPlugin);
  EXPECT_EQ(Call(library, "osaTestPluginAnswer"), 4711);

  const std::string byName = std::string(OSA_TEST_PLUGIN_DIR) + "/" +
                             osaLibrary::GetAbsoluteLibraryName("osa_test_plugin");
  ASSERT_TRUE(library.LoadLibrary(byName).IsOk()) << library.GetLastError().GetText();
  EXPECT_EQ(Call(library, "osaTestPluginAnswer"), 4711);

  // Must reach the loader's search unchanged, not be made a relative path.
  ASSERT_TRUE(library.LoadLibrary("libc.so.6").IsOk()) << library.GetLastError().GetText();
  void* strlen = library.FindSymbol("strlen");
  ASSERT_NE(strlen, nullptr);
  EXPECT_EQ(reinterpret_cast<std::size_t (*)(const char*)>(strlen)("four"), 4u);
}

TEST(OsaDynamicObject, FailedLoadNamesTheLibraryAndTheLoadersReason) {
  const OsaTempDir dir;
  const std::string missing = dir / "libosa_no_such_plugin.so";
  osaDynamicObject library;
  const osaStatus status = library.LoadLibrary(missing);
  EXPECT_FALSE(status.IsOk());
  EXPECT_NE(status.GetText().find("'" + missing + "'"), std::string::npos) << status.GetText();
  EXPECT_NE(status.GetText().find("No such file"), std::string::npos) << status.GetText();
  EXPECT_FALSE(library.IsLoaded());
  EXPECT_TRUE(library.GetName().empty());

  // dlopen of an empty name would hand out the program itself.
  EXPECT_FALSE(library.LoadLibrary("").IsOk());
  EXPECT_FALSE(library.IsLoaded());
}

TEST(OsaDynamicObject, MissingSymbolIsNamedWithItsLibrary) {
  osaDynamicObject library;
  EXPECT_EQ(library.FindSymbol("osaTestPluginAnswer"), nullptr);
  EXPECT_NE(library.GetLastError().GetText().find("'osaTestPluginAnswer'"), std::string::npos);

  ASSERT_TRUE(library.LoadLibrary(kPlugin).IsOk());
  EXPECT_EQ(library.FindSymbol("osaTestPluginMissing"), nullptr);
  const vqString text = library.GetLastError().GetText();
  EXPECT_NE(text.find("'osaTestPluginMissing'"), std::string::npos) << text;
  EXPECT_NE(text.find("'" + kPlugin + "'"), std::string::npos) << text;

  EXPECT_NE(library.FindSymbol("osaTestPluginAnswer"), nullptr);
  EXPECT_TRUE(library.GetLastError().IsOk()) << "a success clears the last failure";
}

TEST(OsaDynamicObject, LibraryStaysLoadedExactlyWhileAnOwnerHoldsIt) {
  {
    osaDynamicObject first;
    ASSERT_TRUE(first.LoadLibrary(kPlugin).IsOk());
    auto count = reinterpret_cast<IntFunction>(first.FindSymbol("osaTestPluginCountCalls"));
    ASSERT_NE(count, nullptr);
    const int start = count();

    osaDynamicObject second(std::move(first));
    EXPECT_FALSE(first.IsLoaded());
    osaDynamicObject third;
    third = std::move(second);
    EXPECT_EQ(third.GetName(), kPlugin);
    EXPECT_EQ(count(), start + 1) << "a reload would have reset the counter";
  }
  EXPECT_FALSE(IsMapped(kPlugin));

  osaDynamicObject library;
  ASSERT_TRUE(library.LoadLibrary(kPlugin).IsOk());
  EXPECT_FALSE(library.LoadLibrary("libosa_no_such_plugin.so").IsOk());
  EXPECT_FALSE(IsMapped(kPlugin)) << "replaced by a failed load";
}
