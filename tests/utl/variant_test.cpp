#include <vqutl/vqVariant.h>

#include <gtest/gtest.h>

TEST(VqVariant, TypedAccessAnswersOnlyForTheHeldType) {
  const vqVariant empty;
  EXPECT_TRUE(empty.IsEmpty());
  EXPECT_EQ(empty.ToString(), "");

  const vqVariant number(42);
  ASSERT_NE(number.GetInt(), nullptr);
  EXPECT_EQ(number.GetInt64(), nullptr);
  EXPECT_EQ(number.GetString(), nullptr);

  // Literals pick the type a caller expects, not a surprising conversion.
  EXPECT_EQ(vqVariant("text").GetType(), vqVariant::String);
  EXPECT_EQ(vqVariant(true).GetType(), vqVariant::Bool);
  EXPECT_EQ(vqVariant(std::int64_t(1) << 40).GetType(), vqVariant::Int64);
  EXPECT_EQ(vqVariant(2.5).GetType(), vqVariant::Double);
}

TEST(VqVariant, ConversionsAreExactOrRefused) {
  int i = -1;
  EXPECT_TRUE(vqVariant(3.0).ToInt(i));
  EXPECT_EQ(i, 3);
  EXPECT_FALSE(vqVariant(3.5).ToInt(i));
  EXPECT_FALSE(vqVariant(std::int64_t(1) << 40).ToInt(i));
  EXPECT_TRUE(vqVariant("17").ToInt(i));
  EXPECT_EQ(i, 17);
  EXPECT_FALSE(vqVariant(vqStlVector<vqString>{"1"}).ToInt(i));
  EXPECT_EQ(i, 17);

  double d = 0;
  EXPECT_FALSE(vqVariant((std::int64_t(1) << 53) + 1).ToDouble(d));
  EXPECT_TRUE(vqVariant(std::int64_t(1) << 53).ToDouble(d));

  bool b = false;
  EXPECT_TRUE(vqVariant("TRUE").ToBool(b));
  EXPECT_TRUE(b);
  EXPECT_TRUE(vqVariant(0).ToBool(b));
  EXPECT_FALSE(b);
  EXPECT_FALSE(vqVariant(2).ToBool(b));
  EXPECT_FALSE(vqVariant("yes").ToBool(b));
}

TEST(VqVariant, TextFormAndEquality) {
  EXPECT_EQ(vqVariant(false).ToString(), "false");
  EXPECT_EQ(vqVariant(-12).ToString(), "-12");
  EXPECT_EQ(vqVariant(0.25).ToString(), "0.25");
  EXPECT_EQ(vqVariant(vqStlVector<vqString>{"a", "b"}).ToString(), "a;b");

  EXPECT_EQ(vqVariant("x"), vqVariant(vqString("x")));
  EXPECT_NE(vqVariant(1), vqVariant(1.0));
  EXPECT_NE(vqVariant(1), vqVariant(std::int64_t(1)));
  EXPECT_NE(vqVariant(), vqVariant(""));
}
