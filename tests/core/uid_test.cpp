#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMUID.h>

#include <gtest/gtest.h>

#include <set>
#include <unordered_set>

using namespace vqkudm;

namespace {
const vqString kId = "0192f3a4b5c6d7e8f90a1b2c3d4e5f60";
}

TEST(UDMUIDParsing, DefaultIsInvalidAndEmpty) {
  const UDMUID uid;
  EXPECT_FALSE(uid.IsValid());
  EXPECT_TRUE(uid.isEmpty());
  EXPECT_EQ(uid.size(), 0u);
  EXPECT_EQ(uid.length(), 0u);
  EXPECT_EQ(uid.GetRevision(), -1);
  EXPECT_EQ(uid.GetDmUid(), "");
}

TEST(UDMUIDParsing, ValidTextSplitsIntoIdAndRevision) {
  for (const char* revision : {"0", "7", "12", "2147483647"}) {
    const UDMUID uid(kId + revision);
    ASSERT_TRUE(uid.IsValid()) << revision;
    EXPECT_EQ(uid.GetDmUid(), kId);
    EXPECT_EQ(vqString::FromInt(uid.GetRevision()), revision);
    EXPECT_EQ(uid.size(), uid.length());
    EXPECT_EQ(vqString(uid), uid.ToString());
    // The id and the decimal revision joined give the same identifier back.
    EXPECT_FALSE(UDMUID(uid.GetDmUid() + vqString::FromInt(uid.GetRevision())) != uid);
  }
  EXPECT_TRUE(UDMUID(std::string(kId + "3")).IsValid());
  EXPECT_TRUE(UDMUID((kId + "3").c_str()).IsValid());
}

TEST(UDMUIDParsing, MalformedTextIsInvalidButKeptForMessages) {
  const vqString cases[] = {
      kId,                                         // no revision
      kId.substr(0, 31) + "5",                     // truncated id
      "0192F3A4B5C6D7E8F90A1B2C3D4E5F60" "1",      // upper case
      kId.substr(0, 31) + "g" + "1",               // non-hex
      kId + "1a",                                  // non-decimal revision
      kId + "-1",                                  // signed revision
      kId + "01",                                  // leading zero: would not round-trip
      kId + "2147483648",                          // revision overflows
      kId + " 1",
  };
  for (const vqString& text : cases) {
    const UDMUID uid(text);
    EXPECT_FALSE(uid.IsValid()) << text;
    EXPECT_EQ(uid.ToString(), text);
    EXPECT_EQ(uid.GetRevision(), -1);
    EXPECT_FALSE(UDMUID::Validate(text).empty()) << text;
  }
}

TEST(UDMUIDParsing, ParseRefusesWithTheTextAndTheReason) {
  try {
    UDMUID::Parse(kId + "1x");
    FAIL();
  } catch (const UDMException& e) {
    const std::string message = e.what();
    EXPECT_NE(message.find(kId + "1x"), std::string::npos) << message;
    EXPECT_NE(message.find("\"1x\" is not a decimal number"), std::string::npos) << message;
    EXPECT_EQ(e.GetExceptionCategory(), ExcCatInvalidArgument);
    EXPECT_EQ(e.GetExceptionSubCategory(), ExcSubSyntax);
  }
  EXPECT_EQ(UDMUID::Parse(kId + "4").GetRevision(), 4);
}

TEST(UDMUIDGeneration, IdsAreTimeOrderedAndDistinct) {
  std::vector<UDMUID> made;
  for (int i = 0; i < 5000; ++i) made.push_back(UDMUID::Generate());
  std::unordered_set<UDMUID> distinct(made.begin(), made.end());
  EXPECT_EQ(distinct.size(), made.size());
  for (size_t i = 1; i < made.size(); ++i) {
    ASSERT_LT(made[i - 1].GetDmUid(), made[i].GetDmUid()) << i;
  }
  EXPECT_EQ(made[0].GetRevision(), 0);
  EXPECT_TRUE(made[0].IsValid());
}

TEST(UDMUIDComparison, RevisionsOrderNumericallyAndHashFollowsEquality) {
  const UDMUID nine(kId + "9"), ten(kId + "10");
  EXPECT_LT(nine, ten);
  EXPECT_FALSE(ten < nine);
  EXPECT_EQ(nine.WithRevision(10), ten);
  EXPECT_NE(nine, ten);
  EXPECT_FALSE(UDMUID().WithRevision(1).IsValid());
  EXPECT_EQ(std::hash<UDMUID>()(UDMUID(kId + "9")), std::hash<UDMUID>()(nine));
  std::set<UDMUID> ordered{ten, nine, UDMUID("junk")};
  EXPECT_EQ(ordered.begin()->ToString(), "junk") << "invalid identifiers sort first";
}
