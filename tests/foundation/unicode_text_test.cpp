#include <TavrineShared/foundation/unicode_text.h>

#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/naive_text.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using namespace std::string_view_literals;

struct Row {
  const char* name;
  std::string_view text;
  std::string_view want;
};

void PrintTo(const Row& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

std::string encoded(char32_t c) {
  std::string bytes;
  icu::UnicodeString(static_cast<UChar32>(c)).toUTF8String(bytes);
  return bytes;
}

/// Random texts from pieces that make the functions under test take every turn.
std::string randomText(std::mt19937& random, const std::vector<std::string_view>& pieces,
                       std::size_t longest) {
  std::string text;
  for (std::size_t count = random() % (longest + 1); count > 0; --count) {
    text += pieces[random() % pieces.size()];
  }
  return text;
}

const std::vector<std::string_view>& brokenPieces() {
  static const std::vector<std::string_view> pieces = {
      "a"sv,    " "sv,    "\t"sv,   "\0"sv,   "\x7F"sv, "\x80"sv, "\x85"sv,     "\x8A"sv,
      "\x8F"sv, "\x90"sv, "\x9F"sv, "\xA0"sv, "\xA8"sv, "\xAF"sv, "\xBF"sv,     "\xC0"sv,
      "\xC2"sv, "\xDF"sv, "\xE0"sv, "\xE1"sv, "\xE2"sv, "\xE3"sv, "\xED"sv,     "\xEF"sv,
      "\xF0"sv, "\xF1"sv, "\xF4"sv, "\xF5"sv, "\xFF"sv, "\u2003", "\u00A0",     "\u0085",
      "\u3000", "\uFFFD", "\uFEFF", "\u00E9", "\u2588", "\u1680", "\U0001F600", "sixteen and more"};
  return pieces;
}

// --- well-formedness and repair ---

class WellFormedUTF8 : public testing::TestWithParam<Row> {};

/// `want` is the text after repair; equal to `text` exactly where that is well-formed.
TEST_P(WellFormedUTF8, isTestedAndRepaired) {
  const auto& [name, text, want] = GetParam();
  EXPECT_EQ(repairedUTF8(text), want);
  EXPECT_EQ(isWellFormedUTF8(text), text == want);
  // Also behind and in front of text that is scanned in wide steps.
  const std::string padding(37, 'p');
  EXPECT_EQ(repairedUTF8(padding + std::string(text) + padding),
            padding + std::string(want) + padding);
  EXPECT_EQ(isWellFormedUTF8(padding + std::string(text) + padding), text == want);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, WellFormedUTF8,
    testing::Values(
        Row{"empty", "", ""}, Row{"ascii", "loss 0.5\n", "loss 0.5\n"},
        Row{"nulIsACharacter", "a\0b"sv, "a\0b"sv},
        Row{"shortestOfEachLength", "\x7F\u0080\u0800\U00010000", "\x7F\u0080\u0800\U00010000"},
        Row{"longestOfEachLength", "\u07FF\uFFFF\U0010FFFF", "\u07FF\uFFFF\U0010FFFF"},
        Row{"aroundTheSurrogates", "\uD7FF\uE000", "\uD7FF\uE000"},
        Row{"noncharactersAreFine", "\uFDD0\uFFFE", "\uFDD0\uFFFE"},
        Row{"byteOrderMarkStays", "\uFEFFa", "\uFEFFa"},
        Row{"loneContinuation", "a\x80z", "a\uFFFDz"},
        Row{"twoContinuations", "\x80\xBF", "\uFFFD\uFFFD"},
        Row{"overlongSlash", "\xC0\xAF", "\uFFFD\uFFFD"},
        Row{"overlongInThreeBytes", "\xE0\x80\xAF", "\uFFFD\uFFFD\uFFFD"},
        Row{"overlongInFourBytes", "\xF0\x8F\xBF\xBF", "\uFFFD\uFFFD\uFFFD\uFFFD"},
        Row{"surrogate", "\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
        Row{"aboveTheLastCharacter", "\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
        Row{"neverALead", "\xF5\xFE\xFF", "\uFFFD\uFFFD\uFFFD"},
        Row{"twoOfTwoMissing", "\xC3", "\uFFFD"}, Row{"twoOfThree", "\xE2\x82z", "\uFFFDz"},
        Row{"threeOfFour", "\xF0\x9F\x98z", "\uFFFDz"},
        Row{"cutAtTheEnd", "a\xF0\x9F\x98", "a\uFFFD"},
        Row{"leadAfterLead", "\xE2\xE2\x82\xAC", "\uFFFD\u20AC"},
        // The worked example of the Unicode Standard, on substitution of maximal subparts.
        Row{"standardExample",
            "\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64",
            "a\uFFFD\uFFFD\uFFFDb\uFFFDc\uFFFD\uFFFDd"}),
    rowName);

TEST(WellFormedSequenceLength, isThatOfEveryCharacterAndOfNoSurrogate) {
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    const std::string bytes = encoded(c);
    const std::size_t want = c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
    ASSERT_EQ(bytes.size(), want);
    ASSERT_EQ(wellFormedSequenceLength(bytes), want);
    ASSERT_EQ(wellFormedSequenceLength(bytes + "\x80"), want);
    ASSERT_EQ(wellFormedSequenceLength(bytes.substr(0, want - 1)), 0U);
  }
}

TEST(WellFormedSequenceLength, isZeroForNoText) { EXPECT_EQ(wellFormedSequenceLength(""), 0U); }

TEST(WellFormedPrefixLength, endsWhereTheFirstIllFormedPartBegins) {
  EXPECT_EQ(wellFormedPrefixLength(""), 0U);
  EXPECT_EQ(wellFormedPrefixLength("\xFF"), 0U);
  EXPECT_EQ(wellFormedPrefixLength("a\u20AC\xE2\x82"), 4U);
  EXPECT_EQ(wellFormedPrefixLength("a\u20AC"), 4U);
}

TEST(AppendUTF8, appendsEveryCharacterAsICUDoes) {
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    std::string text = "a";
    appendUTF8(text, c);
    ASSERT_EQ(text, "a" + encoded(c));
  }
}

TEST(IllFormedPartLength, isOneToThree) {
  EXPECT_EQ(illFormedPartLength("\x80\x80"), 1U);
  EXPECT_EQ(illFormedPartLength("\xE0\x80"), 1U);
  EXPECT_EQ(illFormedPartLength("\xE2\x82"), 2U);
  EXPECT_EQ(illFormedPartLength("\xE2\x82z"), 2U);
  EXPECT_EQ(illFormedPartLength("\xF0\x9F\x98z"), 3U);
}

std::string naivelyRepaired(std::string_view text) {
  std::string repaired;
  icu::UnicodeString::fromUTF8(std::string(text)).toUTF8String(repaired);
  return repaired;
}

TEST(RepairedUTF8, agreesWithICUOnEveryPairOfBytes) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      for (const std::string_view rest : {"", "\x80", "\xBF\x80"}) {
        const std::string text =
            std::string{static_cast<char>(first), static_cast<char>(second)} + std::string(rest);
        ASSERT_EQ(repairedUTF8(text), naivelyRepaired(text)) << testing::PrintToString(text);
      }
    }
  }
}

