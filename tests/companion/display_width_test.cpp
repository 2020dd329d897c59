#include "companion/views/display_width.h"

#include <gtest/gtest.h>

#include <ostream>
#include <random>
#include <string>
#include <string_view>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

struct WidthRow {
  const char* name;
  std::string_view text;
  std::size_t width;
};

void PrintTo(const WidthRow& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class DisplayWidth : public testing::TestWithParam<WidthRow> {};

TEST_P(DisplayWidth, isWhatATerminalTakes) {
  EXPECT_EQ(displayWidth(GetParam().text), GetParam().width);
}

INSTANTIATE_TEST_SUITE_P(Texts, DisplayWidth,
                         rows<WidthRow>({
                             {"empty", "", 0},
                             {"ascii", "NVIDIA H100 80GB HBM3", 21},
                             {"latin", "Gr\u00F6\u00DFe", 5},
                             {"ideographs", "\u663E\u5361", 4},
                             {"kana", "\u30AB\u30FC\u30C9", 6},
                             {"hangulSyllable", "\uADF8", 2},
                             {"hangulFromItsLetters", "\u1100\u1173\u11A8", 2},
                             {"fullwidthLetter", "\uFF21", 2},
                             {"halfwidthKana", "\uFF76", 1},
                             {"ideographBeyondTheFirstPlane", "\U00020000", 2},
                             {"emoji", "\U0001F525", 2},
                             {"combiningMark", "e\u0301", 1},
                             {"combiningMarkAlone", "\u0301", 0},
                             {"enclosingMark", "a\u20DD", 1},
                             {"wideCombiningMark", "\u30AB\u3099", 2},
                             {"ambiguousIsNarrow", "\u00B1\u2026", 2},
                             {"softHyphen", "a\u00ADb", 3},
                             {"zeroWidthJoiner", "a\u200Db", 2},
                             {"variationSelector", "a\uFE0F", 1},
                             {"arabicSignThatIsSeen", "\u0600", 1},
                             {"control", "a\tb", 2},
                             {"otherControl", "a\u0085b", 2},
                             {"unassigned", "\U000E1000", 1},
                             {"illFormedByte", "a\xFF", 2},
                             {"sequenceCutShort", "a\xE2\x82", 2},
                         }),
                         rowName);

struct CutRow {
  const char* name;
  std::string_view text;
  std::size_t width;
  std::string_view cut;
};

void PrintTo(const CutRow& row, std::ostream* out) {
  *out << testing::PrintToString(row.text) << " to " << row.width;
}

class CutToWidth : public testing::TestWithParam<CutRow> {};

TEST_P(CutToWidth, keepsAsMuchAsFits) {
  EXPECT_EQ(cutToWidth(GetParam().text, GetParam().width), GetParam().cut);
}

INSTANTIATE_TEST_SUITE_P(Texts, CutToWidth,
                         rows<CutRow>({
                             {"empty", "", 1, ""},
                             {"shorter", "abc", 4, "abc"},
                             {"justFits", "abcd", 4, "abcd"},
                             {"oneTooMany", "abcde", 4, "abc\u2026"},
                             {"toOneColumn", "ab", 1, "\u2026"},
                             {"wideJustFits", "\u663E\u5361", 4, "\u663E\u5361"},
                             {"wideOneTooMany", "\u663E\u5361", 3, "\u663E\u2026"},
                             {"wideLeavesABlankColumn", "a\u663E\u5361", 3, "a\u2026"},
                             {"wideAtOneColumn", "\u663E", 1, "\u2026"},
                             {"marksStayWithTheirLetter", "ae\u0301xyz", 3, "ae\u0301\u2026"},
                             {"marksBehindTheLastColumn", "abe\u0301", 3, "abe\u0301"},
                         }),
                         rowName);

class CutToItsEnd : public testing::TestWithParam<CutRow> {};

TEST_P(CutToItsEnd, keepsAsMuchAsFits) {
  EXPECT_EQ(cutToWidth(GetParam().text, GetParam().width, Kept::end), GetParam().cut);
}

INSTANTIATE_TEST_SUITE_P(Texts, CutToItsEnd,
                         rows<CutRow>({
                             {"empty", "", 1, ""},
                             {"shorter", "abc", 4, "abc"},
                             {"justFits", "abcd", 4, "abcd"},
                             {"oneTooMany", "abcde", 4, "\u2026cde"},
                             {"toOneColumn", "ab", 1, "\u2026"},
                             {"wideJustFits", "\u663E\u5361", 4, "\u663E\u5361"},
                             {"wideOneTooMany", "\u663E\u5361", 3, "\u2026\u5361"},
                             {"wideLeavesABlankColumn", "\u663E\u5361a", 3, "\u2026a"},
                             {"wideAtOneColumn", "\u663E", 1, "\u2026"},
                             {"marksStayWithTheirLetter", "xyze\u0301a", 3, "\u2026e\u0301a"},
                             {"marksGoWithTheirLetter", "xyze\u0301ab", 3, "\u2026ab"},
                         }),
                         rowName);

TEST(CutToWidth, neverTakesMoreThanItsWidth) {
  std::mt19937 random(7);
  const std::string_view pieces[] = {"a", "\u663E", "\u0301", "\xFF", "\U0001F525", " "};
  for (int round = 0; round < 2000; ++round) {
    std::string text;
    for (auto count = random() % 12; count > 0; --count) text += pieces[random() % 6];
    const std::size_t width = 1 + random() % 12;
    for (const Kept kept : {Kept::beginning, Kept::end}) {
      const std::string cut = cutToWidth(text, width, kept);
      ASSERT_LE(displayWidth(cut), width) << testing::PrintToString(text);
      if (displayWidth(text) <= width) {
        ASSERT_EQ(cut, text);
      }
    }
  }
}

}  // namespace
}  // namespace tavrine
