#include "companion/views/text_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tavrine {
namespace {

using Rows = std::vector<std::vector<std::string>>;

const std::vector<TextColumn> kColumns = {{"Name"}, {"Size", Alignment::right}, {"State"}};

std::string table(const Rows& rows, HeadingStyle style = HeadingStyle::plain) {
  return textTable(
      kColumns,
      rows.size(),
      [&rows](std::size_t row, std::size_t column) { return rows[row][column]; },
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

TEST(TextTable, canHaveABoldHeading) {
  EXPECT_EQ(table({{"a", "1", "x"}}, HeadingStyle::bold),
            "\x1B[1mName  Size  State\x1B[0m\n"
            "a        1  x\n");
}

}  // namespace
}  // namespace tavrine
