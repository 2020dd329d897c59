#include "companion/views/visible_text.h"

#include <TavrineShared/model/json_conventions.h>

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

using namespace std::string_view_literals;

struct Row {
  const char* name;
  std::string_view text;
  std::string_view visible;
};

void PrintTo(const Row& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class VisibleText : public testing::TestWithParam<Row> {};

TEST_P(VisibleText, showsWhatATerminalWouldObey) {
  EXPECT_EQ(visibleText(GetParam().text), GetParam().visible);
}

INSTANTIATE_TEST_SUITE_P(Changed, VisibleText,
                         rows<Row>({
                             {"escapeSequence", "a\x1B[31mb", "a\\x1b[31mb"},
                             {"titleSequence", "\x1B]0;owned\x07", "\\x1b]0;owned\\x07"},
                             {"nul", "a\0b"sv, "a\\x00b"},
                             {"tab", "a\tb", "a\\x09b"},
                             {"lineFeed", "a\nb", "a\\x0ab"},
                             {"carriageReturn", "a\rb", "a\\x0db"},
                             {"backspace", "a\bb", "a\\x08b"},
                             {"del", "a\x7F", "a\\x7f"},
                             {"controlSequenceIntroducer", "a\u009B31m", "a<U+009B>31m"},
                             {"nextLine", "a\u0085b", "a<U+0085>b"},
                             {"lineSeparator", "a\u2028b", "a<U+2028>b"},
                             {"paragraphSeparator", "a\u2029b", "a<U+2029>b"},
                             {"rightToLeftOverride", "a\u202Eb", "a<U+202E>b"},
                             {"isolate", "a\u2067b\u2069", "a<U+2067>b<U+2069>"},
                             {"rightToLeftMark", "a\u200F", "a<U+200F>"},
                             {"arabicLetterMark", "a\u061C", "a<U+061C>"},
                             {"zeroWidthSpace", "a\u200Bb", "a<U+200B>b"},
                             {"byteOrderMark", "\uFEFFa", "<U+FEFF>a"},
                             {"softHyphen", "a\u00ADb", "a<U+00AD>b"},
                             {"tagCharacter", "a\U000E0041", "a<U+E0041>"},
                             {"illFormedBytes", "a\xFF\xE2\x82", "a\\xff\\xe2\\x82"},
                         }),
                         rowName);

INSTANTIATE_TEST_SUITE_P(
    Unchanged, VisibleText,
    rows<Row>({
        {"empty", "", ""},
        {"ascii", "~ NVIDIA H100 !", "~ NVIDIA H100 !"},
        {"backslash", "a\\x1b", "a\\x1b"},
        {"umlaut", "\u00FC", "\u00FC"},
        {"noBreakSpace", "a\u00A0b", "a\u00A0b"},
        {"ideograph", "\u663E", "\u663E"},
        {"combiningMark", "e\u0301", "e\u0301"},
        {"joinedEmoji", "\U0001F468\u200D\U0001F4BB", "\U0001F468\u200D\U0001F4BB"},
        {"nonJoiner", "\u0645\u200C\u0645", "\u0645\u200C\u0645"},
        {"arabicSignThatIsSeen", "\u0600\u0661", "\u0600\u0661"},
        {"replacementCharacter", "\uFFFD", "\uFFFD"},
        {"privateUse", "\uE0B0", "\uE0B0"},
    }),
    rowName);

const std::vector<std::string> kHostileNames = {
    "a\u009B31m",
    "a\u202Eb",
    "a\u2028b",
    "a\x7F",
    "\U000E0041",
    "plain",
    "\x1B[2J",
    "\u663E",
};

TEST(VisibleJSON, staysTheSameDocument) {
  for (const JSONStyle style : {JSONStyle::compact, JSONStyle::pretty}) {
    const std::string document = encode(kHostileNames, style);
    EXPECT_EQ(decode<std::vector<std::string>>(visibleJSON(document)), kHostileNames);
  }
}

TEST(VisibleJSON, escapesWhatATerminalWouldObey) {
  EXPECT_EQ(visibleJSON(encode(kHostileNames)),
            R"(["a\u009b31m","a\u202eb","a\u2028b","a\u007f","\udb40\udc41","plain",)"
            R"("\u001b[2J",)"
            "\"\u663E\"]");
}

TEST(VisibleJSON, keepsTheLayout) {
  const std::string document = encode(std::vector<std::string>{"a", "b"}, JSONStyle::pretty);
  EXPECT_EQ(visibleJSON(document), document);
}

}  // namespace
}  // namespace tavrine
