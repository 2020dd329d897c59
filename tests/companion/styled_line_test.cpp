#include "companion/views/styled_line.h"

#include <gtest/gtest.h>

namespace tavrine {
namespace {

const std::string kWide = "\u663E\u5361";  // two columns each

StyledLine twoSpans() { return StyledLine().add("red", Ink::red).add(" rest"); }

TEST(StyledLine, leavesEmptySpansOut) { EXPECT_TRUE(StyledLine().add("", Ink::red).spans.empty()); }

TEST(StyledLine, isPaintedSpanBySpan) {
  EXPECT_EQ(twoSpans().painted(Paint::on), "\x1B[31mred\x1B[0m rest");
  EXPECT_EQ(twoSpans().painted(Paint::off), "red rest");
  EXPECT_EQ(twoSpans().text(), "red rest");
}

TEST(StyledLine, everyInkButPlainHasASequence) {
  for (const Ink ink :
       {Ink::bold, Ink::faint, Ink::green, Ink::yellow, Ink::red, Ink::cyan, Ink::reversed}) {
    EXPECT_TRUE(inked("x", ink, Paint::on).ends_with("mx\x1B[0m"));
  }
  EXPECT_EQ(inked("x", Ink::plain, Paint::on), "x");
}

TEST(StyledLine, isPaddedByColumnsOfTheScreen) {
  EXPECT_EQ(StyledLine().add(kWide).padTo(6).add("x").text(), kWide + "  x");
  EXPECT_EQ(StyledLine().add("abc").padTo(2).add("x").text(), "abc x");
  EXPECT_EQ(StyledLine().padTo(2).add("x").text(), "  x");
  EXPECT_EQ(StyledLine().padTo(0).add("x").text(), "x");
}

TEST(StyledLine, isCutWithAnEllipsis) {
  EXPECT_EQ(twoSpans().cutTo(8).text(), "red rest");
  EXPECT_EQ(twoSpans().cutTo(7).text(), "red re\u2026");
  EXPECT_EQ(twoSpans().cutTo(4).text(), "red\u2026");
  EXPECT_EQ(twoSpans().cutTo(3).text(), "re\u2026");
  EXPECT_EQ(twoSpans().cutTo(1).text(), "\u2026");
  EXPECT_EQ(twoSpans().cutTo(0).text(), "");
  EXPECT_EQ(twoSpans().cutTo(2).spans.front().ink, Ink::red);
}

TEST(StyledLine, isNeverCutThroughAWideCharacter) {
  EXPECT_EQ(StyledLine().add(kWide).cutTo(4).text(), kWide);
  EXPECT_EQ(StyledLine().add(kWide).cutTo(3).text(), "\u663E\u2026");
  EXPECT_EQ(StyledLine().add(kWide).cutTo(2).text(), "\u2026");
}

}  // namespace
}  // namespace tavrine
