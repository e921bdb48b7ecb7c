#include <vqutl/vqLMUtils.h>
#include <vqutl/vqUUID.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <set>

TEST(VqUUID, GeneratesDistinctVersion4Texts) {
  vqlm::UUID uuid;
  EXPECT_TRUE(uuid.IsNil());
  EXPECT_EQ(uuid.ToString(), "00000000-0000-0000-0000-000000000000");
  const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
  std::set<vqString> seen;
  for (int i = 0; i < 1000; ++i) {
    uuid.Generate();
    const vqString text = uuid.ToString();
    ASSERT_TRUE(std::regex_match(text, form)) << text;
    seen.insert(text);
  }
  EXPECT_EQ(seen.size(), 1000u);
}

TEST(VqLMUtils, TempDirectoryFollowsTmpdirWithoutTrailingSeparator) {
  const char* old = std::getenv("TMPDIR");
  const std::string saved = old ? old : "";
  ::setenv("TMPDIR", "/tmp/", 1);
  EXPECT_EQ(vqLMUtils::UtilsGetTempDirectory(), "/tmp");
  if (old) ::setenv("TMPDIR", saved.c_str(), 1); else ::unsetenv("TMPDIR");
}