TEST(RepairedUTF8, agreesWithICUOnAnyBytes) {
  std::mt19937 random(2);
  for (int round = 0; round < 100'000; ++round) {
    const std::string text = randomText(random, brokenPieces(), 12);
    const std::string want = naivelyRepaired(text);
    ASSERT_EQ(repairedUTF8(text), want) << testing::PrintToString(text);
    ASSERT_EQ(isWellFormedUTF8(text), text == want) << testing::PrintToString(text);
  }
}

// --- trimming ---

/// The obvious way: every character in UTF-16, each looked up.
std::string naivelyTrimmed(std::string_view text) {
  icu::UnicodeString characters = icu::UnicodeString::fromUTF8(std::string(text));
  const auto isWhite = [&characters](std::int32_t i) {
    return u_hasBinaryProperty(characters.char32At(i), UCHAR_WHITE_SPACE) != 0;
  };
  while (characters.length() > 0 && isWhite(0)) characters.remove(0, 1);
  while (characters.length() > 0 && isWhite(characters.length() - 1)) {
    characters.truncate(characters.length() - 1);
  }
  std::string trimmedText;
  characters.toUTF8String(trimmedText);
  return trimmedText;
}

class Trimmed : public testing::TestWithParam<Row> {};

TEST_P(Trimmed, dropsWhiteSpaceAtBothEnds) {
  const auto& [name, text, want] = GetParam();
  EXPECT_EQ(trimmed(text), want);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Trimmed,
    testing::Values(Row{"empty", "", ""}, Row{"nothingToDo", "87 %", "87 %"},
                    Row{"oneCharacter", "x", "x"}, Row{"oneBlank", " ", ""},
                    Row{"onlyBlanks", "     ", ""},
                    Row{"onlyWhiteSpace", " \t\n\v\f\r\u0085\u00A0\u3000", ""},
                    Row{"front", "  a", "a"}, Row{"back", "a  ", "a"},
                    Row{"blanksInsideStay", " a \t b ", "a \t b"},
                    Row{"blanksAroundOthers", " \t \u2003 a \u2003 \t ", "a"},
                    Row{"noBreakSpaces", "\u00A0\u202Fa\u202F\u00A0", "a"},
                    Row{"lineSeparators", "\u2028a\u2029", "a"}, Row{"ogham", "\u1680a\u1680", "a"},
                    Row{"mathematical", "\u205Fa\u205F", "a"},
                    Row{"byteOrderMarkStays", "\uFEFFa\uFEFF", "\uFEFFa\uFEFF"},
                    Row{"zeroWidthSpaceStays", " \u200Ba\u200B ", "\u200Ba\u200B"},
                    Row{"informationSeparatorsStay", " \x1C\x1D \x1E\x1F ", "\x1C\x1D \x1E\x1F"},
                    Row{"nulStays", " \0a\0 "sv, "\0a\0"sv}, Row{"deleteStays", " \x7F ", "\x7F"},
                    Row{"accentsStay", " \u00E9t\u00E9 ", "\u00E9t\u00E9"},
                    Row{"illFormedFrontStays", " \xC2 a", "\xC2 a"},
                    Row{"illFormedBackStays", "a \x85 ", "a \x85"},
                    Row{"spaceAfterIllFormedGoes", "a\xF0\u2003", "a\xF0"},
                    Row{"spaceAfterLoneLeadGoes", "a\xE2\u0085", "a\xE2"},
                    Row{"cutSpaceStays", " \xE2\x80 ", "\xE2\x80"}),
    rowName);

