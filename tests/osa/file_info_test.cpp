#include <vqlmosa/osaFileInfo.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <filesystem>

#include "osa_test_support.h"

namespace fs = std::filesystem;

TEST(OsaFileInfo, SplitsPathsIgnoringTrailingSeparators) {
  EXPECT_EQ(osaFileInfo("/a/b/c.txt").GetDirectory(), "/a/b");
  EXPECT_EQ(osaFileInfo("/a/b/").GetFileName(), "b");
  EXPECT_EQ(osaFileInfo("/a/b/").GetDirectory(), "/a");
  EXPECT_EQ(osaFileInfo("c.txt").GetDirectory(), "");
}

TEST(OsaFileInfo, MissingFileAndDirectoryAreToldApart) {
  const OsaTempDir dir;
  const std::string missing = dir / "missing.txt";
  const osaFileInfo info(missing);
  EXPECT_FALSE(info.Exists() || info.IsFile() || info.IsDirectory() || info.IsWritable());
  EXPECT_EQ(info.GetSize(), -1);
  EXPECT_EQ(info.GetModificationTime(), -1);
  std::int64_t size = 42;
  const osaStatus status = info.GetSize(size);
  EXPECT_EQ(size, 42);
  EXPECT_NE(status.GetText().find(missing), std::string::npos) << status.GetText();
  EXPECT_EQ(status.GetReason(), std::errc::no_such_file_or_directory);
  const osaStatus writable = info.MakeWritable();
  EXPECT_NE(writable.GetText().find(missing), std::string::npos) << writable.GetText();

  const osaFileInfo directory(dir.path().string());
  EXPECT_TRUE(directory.Exists() && directory.IsDirectory());
  EXPECT_FALSE(directory.IsFile());
}

TEST(OsaFileInfo, ReportsSizeBeyond32BitsAndTimesBeyond2038) {
  const OsaTempDir dir;
  const std::string path = dir / "sparse.bin";
  const std::int64_t before = std::time(nullptr);
  WriteFile(path, "");
  const std::int64_t big = (std::int64_t{5} << 30) + 3;
  fs::resize_file(path, static_cast<std::uintmax_t>(big));
  const std::int64_t year2100 = 4102444800;
  const timespec times[2] = {{year2100, 0}, {year2100, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  const std::int64_t after = std::time(nullptr);

  const osaFileInfo info(path);
  EXPECT_TRUE(info.IsFile());
  EXPECT_EQ(info.GetSize(), big);
  EXPECT_EQ(info.GetModificationTime(), year2100);
  // Setting the times is a status change; the kernel's clock may lag a tick.
  EXPECT_GE(info.GetCreationTime(), before - 1);
  EXPECT_LE(info.GetCreationTime(), after + 1);
}

TEST(OsaFileInfo, MakeWritableAddsOnlyTheOwnersWriteBit) {
  const OsaTempDir dir;
  const std::string path = dir / "read-only.txt";
  WriteFile(path, "keep");
  fs::permissions(path, fs::perms::owner_read | fs::perms::group_read);

  const osaFileInfo info(path);
  EXPECT_FALSE(info.IsWritable());
  const osaStatus status = info.MakeWritable();
  ASSERT_TRUE(status.IsOk()) << status.GetText();
  EXPECT_TRUE(info.IsWritable());
  EXPECT_EQ(fs::status(path).permissions(),
            fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
}
