#include <vqlmosa/osaDirectory.h>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <filesystem>

#include "osa_test_support.h"

namespace fs = std::filesystem;

namespace {
int PermissionBits(const std::string& path) {
  return static_cast<int>(fs::status(path).permissions() & fs::perms::mask);
}
}  // namespace

TEST(OsaDirectory, OnlyRecursiveCreationMakesParentsAndExistingIsSuccess) {
  const OsaTempDir dir;
  const std::string deep = dir / "a/b/c";
  const osaStatus refused = osaDirectory::Create(deep, 0755, false);
  EXPECT_NE(refused.GetText().find(deep), std::string::npos) << refused.GetText();
  EXPECT_FALSE(fs::exists(dir / "a"));

  ASSERT_TRUE(osaDirectory::Create(deep + "/", 0755, true).IsOk());
  EXPECT_TRUE(osaDirectory::Exists(deep));
  EXPECT_TRUE(osaDirectory::Create(deep, 0755, false).IsOk());
}

TEST(OsaDirectory, FileInTheWayIsNamed) {
  const OsaTempDir dir;
  const std::string file = dir / "plain";
  WriteFile(file, "x");
  for (const std::string& target : {file, file + "/sub/leaf"}) {
    const osaStatus status = osaDirectory::Create(target, 0755, true);
    EXPECT_NE(status.GetText().find("'" + file + "'"), std::string::npos) << status.GetText();
    EXPECT_EQ(status.GetReason(), std::errc::file_exists);
  }
  EXPECT_FALSE(osaDirectory::Exists(file));
}

TEST(OsaDirectory, ModeIsMaskedByTheUmaskAndParentsStayUsable) {
  const OsaTempDir dir;
  const mode_t previous = ::umask(027);
  EXPECT_TRUE(osaDirectory::Create(dir / "all", 4095, false).IsOk());
  EXPECT_TRUE(osaDirectory::Create(dir / "p/q/leaf", 0500, true).IsOk());
  ::umask(previous);
  EXPECT_EQ(PermissionBits(dir / "all") & 0777, 0750);
  EXPECT_EQ(PermissionBits(dir / "p"), 0700);
  EXPECT_EQ(PermissionBits(dir / "p/q"), 0700);
  EXPECT_EQ(PermissionBits(dir / "p/q/leaf"), 0500);
}

TEST(OsaDirectory, RemoveTakesContentsOnlyWhenRecursiveAndNeverFollowsLinks) {
  const OsaTempDir dir;
  const std::string tree = dir / "tree";
  const std::string target = dir / "target";
  fs::create_directories(tree + "/sub");
  fs::create_directory(target);
  WriteFile(target + "/precious.txt", "x");
  fs::create_directory_symlink(target, tree + "/sub/link");

  EXPECT_FALSE(osaDirectory::Remove(tree, false).IsOk());
  EXPECT_FALSE(osaDirectory::Remove(tree + "/sub/link", true).IsOk());
  EXPECT_FALSE(osaDirectory::Remove(target + "/precious.txt", true).IsOk());
  EXPECT_TRUE(fs::exists(tree + "/sub/link"));

  EXPECT_TRUE(osaDirectory::Remove(tree, true).IsOk());
  EXPECT_FALSE(fs::exists(tree));
  EXPECT_TRUE(fs::exists(target + "/precious.txt"));
  EXPECT_TRUE(osaDirectory::Remove(tree, true).IsOk()) << "already gone";
}
