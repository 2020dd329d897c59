#include <TavrineShared/foundation/text_position.h>

#include <gtest/gtest.h>

#include <ostream>
#include <string_view>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

using namespace std::string_view_literals;

struct Row {
  const char* name;
  std::string_view text;
  std::size_t offset;
  std::size_t line;
  std::size_t column;
};
void PrintTo(const Row& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class TextPositionOf : public testing::TestWithParam<Row> {};

TEST_P(TextPositionOf, countsLinesAndCharactersFromOne) {
  const TextPosition position = textPosition(GetParam().text, GetParam().offset);
  EXPECT_EQ(position.line, GetParam().line);
  EXPECT_EQ(position.column, GetParam().column);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, TextPositionOf,
    rows<Row>({
        {"emptyText", "", 0, 1, 1},
        {"noText", std::string_view(), 0, 1, 1},
        {"start", "abc", 0, 1, 1},
        {"middle", "abc", 2, 1, 3},
        {"end", "abc", 3, 1, 4},
        {"lineFeedItself", "ab\ncd", 2, 1, 3},
        {"startOfTheSecondLine", "ab\ncd", 3, 2, 1},
        {"inTheSecondLine", "ab\ncd", 4, 2, 2},
        {"behindTheLastLineFeed", "ab\n", 3, 2, 1},
        {"emptyLines", "\n\n\nx", 3, 4, 1},
        {"carriageReturnIsACharacter", "a\r\nb", 2, 1, 3},
        {"loneCarriageReturnEndsNoLine", "a\rb", 2, 1, 3},
        {"lineSeparatorEndsNoLine",
         "a\xE2\x80\xA8"
         "b",
         4,
         1,
         3},
        {"behindTwoBytes", "\xC3\xA9x", 2, 1, 2},
        {"behindThreeBytes", "\xE2\x82\xACx", 3, 1, 2},
        {"behindFourBytes", "\xF0\x9F\x98\x80x", 4, 1, 2},
        {"charactersOfEarlierLinesDoNotCount", "\xC3\xA9\xC3\xA9\n\xC3\xA9x", 7, 2, 2},
        {"illFormedPartsAreCharacters", "\x83\xF0\x9Fx", 3, 1, 3},
        {"nulIsACharacter", "\0\0x"sv, 2, 1, 3},
    }),
    rowName);

}  // namespace
}  // namespace tavrine
