#include <TavrineShared/parsers/text_rules.h>

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cerrno>
#include <cfloat>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

using namespace std::string_view_literals;

// --- lines ---

/// A line with its number.
using Line = std::pair<std::size_t, std::string>;
using Lines = std::vector<Line>;

Lines linesOf(std::string_view text) {
  Lines lines;
  for (LineCursor cursor(text); cursor.next();) {
    lines.emplace_back(cursor.lineNumber(), cursor.line());
  }
  return lines;
}

/// One character after the other.
Lines naiveLinesOf(std::string_view text) {
  Lines lines;
  Line line{1, ""};
  const auto endLine = [&] {
    if (!line.second.empty()) lines.push_back(line);
    line = {line.first + 1, ""};
  };
  for (std::size_t i = 0; i < text.size();) {
    std::size_t length = 0;
    for (const std::string_view lineBreak :
         {"\r\n", "\n", "\v", "\f", "\r", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"}) {
      if (length == 0 && text.substr(i).starts_with(lineBreak)) length = lineBreak.size();
    }
    if (length > 0) {
      endLine();
      i += length;
    } else {
      line.second += text[i++];
    }
  }
  endLine();
  return lines;
}

struct LinesRow {
  const char* name;
  std::string_view text;
  Lines want;
};

void PrintTo(const LinesRow& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class LineCursorOver : public testing::TestWithParam<LinesRow> {};

TEST_P(LineCursorOver, givesTheLinesThatAreNotEmptyWithTheirNumbers) {
  const auto& [name, text, want] = GetParam();
  EXPECT_EQ(linesOf(text), want);
  EXPECT_EQ(naiveLinesOf(text), want);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, LineCursorOver,
    testing::Values(LinesRow{"empty", "", {}}, LinesRow{"oneBreak", "\n", {}},
                    LinesRow{"onlyBreaks", "\n\r\n\r\v\f\u0085\u2028\u2029", {}},
                    LinesRow{"noBreak", "a", {{1, "a"}}}, LinesRow{"finalBreak", "a\n", {{1, "a"}}},
                    LinesRow{"twoFinalBreaks", "a\n\n", {{1, "a"}}},
                    LinesRow{"firstLineEmpty", "\na", {{2, "a"}}},
                    LinesRow{"lineFeed", "a\nb", {{1, "a"}, {2, "b"}}},
                    LinesRow{"verticalTab", "a\vb", {{1, "a"}, {2, "b"}}},
                    LinesRow{"formFeed", "a\fb", {{1, "a"}, {2, "b"}}},
                    LinesRow{"carriageReturn", "a\rb", {{1, "a"}, {2, "b"}}},
                    LinesRow{"carriageReturnLineFeed", "a\r\nb", {{1, "a"}, {2, "b"}}},
                    LinesRow{"lineFeedCarriageReturn", "a\n\rb", {{1, "a"}, {3, "b"}}},
                    LinesRow{"twoCarriageReturnsLineFeed", "a\r\r\nb", {{1, "a"}, {3, "b"}}},
                    LinesRow{"emptyWindowsLines", "a\r\n\r\n\r\nb\r\n", {{1, "a"}, {4, "b"}}},
                    LinesRow{"nextLine", "a\u0085b", {{1, "a"}, {2, "b"}}},
                    LinesRow{"lineSeparator", "a\u2028b", {{1, "a"}, {2, "b"}}},
                    LinesRow{"paragraphSeparator", "a\u2029b", {{1, "a"}, {2, "b"}}},
                    LinesRow{"carriageReturnAtTheEnd", "a\r", {{1, "a"}}},
                    LinesRow{"blankLinesAreNotEmpty", "a\n \nb", {{1, "a"}, {2, " "}, {3, "b"}}},
                    LinesRow{"notTrimmed", "\ta \n", {{1, "\ta "}}},
                    LinesRow{"tabAndSeparatorsAreNoBreaks",
                             "a\tb\x1C\x1D\x1E\x1F",
                             {{1, "a\tb\x1C\x1D\x1E\x1F"}}},
                    LinesRow{"nulIsNoBreak", "a\0b\nc"sv, {{1, std::string("a\0b", 3)}, {2, "c"}}},
                    LinesRow{"neighboursOfTheLongBreaks",
                             "\u0084\u0086\u2027\u202A\u202C",
                             {{1, "\u0084\u0086\u2027\u202A\u202C"}}},
                    LinesRow{"cutBreakAtTheEnd", "a\xE2\x80", {{1, "a\xE2\x80"}}},
                    LinesRow{"cutBreakBeforeABreak",
                             "\xC2\n\xE2\x80\n\xE2",
                             {{1, "\xC2"}, {2, "\xE2\x80"}, {3, "\xE2"}}},
                    LinesRow{"breakAfterIllFormed",
                             "\xF0\u2028\xE2\u0085z",
                             {{1, "\xF0"}, {2, "\xE2"}, {3, "z"}}},
                    LinesRow{"overlongLineFeedIsNoBreak",
                             "a\xC0\x8A"
                             "b",
                             {{1,
                               "a\xC0\x8A"
                               "b"}}}),
    rowName);

TEST(LineCursor, givesViewsIntoTheText) {
  const std::string_view text = "\nab\ncd";
  LineCursor cursor(text);
  ASSERT_TRUE(cursor.next());
  EXPECT_EQ(cursor.line().data(), text.data() + 1);
}

TEST(LineCursor, hasNoLineBeforeTheFirstAndAfterTheLast) {
  LineCursor cursor("a\n");
  EXPECT_EQ(cursor.line(), "");
  EXPECT_TRUE(cursor.next());
  EXPECT_FALSE(cursor.next());
  EXPECT_EQ(cursor.line(), "");
  EXPECT_FALSE(cursor.next());
}

TEST(LineCursor, takesAViewOfNothing) { EXPECT_FALSE(LineCursor(std::string_view()).next()); }

TEST(LineCursor, agreesWithItsNaiveTwinOnAnyBytes) {
  const std::vector<std::string_view> pieces = {"\n",           "\v",
                                                "\f",           "\r",
                                                "\r\n",         "\xC2\x85",
                                                "\xE2\x80\xA8", "\xE2\x80\xA9",
                                                "\xC2",         "\x85",
                                                "\xE2",         "\x80",
                                                "\xA8",         "x",
                                                "\xC3\xA9",     "\xE2\x96\x88",
                                                "\0"sv,         " ",
                                                "abcd",         "1,",
                                                "\xFF",         "a row of some length, 42"};
  std::mt19937 random(6);
  for (int round = 0; round < 50'000; ++round) {
    std::string text;
    for (auto count = random() % 30; count > 0; --count) text += pieces[random() % pieces.size()];
    ASSERT_EQ(linesOf(text), naiveLinesOf(text)) << testing::PrintToString(text);
  }
}

// --- integers ---

struct IntegerRow {
  const char* name;
  std::string_view text;
  std::optional<std::int64_t> want;
};

void PrintTo(const IntegerRow& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class ReadInteger : public testing::TestWithParam<IntegerRow> {};

TEST_P(ReadInteger, takesWholeDecimalTextsThatFit) {
  const auto& [name, text, want] = GetParam();
  EXPECT_EQ(readInteger(text), want);
}

constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

INSTANTIATE_TEST_SUITE_P(
    Texts, ReadInteger,
    testing::Values(
        IntegerRow{"zero", "0", 0}, IntegerRow{"plain", "42", 42}, IntegerRow{"plus", "+3", 3},
        IntegerRow{"minus", "-3", -3}, IntegerRow{"minusZero", "-0", 0},
        IntegerRow{"leadingZeros", "007", 7}, IntegerRow{"notOctal", "010", 10},
        IntegerRow{"manyLeadingZeros", "-000000000000000000000000000000001", -1},
        IntegerRow{"largest", "9223372036854775807", kMax},
        IntegerRow{"largestWithPlus", "+9223372036854775807", kMax},
        IntegerRow{"aboveTheLargest", "9223372036854775808", {}},
        IntegerRow{"smallest", "-9223372036854775808", kMin},
        IntegerRow{"belowTheSmallest", "-9223372036854775809", {}},
        IntegerRow{"farTooLarge", "99999999999999999999999999", {}},
        IntegerRow{"wrapsTo1In64Bits", "18446744073709551617", {}}, IntegerRow{"empty", "", {}},
        IntegerRow{"onlyPlus", "+", {}}, IntegerRow{"onlyMinus", "-", {}},
        IntegerRow{"twoMinuses", "--1", {}}, IntegerRow{"twoPluses", "++1", {}},
        IntegerRow{"plusMinus", "+-1", {}}, IntegerRow{"minusPlus", "-+1", {}},
        IntegerRow{"leadingBlank", " 1", {}}, IntegerRow{"trailingBlank", "1 ", {}},
        IntegerRow{"blankAfterSign", "- 1", {}}, IntegerRow{"lineFeed", "1\n", {}},
        IntegerRow{"trailingNul", "1\0"sv, {}}, IntegerRow{"point", "1.0", {}},
        IntegerRow{"exponent", "1e2", {}}, IntegerRow{"hexadecimal", "0x10", {}},
        IntegerRow{"underscore", "1_000", {}}, IntegerRow{"comma", "1,000", {}},
        IntegerRow{"letters", "index", {}}, IntegerRow{"letterBehind", "1a", {}},
        IntegerRow{"fullWidthDigit", "\uFF11", {}}, IntegerRow{"arabicDigit", "\u0661", {}},
        IntegerRow{"unicodeMinus", "\u22121", {}}),
    rowName);

TEST(ReadIntegerTwin, agreesOnAnyTextOfDigitsAndSigns) {
  const auto naive = [](const std::string& text) -> std::optional<std::int64_t> {
    const bool isSigned = !text.empty() && (text[0] == '+' || text[0] == '-');
    const std::string digits = text.substr(isSigned ? 1 : 0);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) return {};
    errno = 0;
    const long long value = strtoll(text.c_str(), nullptr, 10);
    if (errno == ERANGE) return {};
    return value;
  };
  constexpr std::string_view kAlphabet = "0001223456789999999+- .";
  std::mt19937 random(7);
  for (int round = 0; round < 200'000; ++round) {
    std::string text(random() % 3, '0');
    for (auto count = random() % 22; count > 0; --count) {
      // Late in the alphabet stand the characters that spoil a text: they should be rare.
      text += kAlphabet[random() % (random() % 8 == 0 ? kAlphabet.size() : 19)];
    }
    if (random() % 3 == 0) text.insert(0, random() % 2 == 0 ? "-" : "+");
    ASSERT_EQ(readInteger(text), naive(text)) << testing::PrintToString(text);
  }
}

// --- floats ---

/// The C library's strtod in the C locale, whatever locale the process is in.
std::optional<double> naiveReadFloat(std::string_view text) {
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  if (text.empty() || " \t\n\v\f\r"sv.find(text.front()) != std::string_view::npos) return {};
  const std::string terminated(text);
  char* end = nullptr;
  errno = 0;
  const double value = strtod_l(terminated.c_str(), &end, cLocale);
  if (errno == ERANGE || end != terminated.c_str() + terminated.size()) return {};
  return value;
}

/// Equal bit by bit, so that 0.0 is not -0.0, save that one NaN of a sign is as good as another.
bool isSame(std::optional<double> a, std::optional<double> b) {
  if (!a || !b) return a.has_value() == b.has_value();
  if (std::isnan(*a) || std::isnan(*b)) {
    return std::isnan(*a) && std::isnan(*b) && std::signbit(*a) == std::signbit(*b);
  }
  return std::bit_cast<std::uint64_t>(*a) == std::bit_cast<std::uint64_t>(*b);
}

struct FloatRow {
  const char* name;
  std::string text;
  std::optional<double> want;
};

void PrintTo(const FloatRow& row, std::ostream* out) {
  *out << testing::PrintToString(row.text.substr(0, 80));
}

class ReadFloat : public testing::TestWithParam<FloatRow> {};

TEST_P(ReadFloat, readsLikeTheCLibrary) {
  const auto& [name, text, want] = GetParam();
  const std::optional<double> got = readFloat(text);
  EXPECT_TRUE(isSame(got, want)) << testing::PrintToString(got) << ", not "
                                 << testing::PrintToString(want);
  EXPECT_TRUE(isSame(naiveReadFloat(text), want)) << "the C library differs from the row";
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kSmallest = std::numeric_limits<double>::denorm_min();

INSTANTIATE_TEST_SUITE_P(
    Decimal, ReadFloat,
    testing::Values(
        FloatRow{"zero", "0", 0.0}, FloatRow{"minusZero", "-0", -0.0},
        FloatRow{"plusZero", "+0.000", 0.0}, FloatRow{"zeroWithExponent", "0e5", 0.0},
        FloatRow{"minusZeroWithHugeExponent", "-0e999999999999", -0.0},
        FloatRow{"integer", "40536", 40536.0}, FloatRow{"decimals", "249.50", 249.5},
        FloatRow{"minus", "-17.25", -17.25}, FloatRow{"plus", "+5", 5.0},
        FloatRow{"noDigitBeforeThePoint", ".5", 0.5}, FloatRow{"noDigitBehindThePoint", "5.", 5.0},
        FloatRow{"leadingZeros", "0000000000000000000000000000000012.5", 12.5},
        FloatRow{"exponent", "1e3", 1000.0}, FloatRow{"capitalExponent", "1E3", 1000.0},
        FloatRow{"plusInExponent", "1.5e+3", 1500.0}, FloatRow{"minusInExponent", "25e-1", 2.5},
        FloatRow{"pointBeforeExponent", "5.e1", 50.0},
        FloatRow{"zerosInExponent", "1e0000000000000000002", 100.0}, FloatRow{"tenth", "0.1", 0.1},
        FloatRow{"seventeenDigits", "0.30000000000000004", 0.1 + 0.2},
        FloatRow{"largestExactInteger", "9007199254740992", 9007199254740992.0},
        FloatRow{"tieToEvenBelow", "9007199254740993", 9007199254740992.0},
        FloatRow{"tieToEvenAbove", "9007199254740995", 9007199254740996.0},
        FloatRow{"justAboveATie", "9007199254740993.0000000000000000000001", 9007199254740994.0},
        FloatRow{"nineteenDigits", "9999999999999999999", 1e19},
        FloatRow{"twentyDigits", "99999999999999999999", 1e20},
        FloatRow{"wrapsTo1In64Bits", "18446744073709551617", 18446744073709551616.0},
        FloatRow{"longestExactFraction", "0.0000000000000000007", 7e-19},
        FloatRow{"justShortOfLongestExactFraction", "0.000000000000000007", 7e-18},
        FloatRow{"pastTheLongestExactFraction", "0.00000000000000000007", 7e-20}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    OtherForms, ReadFloat,
    testing::Values(
        FloatRow{"hexadecimal", "0x1.8p3", 12.0},
        FloatRow{"hexadecimalCapitals", "0XABCP-2", 687.0},
        FloatRow{"hexadecimalInteger", "0x10", 16.0}, FloatRow{"hexadecimalMinus", "-0x.8", -0.5},
        FloatRow{"hexadecimalPointLast", "0x1.", 1.0}, FloatRow{"hexadecimalZero", "-0x0p9", -0.0},
        FloatRow{"hexadecimalTieToEven", "0x1.00000000000008", 1.0},
        FloatRow{
            "hexadecimalAboveTie", "0x1.000000000000080000000000000000001", 1.0000000000000002},
        FloatRow{"hexadecimalE", "0x1e3", 483.0}, FloatRow{"infinityShort", "inf", kInfinity},
        FloatRow{"infinityLong", "-Infinity", -kInfinity},
        FloatRow{"infinityPlus", "+INF", kInfinity},
        FloatRow{"infinityMixed", "iNfInItY", kInfinity}, FloatRow{"nan", "nan", kNaN},
        FloatRow{"nanCapital", "NaN", kNaN}, FloatRow{"nanMinus", "-nan", -kNaN},
        FloatRow{"nanPlus", "+NAN", kNaN}, FloatRow{"nanEmptyParentheses", "nan()", kNaN},
        FloatRow{"nanCharacters", "nan(0xAz_9)", kNaN}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    NoLiteral, ReadFloat,
    testing::Values(
        FloatRow{"empty", "", {}}, FloatRow{"onlyPlus", "+", {}}, FloatRow{"onlyMinus", "-", {}},
        FloatRow{"onlyPoint", ".", {}}, FloatRow{"signAndPoint", "-.", {}},
        FloatRow{"onlyExponent", "e5", {}}, FloatRow{"pointAndExponent", ".e5", {}},
        FloatRow{"twoPoints", "1.2.3", {}}, FloatRow{"twoPointsTogether", "1..", {}},
        FloatRow{"twoSigns", "+-5", {}}, FloatRow{"twoMinuses", "--5", {}},
        FloatRow{"cutExponent", "1e", {}}, FloatRow{"cutExponentSign", "5e+", {}},
        FloatRow{"cutHexadecimal", "0x", {}}, FloatRow{"cutHexadecimalPoint", "0x.", {}},
        FloatRow{"cutHexadecimalExponent", "0x1p", {}}, FloatRow{"pInDecimal", "1p5", {}},
        FloatRow{"twoExponents", "1e5e5", {}}, FloatRow{"fractionalExponent", "1e1.5", {}},
        FloatRow{"leadingBlank", " 1", {}}, FloatRow{"leadingTab", "\t1", {}},
        FloatRow{"leadingLineFeed", "\n1", {}}, FloatRow{"leadingVerticalTab", "\v1", {}},
        FloatRow{"leadingFormFeed", "\f1", {}}, FloatRow{"leadingCarriageReturn", "\r1", {}},
        FloatRow{"leadingBlankBeforeNaN", " nan", {}}, FloatRow{"blankAfterSign", "- 1", {}},
        FloatRow{"trailingBlank", "1 ", {}}, FloatRow{"trailingLetter", "1a", {}},
        FloatRow{"trailingF", "1f", {}}, FloatRow{"unit", "87 %", {}},
        FloatRow{"underscore", "1_0", {}}, FloatRow{"decimalComma", "1,5", {}},
        FloatRow{"thousands", "1,000.5", {}}, FloatRow{"apostrophe", "1'000", {}},
        FloatRow{"trailingNul", std::string("1\0", 2), {}},
        FloatRow{"nulInside", std::string("1\0002", 3), {}},
        FloatRow{"nulFirst", std::string("\0001", 2), {}},
        FloatRow{"nulAfterNaN", std::string("nan\0", 4), {}}, FloatRow{"notAvailable", "N/A", {}},
        FloatRow{"word", "Disabled", {}}, FloatRow{"cutInfinity", "in", {}},
        FloatRow{"halfInfinity", "infin", {}}, FloatRow{"longInfinity", "infinityx", {}},
        FloatRow{"cutNaN", "na", {}}, FloatRow{"longNaN", "nanx", {}},
        FloatRow{"openParenthesis", "nan(", {}},
        FloatRow{"openParenthesisWithCharacters", "nan(12", {}},
        FloatRow{"otherCharactersInParentheses", "nan(1-2)", {}},
        FloatRow{"behindParentheses", "nan(1)x", {}}, FloatRow{"infParentheses", "inf()", {}},
        FloatRow{"hexadecimalNaN", "0xnan", {}}, FloatRow{"fullWidthDigit", "\uFF11", {}},
        FloatRow{"unicodeMinus", "\u22121", {}}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    EndsOfTheRange, ReadFloat,
    testing::Values(FloatRow{"largest", "1.7976931348623157e308", DBL_MAX},
                    FloatRow{"minusLargest", "-1.7976931348623157e308", -DBL_MAX},
                    FloatRow{"justBelowHalfAnUlpAboveLargest", "1.797693134862315807e308", DBL_MAX},
                    FloatRow{"justAboveHalfAnUlpAboveLargest", "1.797693134862315808e308", {}},
                    FloatRow{"exactlyHalfAnUlpAboveLargest", "0x1.fffffffffffff8p1023", {}},
                    FloatRow{"hexadecimalLargest", "0x1.fffffffffffffp1023", DBL_MAX},
                    FloatRow{"overflow", "1e309", {}}, FloatRow{"minusOverflow", "-1e400", {}},
                    FloatRow{"hexadecimalOverflow", "0x1p1024", {}},
                    FloatRow{"hugeExponent", "1e99999999999999999999", {}},
                    FloatRow{"smallestNormal", "2.2250738585072014e-308", DBL_MIN},
                    FloatRow{"hexadecimalSmallestNormal", "0x1p-1022", DBL_MIN},
                    FloatRow{
                        "aboveSmallestNormal", "2.2250738585072019e-308", 2.2250738585072019e-308},
                    FloatRow{"inexactDenormal", "2.2250738585072011e-308", {}},
                    FloatRow{"exactDenormal", "0x0.8p-1022", DBL_MIN / 2},
                    FloatRow{"exactSmallestDenormal", "0x1p-1074", kSmallest},
                    FloatRow{"exactMinusSmallestDenormal", "-0x1p-1074", -kSmallest},
                    FloatRow{"inexactSmallestDenormal", "4.9406564584124654e-324", {}},
                    FloatRow{"shortestSmallestDenormal", "5e-324", {}},
                    FloatRow{"hexadecimalInexactDenormal", "0x1.8p-1074", {}},
                    FloatRow{"underflowToZero", "1e-400", {}},
                    FloatRow{"minusUnderflowToZero", "-1e-400", {}},
                    FloatRow{"hexadecimalUnderflow", "0x1p-1075", {}},
                    FloatRow{"hugeNegativeExponent", "1e-99999999999999999999", {}}),
    rowName);

/// As printf does it, but with a point in every locale.
template <class Number>
std::string formatted(Number number, std::chars_format format, int precision) {
  std::array<char, 1300> text{};
  const auto [end, error] =
      std::to_chars(text.data(), text.data() + text.size(), number, format, precision);
  return std::string(text.data(), end);
}

/// 2 to the power of -1074, to its last digit.
std::string exactSmallestDenormal() { return formatted(kSmallest, std::chars_format::fixed, 1074); }

// 2^20 digits and more: found at once, and exactly.
INSTANTIATE_TEST_SUITE_P(
    VeryLong, ReadFloat,
    testing::Values(FloatRow{"exactSmallestDenormalInDecimal", exactSmallestDenormal(), kSmallest},
                    FloatRow{"justMoreThanSmallestDenormal", exactSmallestDenormal() + "1", {}},
                    FloatRow{"nines", std::string(1 << 20, '9'), {}},
                    FloatRow{"zerosInFront", std::string(1 << 20, '0') + "7.5", 7.5},
                    FloatRow{"zerosBehindThePoint", "1." + std::string(1 << 20, '0'), 1.0},
                    FloatRow{"onlyZeros", "-0." + std::string(1 << 20, '0'), -0.0},
                    FloatRow{"threes", "0." + std::string(1 << 20, '3'), 1.0 / 3},
                    FloatRow{"tieBrokenByTheLastDigit",
                             "9007199254740993." + std::string(1 << 20, '0') + "1",
                             9007199254740994.0},
                    FloatRow{"tieBrokenByNone",
                             "9007199254740993." + std::string(1 << 20, '0'),
                             9007199254740992.0},
                    FloatRow{"smallDigitsBroughtUpByTheExponent",
                             "0." + std::string(1 << 20, '0') + "1e1048577",
                             1.0},
                    FloatRow{"largeDigitsBroughtDownByTheExponent",
                             "1" + std::string(1 << 20, '0') + "e-1048576",
                             1.0},
                    FloatRow{"underflow", "0." + std::string(1 << 20, '0') + "1", {}},
                    FloatRow{"hexadecimal", "0x1." + std::string(1 << 20, '0') + "1", 1.0},
                    FloatRow{"hexadecimalOverflow", "0x" + std::string(1 << 20, 'f'), {}},
                    FloatRow{"nan", "nan(" + std::string(1 << 20, 'a') + ")", kNaN},
                    FloatRow{"rubbish", "1" + std::string(1 << 20, 'x'), {}}),
    rowName);

TEST(ReadFloatTwin, agreesOnSoupsOfTheRightCharacters) {
  constexpr std::string_view kAlphabet = "0123456789059.+-eExXpPinfatyINFATYabc()_ \0\t"sv;
  std::mt19937 random(8);
  for (int round = 0; round < 300'000; ++round) {
    std::string text;
    const std::size_t letters = random() % 2 == 0 ? 16 : kAlphabet.size();
    for (auto count = random() % 12; count > 0; --count) text += kAlphabet[random() % letters];
    ASSERT_TRUE(isSame(readFloat(text), naiveReadFloat(text))) << testing::PrintToString(text);
  }
}

TEST(ReadFloatTwin, agreesOnNumbersOfEveryShapeAndOnSpoiltOnes) {
  std::mt19937 random(9);
  const auto digits = [&random](std::size_t longest, std::string_view alphabet) {
    std::string text;
    for (auto count = random() % (longest + 1); count > 0; --count) {
      text += alphabet[random() % alphabet.size()];
    }
    return text;
  };
  const std::array<std::string_view, 8> words =
      {"nan", "inf", "infinity", "NaN", "nan(", "nan(1_a)", "nan()", "INFINITY"};
  constexpr std::array<std::string_view, 4> kSigns = {"", "", "-", "+"};
  for (int round = 0; round < 300'000; ++round) {
    std::string text(kSigns[random() % 4]);
    const auto shape = random() % 8;
    if (shape == 0) {
      text += words[random() % words.size()];
    } else if (shape == 1) {
      text += "0x" + digits(20, "0123456789abcdefABCDEF");
      if (random() % 2 == 0) text += "." + digits(20, "0018f");
      if (random() % 2 == 0) text += "p" + std::string(kSigns[random() % 4]) + digits(4, "0123");
    } else {
      text += digits(random() % 4 == 0 ? 40 : 12, "0123456789");
      if (random() % 3 != 0) text += "." + digits(random() % 4 == 0 ? 40 : 12, "0000123456789");
      if (random() % 2 == 0) text += "e" + std::string(kSigns[random() % 4]) + digits(3, "0123");
    }
    if (random() % 8 == 0) {
      text.insert(random() % (text.size() + 1), 1, "x e.+-_(\0"[random() % 9]);
    }
    if (random() % 16 == 0) text.resize(random() % (text.size() + 1));
    ASSERT_TRUE(isSame(readFloat(text), naiveReadFloat(text))) << testing::PrintToString(text);
  }
}

TEST(ReadFloatTwin, agreesOnDoublesOfAnyBitsAndHalfwayBetweenThem) {
  std::mt19937_64 random(10);
  // 17 digits tell all doubles apart, 16 do not; 800 are more than the points between them need.
  constexpr std::array<int, 4> kPrecisions = {16, 17, 25, 800};
  for (int round = 0; round < 100'000; ++round) {
    std::uint64_t bits = random();
    switch (round % 4) {
      case 0:  // denormals and the smallest normals
        bits &= (std::uint64_t{1} << (1 + random() % 53)) - 1;
        break;
      case 1:  // the largest
        bits = std::bit_cast<std::uint64_t>(DBL_MAX) - random() % 4;
        break;
      default:
        break;
    }
    const auto value = std::bit_cast<double>(bits);
    if (!std::isfinite(value)) continue;
    const double next = std::nextafter(value, kInfinity);
    const long double halfway =
        value + (static_cast<long double>(std::isfinite(next) ? next : value) - value) / 2;
    for (const long double number : {static_cast<long double>(value), halfway}) {
      const std::string decimal =
          formatted(number, std::chars_format::general, kPrecisions[random() % kPrecisions.size()]);
      ASSERT_TRUE(isSame(readFloat(decimal), naiveReadFloat(decimal))) << decimal;
      std::string hexadecimal = formatted(number, std::chars_format::hex, 20);
      hexadecimal.insert(hexadecimal[0] == '-' ? 1 : 0, "0x");
      ASSERT_TRUE(isSame(readFloat(hexadecimal), naiveReadFloat(hexadecimal))) << hexadecimal;
    }
  }
}

TEST(ReadFloat, leavesErrnoAlone) {
  errno = EDOM;
  EXPECT_EQ(readFloat("1e400"), std::nullopt);
  EXPECT_EQ(readFloat("0x1p-1074"), kSmallest);
  EXPECT_EQ(errno, EDOM);
}

// --- cells, words and headings ---

struct Split {
  std::string_view name;
  std::string_view text;
  std::vector<std::string> pieces;
};

void PrintTo(const Split& split, std::ostream* out) { *out << split.name; }

class SplitAtCommas : public testing::TestWithParam<Split> {};

TEST_P(SplitAtCommas, givesTrimmedCells) {
  std::array<std::string_view, 4> cells;
  const std::size_t count = splitAtCommas(GetParam().text, cells);
  EXPECT_EQ(
      std::vector<std::string>(cells.begin(), cells.begin() + static_cast<std::ptrdiff_t>(count)),
      GetParam().pieces);
}

const std::vector<Split> kCellsRows = {
    {"empty", "", {""}},
    {"one cell", " a ", {"a"}},
    {"blanks around", "a,  b ,\tc", {"a", "b", "c"}},
    {"white space beyond ASCII",
     "\xC2\xA0"
     "a\xE3\x80\x80,b",
     {"a", "b"}},
    {"white space inside", "a b,c", {"a b", "c"}},
    {"empty cells", ",,", {"", "", ""}},
    {"no further than there is room", "a,b,c,d,e", {"a", "b", "c", "d"}},
    {"quotes are no quotes", "\"a,b\"", {"\"a", "b\""}},
};

INSTANTIATE_TEST_SUITE_P(, SplitAtCommas, testing::ValuesIn(kCellsRows));

class TakeWord : public testing::TestWithParam<Split> {};

TEST_P(TakeWord, takesOneWordAfterTheOther) {
  std::vector<std::string> words;
  std::string_view rest = GetParam().text;
  for (std::string_view word = takeWord(rest); !word.empty(); word = takeWord(rest)) {
    words.emplace_back(word);
  }
  EXPECT_EQ(words, GetParam().pieces);
  EXPECT_TRUE(rest.empty());
}

const std::vector<Split> kWordsRows = {
    {"empty", "", {}},
    {"only white space", " \t\n\xC2\xA0", {}},
    {"one word", "a", {"a"}},
    {"words", " a  b\tc ", {"a", "b", "c"}},
    {"every white space there is",
     "a\xC2\x85"
     "b\xC2\xA0"
     "c\xE1\x9A\x80"
     "d\xE2\x80\x80"
     "e\xE2\x80\x8A"
     "f\xE2\x80\xA8"
     "g\xE2\x80\xAF"
     "h\xE2\x81\x9F"
     "i\xE3\x80\x80"
     "j\vk\fl\rm",
     {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l", "m"}},
    {"what is none",
     "a\xE2\x80\x8B"
     "b\x1C"
     "c\xEF\xBB\xBF",
     {"a\xE2\x80\x8B"
      "b\x1C"
      "c\xEF\xBB\xBF"}},
    {"half of a white space", "a\xE2\x80 b\xE2", {"a\xE2\x80", "b\xE2"}},
    {"a NUL", std::string_view("a\0 b", 4), {std::string("a\0", 2), "b"}},
};

INSTANTIATE_TEST_SUITE_P(, TakeWord, testing::ValuesIn(kWordsRows));

TEST(IsHeading, knowsTheHeadingWithAndWithoutAByteOrderMark) {
  EXPECT_TRUE(isHeading("pid", "pid"));
  EXPECT_TRUE(isHeading("\xEF\xBB\xBFpid", "pid"));
  EXPECT_FALSE(isHeading("PID", "pid"));
  EXPECT_FALSE(isHeading("pid ", "pid"));
  EXPECT_FALSE(isHeading("\xEF\xBB\xBF\xEF\xBB\xBFpid", "pid"));
  EXPECT_FALSE(isHeading("", "pid"));
}

}  // namespace
}  // namespace tavrine
