#include <vqkudmrt/UDMException.h>

#include <gtest/gtest.h>

#include <functional>

using namespace vqkudm;

namespace {

const vqString kInitSignature =
    "enum vqkudm::UDMResult __cdecl vqkudm::UDMCoreProfile::Init(const class "
    "boost::weak_ptr<class vqkudm::UDMSession> &,const class "
    "boost::shared_ptr<class vqkudm::UDMPluginConfig> &)";

UDMException Catch(const std::function<void()>& raise) {
  try {
    raise();
  } catch (const UDMException& e) {
    return e;
  }
  ADD_FAILURE() << "nothing was raised";
  return UDMException();
}

size_t Occurrences(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t pos = text.find(part); pos != std::string::npos; pos = text.find(part, pos + 1)) {
    ++count;
  }
  return count;
}

}  // namespace

TEST(ArgumentChecks, NullMessageHasSignatureOnceAtStartAndTwoBlanksBeforeIsNull) {
  const UDMException e = Catch([] { ThrowNullArgument(kInitSignature, "session weak Ptr "); });
  const std::string message = e.what();
  EXPECT_EQ(message, kInitSignature + ": session weak Ptr  is Null");
  EXPECT_EQ(message.rfind(kInitSignature, 0), 0u);
  EXPECT_EQ(Occurrences(message, kInitSignature), 1u);
  EXPECT_EQ(Occurrences(message, "session weak Ptr"), 1u);
  EXPECT_EQ(e.GetExceptionCategory(), ExcCatInvalidArgument);
  EXPECT_EQ(e.GetExceptionSubCategory(), 1102);
  EXPECT_EQ(e.GetFunctionSignature(), kInitSignature);
}

TEST(ArgumentChecks, EmptyAndEmptyListPatternsAndSubCategories) {
  const UDMException empty = Catch([] { ThrowEmptyArgument("void f()", "Content Type "); });
  EXPECT_STREQ(empty.what(), "void f(): Content Type  is Empty.");
  EXPECT_EQ(empty.GetExceptionSubCategory(), 1101);
  EXPECT_EQ(empty.GetExceptionCategory(), 1001);

  const UDMException list = Catch([] { ThrowEmptyListArgument("void f()", "configuration map "); });
  EXPECT_STREQ(list.what(), "void f(): configuration map  list has size zero.");
  EXPECT_EQ(list.GetExceptionSubCategory(), 1105);
}

TEST(ArgumentChecks, DescriptionWithPercentSignIsSubstitutedVerbatim) {
  // Only the pattern is a format string; the description is an argument.
  EXPECT_EQ(FormatArgumentMessage("int g()", kArgNullPattern, "50% "), "int g(): 50%  is Null");
}

TEST(RaiseFunctions, EachSetsItsCategoryAndPassesTheSubCategoryThrough) {
  struct Case {
    std::function<void()> raise;
    ExceptionCategory category;
    int subCategory;
  };
  const Case cases[] = {
      {[] { ThrowUDMException("s", "m", ExcCatState, 1102); }, ExcCatState, 1102},
      {[] { ThrowInvalidArgException("s", "m", 1100); }, ExcCatInvalidArgument, 1100},
      {[] { ThrowUnSupportedException("s", "m", 1100); }, ExcCatUnsupported, 1100},
      {[] { ThrowStateException("s", "m", 1107); }, ExcCatState, 1107},
      {[] { ThrowFileException("s", "m", 1113); }, ExcCatFile, 1113},
  };
  for (const Case& c : cases) {
    const UDMException e = Catch(c.raise);
    EXPECT_EQ(e.GetExceptionCategory(), c.category);
    EXPECT_EQ(e.GetExceptionSubCategory(), c.subCategory);
    EXPECT_STREQ(e.what(), "m");
    ASSERT_EQ(e.GetContext().size(), 1u);
    EXPECT_EQ(e.GetContext()[0], "s");
    EXPECT_GT(e.GetRaisedTime(), 0u);
  }
}

TEST(UDMExceptionCopy, CopiesKeepEveryFieldAndSelfAssignmentIsHarmless) {
  UDMException original("what went wrong", ExcCatFile, 1113, {"first", "second"}, "sig", 1234);
  original.AddContext("third");

  const UDMException copy(original);
  UDMException assigned;
  assigned = original;
  for (const UDMException* e : {&copy, static_cast<const UDMException*>(&assigned)}) {
    EXPECT_STREQ(e->what(), "what went wrong");
    EXPECT_EQ(e->GetExceptionCategory(), ExcCatFile);
    EXPECT_EQ(e->GetExceptionSubCategory(), 1113);
    EXPECT_EQ(e->GetContext(), (vqStlVector<vqString>{"first", "second", "third"}));
    EXPECT_EQ(e->GetFunctionSignature(), "sig");
    EXPECT_EQ(e->GetRaisedTime(), 1234u);
    EXPECT_NE(e->what(), original.what()) << "the message must be owned, not shared";
  }

  UDMException& alias = assigned;
  assigned = alias;
  EXPECT_STREQ(assigned.what(), "what went wrong");
  EXPECT_EQ(assigned.GetContext().size(), 3u);
}

TEST(UDMExceptionCopy, CaughtAsStdExceptionStillSaysWhatWentWrong) {
  try {
    ThrowStateException("sig", "Failed to Start the Transaction", 1107);
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "Failed to Start the Transaction");
    return;
  }
  FAIL();
}
