#include "companion/collect/shell_quote.h"

#include <gtest/gtest.h>

namespace tavrine {
namespace {

TEST(ShellQuoted, isOneWordWhateverItIs) {
  EXPECT_EQ(shellQuoted(""), "''");
  EXPECT_EQ(shellQuoted("a b"), "'a b'");
  EXPECT_EQ(shellQuoted("$(x) `y` \\ \"z\" *"), "'$(x) `y` \\ \"z\" *'");
  EXPECT_EQ(shellQuoted("it's"), "'it'\\''s'");
  EXPECT_EQ(shellQuoted("''"), "''\\'''\\'''");
  EXPECT_EQ(shellQuoted("~/a"), "'~/a'");
}

TEST(ShellPath, leavesTheHomeToTheShell) {
  EXPECT_EQ(shellPath("~/a b"), "\"$HOME\"/'a b'");
  EXPECT_EQ(shellPath("~/"), "\"$HOME\"/''");
  EXPECT_EQ(shellPath("~ada/a"), "'~ada/a'");
  EXPECT_EQ(shellPath("/a/~/b"), "'/a/~/b'");
  EXPECT_EQ(shellPath("~"), "'~'");
}

}  // namespace
}  // namespace tavrine