TEST(Trimming, isAViewIntoTheSameBytes) {
  const std::string_view text = " \u2003 abc \u2003";
  EXPECT_EQ(trimmed(text).data(), text.data() + 5);
}

TEST(Trimming, mayStopAtOneEnd) {
  const std::string_view text = " \u2003 a b\u00A0\t";
  EXPECT_EQ(trimmedAtStart(text), "a b\u00A0\t");
  EXPECT_EQ(trimmedAtEnd(text), " \u2003 a b");
  EXPECT_EQ(trimmedAtStart(" \u2003"), "");
  EXPECT_EQ(trimmedAtEnd(" \u2003"), "");
  EXPECT_EQ(trimmedAtStart(""), "");
  EXPECT_EQ(trimmedAtEnd(""), "");
}

TEST(Trimming, dropsExactlyTheUnicodeWhiteSpaceCharacters) {
  int spaces = 0;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    const bool isSpace = u_hasBinaryProperty(static_cast<UChar32>(c), UCHAR_WHITE_SPACE) != 0;
    spaces += isSpace ? 1 : 0;
    const std::string character = encoded(c);
    ASSERT_EQ(trimmed(character), isSpace ? "" : character) << "U+" << std::hex << +c;
    ASSERT_EQ(trimmed(character + "x"), isSpace ? "x" : character + "x") << "U+" << std::hex << +c;
    ASSERT_EQ(trimmed("x" + character), isSpace ? "x" : "x" + character) << "U+" << std::hex << +c;
  }
  EXPECT_EQ(spaces, 25);
}

TEST(Trimming, leavesWhatTrimmingTheRepairedTextLeaves) {
  std::mt19937 random(3);
  for (int round = 0; round < 100'000; ++round) {
    const std::string text = randomText(random, brokenPieces(), 8);
    const std::string want = naivelyTrimmed(text);
    ASSERT_EQ(repairedUTF8(trimmed(text)), want) << testing::PrintToString(text);
    ASSERT_EQ(trimmed(repairedUTF8(text)), want) << testing::PrintToString(text);
    ASSERT_EQ(trimmedAtEnd(trimmedAtStart(text)), trimmed(text)) << testing::PrintToString(text);
    ASSERT_EQ(trimmedAtStart(trimmedAtEnd(text)), trimmed(text)) << testing::PrintToString(text);
  }
}

// --- lower-casing ---

std::string naivelyLowercased(std::string_view text) {
  std::string lower;
  icu::UnicodeString::fromUTF8(std::string(text))
      .toLower(icu::Locale::getRoot())
      .toUTF8String(lower);
  return lower;
}

class Lowercased : public testing::TestWithParam<Row> {};

