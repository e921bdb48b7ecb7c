#include <vqutl/vqString.h>

#include <gtest/gtest.h>

#include <cmath>
#include <unordered_set>

TEST(VqString, InterchangesWithStdStringAndCharPointers) {
  const char* null = nullptr;
  EXPECT_EQ(vqString(null), "");
  std::string plain = "abc";
  vqString text = plain;
  EXPECT_TRUE(text == plain);
  EXPECT_TRUE(text == "abc");
  vqString joined = text + "/" + plain;
  EXPECT_EQ(joined, "abc/abc");
  std::unordered_set<vqString> set{text, vqString("abc")};
  EXPECT_EQ(set.size(), 1u);
}

TEST(VqString, NumberParsingRefusesPartialAndOverflowingText) {
  int i = 7;
  EXPECT_TRUE(vqString("-42").ToInt(i));
  EXPECT_EQ(i, -42);
  EXPECT_TRUE(vqString("+5").ToInt(i));
  EXPECT_EQ(i, 5);
  for (const char* bad : {"", "+", "12a", " 1", "1 ", "2147483648", "1.0", "0x10"}) {
    i = 7;
    EXPECT_FALSE(vqString(bad).ToInt(i)) << bad;
    EXPECT_EQ(i, 7) << "left untouched on failure: " << bad;
  }
  std::int64_t big = 0;
  EXPECT_TRUE(vqString("9223372036854775807").ToInt64(big));
  EXPECT_FALSE(vqString("9223372036854775808").ToInt64(big));

  double d = 0;
  EXPECT_TRUE(vqString("1e3").ToDouble(d));
  EXPECT_EQ(d, 1000.0);
  EXPECT_FALSE(vqString("1e999").ToDouble(d));
  EXPECT_FALSE(vqString("3.5kg").ToDouble(d));
  EXPECT_FALSE(vqString(" 3").ToDouble(d));
}

TEST(VqString, DoubleTextRoundTrips) {
  for (double value : {0.1, 1.0 / 3.0, -2.5e-300, 123456789.125}) {
    double back = 0;
    ASSERT_TRUE(vqString::FromDouble(value).ToDouble(back));
    EXPECT_EQ(back, value);
  }
  EXPECT_EQ(vqString::FromDouble(0.1), "0.1");
}

TEST(VqString, CaseFoldingLeavesMultiByteSequencesAlone) {
  EXPECT_EQ(vqString("INT").CompareNoCase("int"), 0);
  EXPECT_LT(vqString("abc").CompareNoCase("ABD"), 0);
  EXPECT_LT(vqString("ab").CompareNoCase("ABC"), 0);
  EXPECT_GT(vqString("b").CompareNoCase("A"), 0);
  EXPECT_EQ(vqString("Größe").ToUpper(), "GRößE");
}

TEST(VqString, SplitKeepsEmptyPiecesAndJoinInverts) {
  const vqStlVector<vqString> parts = vqString("a,,b,").Split(',');
  ASSERT_EQ(parts.size(), 4u);
  EXPECT_EQ(parts[1], "");
  EXPECT_EQ(parts[3], "");
  EXPECT_EQ(vqString::Join(parts, ","), "a,,b,");
  EXPECT_EQ(vqString("").Split(',').size(), 1u);
}

TEST(VqString, Utf8ConversionsRefuseInvalidInput) {
  const vqString text = "Zürich ✓";
  std::wstring wide;
  ASSERT_TRUE(text.ToWide(wide));
  EXPECT_EQ(wide.size(), 8u);
  vqString back;
  ASSERT_TRUE(vqString::FromWide(wide, back));
  EXPECT_EQ(back, text);

  EXPECT_TRUE(text.IsValidUtf8());
  EXPECT_TRUE(vqString(std::string("nul \0 inside", 13)).IsValidUtf8());
  EXPECT_FALSE(vqString("bad \xC3").IsValidUtf8());
  EXPECT_FALSE(vqString("\xC0\xAF").IsValidUtf8());          // overlong '/'
  EXPECT_FALSE(vqString("\xED\xA0\x80").IsValidUtf8());      // a surrogate
  EXPECT_FALSE(vqString("\xF4\x90\x80\x80").IsValidUtf8());  // past U+10FFFF
  EXPECT_FALSE(vqString("\x80 lone").IsValidUtf8());

  vqString latin;
  ASSERT_TRUE(vqString::FromEncoding("Z\xFCrich", "ISO-8859-1", latin));
  EXPECT_EQ(latin, "Zürich");
  EXPECT_FALSE(vqString::FromEncoding("x", "no-such-charset", latin));
}
