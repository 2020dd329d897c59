#include "companion/views/text_lines.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <ostream>
#include <string>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(LinesOf, endAtLineFeeds) {
  EXPECT_THAT(linesOf(""), IsEmpty());
  EXPECT_THAT(linesOf("a"), ElementsAre("a"));
  EXPECT_THAT(linesOf("a\n"), ElementsAre("a"));
  EXPECT_THAT(linesOf("a\nb"), ElementsAre("a", "b"));
  EXPECT_THAT(linesOf("\na\n\n"), ElementsAre("", "a", ""));
  EXPECT_THAT(linesOf("a\r\nb\vc"), ElementsAre("a\r", "b\vc"));
}

struct LastLinesRow {
  const char* name;
  std::string_view text;
  std::size_t most;
  std::size_t mostBytes;
  std::string_view last;
};
void PrintTo(const LastLinesRow& row, std::ostream* out) { *out << row.name; }

class LastLines : public testing::TestWithParam<LastLinesRow> {};

TEST_P(LastLines, areNoMoreThanMayBe) {
  const ExactBytes text(GetParam().text);
  EXPECT_EQ(lastLines(text.view(), GetParam().most, GetParam().mostBytes), GetParam().last);
}

constexpr std::size_t kAny = std::string_view::npos;

INSTANTIATE_TEST_SUITE_P(Texts, LastLines,
                         rows<LastLinesRow>({
                             {"ofNothing", "", 2, kAny, ""},
                             {"none", "a\nb", 0, kAny, ""},
                             {"one", "a", 2, kAny, "a"},
                             {"asManyAsMayBe", "a\nb", 2, kAny, "a\nb"},
                             {"oneMore", "a\nb\nc", 2, kAny, "b\nc"},
                             {"withALineFeedAtTheEnd", "a\nb\nc\n", 2, kAny, "b\nc\n"},
                             {"emptyOnes", "a\n\n\n", 2, kAny, "\n\n"},
                             {"nothingButALineFeed", "\n", 2, kAny, "\n"},
                             {"emptyOneAtTheBeginning", "\na\nb", 3, kAny, "\na\nb"},
                             {"asLongAsTheyMayBe", "a\nbc\nd", 3, 6, "a\nbc\nd"},
                             {"longerByOne", "a\nbc\nd", 3, 5, "bc\nd"},
                             {"lastOneAsLongAsItMayBe", "a\nbcd", 2, 3, "bcd"},
                             {"lastOneLongerByOne", "a\nbcd", 2, 2, "cd"},
                             {"noByte", "a\nb", 2, 0, ""},
                         }),
                         rowName);

}  // namespace
}  // namespace tavrine