TEST_P(Lowercased, followsTheFullMappingsOfTheRootLocale) {
  const auto& [name, text, want] = GetParam();
  EXPECT_EQ(lowercased(text), want);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Lowercased,
    testing::Values(
        Row{"empty", "", ""}, Row{"ascii", "CUDA out of Memory", "cuda out of memory"},
        Row{"asciiNeighboursOfLettersStay", "@[`{", "@[`{"},
        Row{"allAsciiCapitals", "ABCDEFGHIJKLMNOPQRSTUVWXYZ", "abcdefghijklmnopqrstuvwxyz"},
        Row{"nul", "A\0B"sv, "a\0b"sv}, Row{"latin", "\u00C9T\u00C9", "\u00E9t\u00E9"},
        Row{"cyrillic", "\u041F\u0420\u0418", "\u043F\u0440\u0438"},
        Row{"twoCharactersForOne", "\u0130", "i\u0307"}, Row{"dotlessStays", "I\u0131", "i\u0131"},
        Row{"capitalSharpS", "\u1E9E", "\u00DF"}, Row{"kelvin", "\u212A", "k"},
        Row{"longerInBytes", "\u023A", "\u2C65"}, Row{"deseret", "\U00010400", "\U00010428"},
        Row{"sigmaWithin", "\u03A3\u0391", "\u03C3\u03B1"},
        Row{"sigmaAtTheEnd", "\u0391\u03A3", "\u03B1\u03C2"},
        Row{"sigmaAtTheEndOfAWord", "\u0391\u03A3 \u0391", "\u03B1\u03C2 \u03B1"},
        Row{"sigmaAlone", "\u03A3", "\u03C3"},
        Row{"sigmaBeforeIgnorables", "\u0391\u03A3'\u0301", "\u03B1\u03C2'\u0301"},
        Row{"sigmaLooksPastIgnorables", "\u0391\u03A3'\u0391", "\u03B1\u03C3'\u03B1"},
        Row{"illFormedIsRepaired",
            "A\xFF\xE2\x82"
            "B",
            "a\uFFFD\uFFFDb"},
        Row{"noCaseStays", "\u8BAD\u7EC3 42", "\u8BAD\u7EC3 42"}),
    rowName);

TEST(Lowercasing, agreesWithICUOnAnyText) {
  const std::vector<std::string_view> pieces = {
      "A",      "b",      "Z",      " ",          "\n",     ".",      "'",      "1",
      "\u03A3", "\u03A3", "\u0391", "\u03C3",     "\u0301", "\u00AD", "\u0130", "\u1E9E",
      "\u02B0", "\u0345", "\u2019", "\U00010400", "\xFF",   "\xE2",   "\u8BAD", "Cuda Error: "};
  std::mt19937 random(4);
  for (int round = 0; round < 50'000; ++round) {
    const std::string text = randomText(random, pieces, 20);
    ASSERT_EQ(lowercased(text), naivelyLowercased(text)) << testing::PrintToString(text);
  }
}

TEST(Lowercasing, isTheSameForEveryCharacter) {
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    ASSERT_EQ(lowercased(encoded(c)), naivelyLowercased(encoded(c))) << "U+" << std::hex << +c;
  }
}

TEST(LowercasedInPieces, isTheSameAsInOnePiece) {
  const std::vector<std::string_view> pieces =
      {"A", "\u03A3", "\u03A3", "\u0391", "\u0301", "'", "\U00010400", "\u0130"};
  std::mt19937 random(5);
  for (int round = 0; round < 20'000; ++round) {
    std::string text;
    // No word is longer than 16 bytes, so each piece holds a place that is safe to cut at.
    while (text.size() < 200) text += randomText(random, pieces, 4) + "  ";
    const std::size_t limit = 24 + random() % 100;
    ASSERT_EQ(detail::lowercasedInPieces(text, limit), naivelyLowercased(text))
        << "pieces of " << limit << ": " << testing::PrintToString(text);
  }
}

TEST(LowercasedInPieces, cutsWithinAWordWhereTheSigmaRuleAllows) {
  const std::string text = "\u0391\u0391\u0391\u0391\u03A3\u0391\u0391\u03A3\u0391\u0391\u03A3";
  for (std::size_t limit = 10; limit <= text.size(); ++limit) {
    EXPECT_EQ(detail::lowercasedInPieces(text, limit), naivelyLowercased(text)) << limit;
  }
}

TEST(LowercasedInPieces, cutsBetweenCharactersWhereNoPlaceIsSafe) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "\u03A3";
  for (std::size_t limit = 4; limit < 20; ++limit) {
    const std::string lower = detail::lowercasedInPieces(text, limit);
    EXPECT_TRUE(isWellFormedUTF8(lower)) << limit;
    EXPECT_EQ(lower.size(), text.size()) << limit;
  }
}

// Every character there is, against the list of those that are white space.
TEST(WhiteSpaceLength, isNotZeroForWhiteSpaceOnly) {
  for (char32_t c = 0; c < 0x10000; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    const std::string text = naive::encodedUTF8(std::u32string(1, c)) + "x";
    const bool isWhiteSpace = naive::trimmed(std::u32string(1, c)).empty();
    EXPECT_EQ(whiteSpaceLength(text), isWhiteSpace ? text.size() - 1 : 0) << text;
  }
  for (const std::string_view text : {"", "\xC2", "\xE2\x80", "\x85", "\xA0", "\xE2\x80\x8B"}) {
    EXPECT_EQ(whiteSpaceLength(text), 0U) << text;
  }
}

}  // namespace
}  // namespace tavrine
