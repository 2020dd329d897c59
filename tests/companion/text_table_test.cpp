#include "companion/views/text_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tavrine {
namespace {

using Rows = std::vector<std::vector<std::string>>;

const std::vector<TextColumn> kColumns = {{"Name"}, {"Size", Alignment::right}, {"State"}};

std::string table(const Rows& rows, const TableStyle& style = {}) {
  return textTable(
      kColumns,
      rows.size(),
      [&rows](std::size_t row, std::size_t column) -> Cell { return rows[row][column]; },
      style);
}

TEST(TextTable, alignsTextLeftAndNumbersRight) {
  EXPECT_EQ(table({{"a", "1", "ok"}, {"longer", "12345", "ok"}}),
            "Name     Size  State\n"
            "a           1  ok\n"
            "longer  12345  ok\n");
}

TEST(TextTable, isItsHeadingWhenThereAreNoRows) { EXPECT_EQ(table({}), "Name  Size  State\n"); }

TEST(TextTable, endsNoLineWithBlanks) {
  EXPECT_EQ(table({{"a", "1", ""}, {"b", "", ""}, {"", "", ""}}),
            "Name  Size  State\n"
            "a        1\n"
            "b\n"
            "\n");
}

TEST(TextTable, countsColumnsOfTheScreen) {
  EXPECT_EQ(table({{"\u663E\u5361\u663E\u5361", "1", "x"}, {"e\u0301", "2", "x"}}),
            "Name      Size  State\n"
            "\u663E\u5361\u663E\u5361     1  x\n"
            "e\u0301            2  x\n");
}

TEST(TextTable, showsEscapesAndLineBreaksInsteadOfSendingThem) {
  EXPECT_EQ(table({{"\x1B[2J\n0", "1", "x"}}),
            "Name          Size  State\n"
            "\\x1b[2J\\x0a0     1  x\n");
}

TEST(TextTable, cutsACellAtTheWidest) {
  const std::string fits(kWidestCell, 'n');
  const std::string tooLong(kWidestCell + 1, 'n');
  const std::string cut = std::string(kWidestCell - 1, 'n') + "\u2026";
  const std::string heading = "Name" + std::string(kWidestCell - 4, ' ') + "  Size  State\n";
  EXPECT_EQ(table({{fits, "1", "x"}}), heading + fits + "     1  x\n");
  EXPECT_EQ(table({{tooLong, "1", "x"}}), heading + cut + "     1  x\n");
}

TEST(TextTable, keepsTheEndOfACellWhereThatTellsMore) {
  const std::vector<TextColumn> logs = {{"Log", Alignment::left, Need::always, Kept::end}};
  const auto shown = [&logs](const std::string& path, std::size_t width) {
    return textTable(logs,
                     1,
                     [&path](std::size_t, std::size_t) -> Cell { return path; },
                     {.width = width});
  };
  EXPECT_EQ(shown("/scratch/ada/run/log.jsonl", 12), "Log\n\u2026n/log.jsonl\n");
  // As far as megabytes are looked at, too, whatever character the cut would fall into.
  const std::string tail = std::string(kWidestCell - 1, 'n');
  for (std::size_t bytes = 0; bytes < 4; ++bytes) {
    const std::string filling(8 * kWidestCell - tail.size() - 4 + bytes, 'n');
    EXPECT_EQ(shown("\U0001F525\U0001F525" + filling + tail, 1000), "Log\n\u2026" + tail + "\n");
  }
}

TEST(TextTable, canHaveABoldHeading) {
  EXPECT_EQ(table({{"a", "1", "x"}}, {.paint = Paint::on}),
            "\x1B[1mName  Size  State\x1B[0m\n"
            "a        1  x\n");
}

TEST(TextTable, putsInkOnTheTextAndNotOnTheBlanksAroundIt) {
  const auto cells = [](std::size_t, std::size_t column) -> Cell {
    return {column == 0 ? "a" : "1", column == 1 ? Ink::red : Ink::plain};
  };
  EXPECT_EQ(textTable(kColumns, 1, cells, {.paint = Paint::on}),
            "\x1B[1mName  Size  State\x1B[0m\n"
            "a        \x1B[31m1\x1B[0m  1\n");
  EXPECT_EQ(textTable(kColumns, 1, cells, {}),
            "Name  Size  State\n"
            "a        1  1\n");
}

TEST(TextTable, cutsTheLastColumnToFitTheScreen) {
  const Rows rows = {{"a", "1", "a state of many words"}, {"b", "2", "short"}};
  const std::string whole = table(rows);
  EXPECT_EQ(table(rows, {.width = 33}), whole);
  EXPECT_EQ(table(rows, {.width = 32}),
            "Name  Size  State\n"
            "a        1  a state of many wor\u2026\n"
            "b        2  short\n");
  const std::string narrowest =
      "Name  Size  State\n"
      "a        1  a state o\u2026\n"
      "b        2  short\n";
  EXPECT_EQ(table(rows, {.width = 22}), narrowest);
  EXPECT_EQ(table(rows, {.width = 21}), narrowest);
  EXPECT_EQ(table(rows, {.width = 0}), narrowest);
}

TEST(TextTable, leavesOutOnANarrowScreenWhatNeedNotBeThere) {
  const std::vector<TextColumn> columns = {{"Name"},
                                           {"A", Alignment::right, Need::ifItFits},
                                           {"B", Alignment::right},
                                           {"C", Alignment::right, Need::ifItFits}};
  const auto cells = [](std::size_t, std::size_t column) -> Cell {
    return std::string(column == 0 ? "name" : "12345");
  };
  const auto shown = [&](std::size_t width) {
    return textTable(columns, 1, cells, {.width = width});
  };
  EXPECT_EQ(shown(25), "Name      A      B      C\nname  12345  12345  12345\n");
  EXPECT_EQ(shown(24), "Name      A      B\nname  12345  12345\n");
  EXPECT_EQ(shown(18), "Name      A      B\nname  12345  12345\n");
  EXPECT_EQ(shown(17), "Name      B\nname  12345\n");
  EXPECT_EQ(shown(0), "Name      B\nname  12345\n");  // a number is never cut
}

TEST(TextTable, looksNoFurtherIntoACellThanItShows) {
  const std::string mark = "\u0301";
  std::string marks = "e";
  for (int i = 0; i < 1'000'000; ++i) marks += mark;
  const std::string shown = table({{marks, "1", "x"}});
  EXPECT_LT(shown.size(), 1000U);
  EXPECT_NE(shown.find("\u2026  "), std::string::npos);
}

TEST(Inked, isTheTextWhereThereIsNoPaint) {
  EXPECT_EQ(inked("a", Ink::green, Paint::off), "a");
  EXPECT_EQ(inked("a", Ink::plain, Paint::on), "a");
  EXPECT_EQ(inked("a", Ink::bold, Paint::on), "\x1B[1ma\x1B[0m");
  EXPECT_EQ(inked("a", Ink::faint, Paint::on), "\x1B[2ma\x1B[0m");
  EXPECT_EQ(inked("a", Ink::red, Paint::on), "\x1B[31ma\x1B[0m");
  EXPECT_EQ(inked("a", Ink::green, Paint::on), "\x1B[32ma\x1B[0m");
  EXPECT_EQ(inked("a", Ink::yellow, Paint::on), "\x1B[33ma\x1B[0m");
}

}  // namespace
}  // namespace tavrine
