#include <TavrineShared/foundation/precondition.h>

#include <gtest/gtest.h>

#include <csignal>

namespace tavrine {
namespace {

#ifdef TAVRINE_FUZZING

TEST(PreconditionFailure, isThrownInFuzzBuildsWithItsMessage) {
  try {
    preconditionFailure("column 11: nan is no integer");
  } catch (const PreconditionFailure& failure) {
    EXPECT_STREQ(failure.what(), "column 11: nan is no integer");
  }
}

#else

TEST(PreconditionFailureDeathTest, writesItsMessageAsOneLineAndAborts) {
  EXPECT_EXIT(preconditionFailure("column 11: nan is no integer"),
              testing::KilledBySignal(SIGABRT),
              "^column 11: nan is no integer\n$");
}

TEST(PreconditionFailureDeathTest, takesItsMessageLiterally) {
  EXPECT_EXIT(preconditionFailure("100 %s of %n"),
              testing::KilledBySignal(SIGABRT),
              "^100 %s of %n\n$");
}

#endif

}  // namespace
}  // namespace tavrine
