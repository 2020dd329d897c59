#include <TavrineShared/foundation/json_reader.h>

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <ostream>
#include <random>
#include <string>

#include "tests/support/json_printing.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

// --- integers ---

struct IntegerRow {
  const char* name;
  std::string json;
  std::optional<std::int64_t> value;  ///< no value: out of range
};
void PrintTo(const IntegerRow& row, std::ostream* out) { *out << row.json.substr(0, 100); }

class ReadInteger : public testing::TestWithParam<IntegerRow> {};

TEST_P(ReadInteger, isExactOrRefused) {
  const ExactBytes document(GetParam().json);
  JSONReader reader(document.view());
  std::int64_t value = 77;
  EXPECT_EQ(reader.readInteger(value), GetParam().value ? JSONResult::ok : JSONResult::outOfRange);
  EXPECT_EQ(value, GetParam().value.value_or(77));
  EXPECT_TRUE(reader.finish());
}

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
const std::string kMillionZeros(1'000'000, '0');

INSTANTIATE_TEST_SUITE_P(
    Plain, ReadInteger,
    rows<IntegerRow>({
        {"zero", "0", 0},
        {"minusZero", "-0", 0},
        {"one", "1", 1},
        {"twelve", "12", 12},
        {"minusTwelve", "-12", -12},
        {"eighteenDigits", "123456789012345678", 123456789012345678},
        {"largest", "9223372036854775807", kLargest},
        {"oneBeyondTheLargest", "9223372036854775808", {}},
        {"smallest", "-9223372036854775808", kSmallest},
        {"oneBeyondTheSmallest", "-9223372036854775809", {}},
        {"largestOfNineteenDigits", "9999999999999999999", {}},
        {"twentyDigits", "10000000000000000000", {}},
        {"unsignedLargest", "18446744073709551615", {}},
        // Both wrap to small numbers when 64 bits overflow unseen.
        {"twoToThe64", "18446744073709551616", {}},
        {"twoToThe64AndTwelve", "18446744073709551628", {}},
        {"minusTwoToThe64", "-18446744073709551616", {}},
        {"fortyDigits", "1234567890123456789012345678901234567890", {}},
        {"fortyNegativeDigits", "-1234567890123456789012345678901234567890", {}},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(WithPointOrExponent, ReadInteger,
                         rows<IntegerRow>({
                             {"zeroFraction", "12.0", 12},
                             {"longZeroFraction", "12.000000000000", 12},
                             {"exponent", "12e0", 12},
                             {"fractionMadeWhole", "1.2e1", 12},
                             {"negativeExponent", "120e-1", 12},
                             {"capitalExponent", "1.2E+01", 12},
                             {"negative", "-1.2e1", -12},
                             {"leadingZeroFraction", "0.0012e4", 12},
                             {"zeroAndPoint", "0.0", 0},
                             {"minusZeroAndPoint", "-0.0", 0},
                             {"zeroAndHugeExponent", "0e99999999999999999999", 0},
                             {"zeroAndHugeNegativeExponent", "0.000e-99999999999999999999", 0},
                             {"largestWithPoint", "9223372036854775807.0", kLargest},
                             {"largestWithExponent", "9223372036854775807e0", kLargest},
                             {"largestShiftedDown", "92233720368547758070e-1", kLargest},
                             {"largestShiftedUp", "0.9223372036854775807e19", kLargest},
                             {"smallestWithPoint", "-9223372036854775808.0", kSmallest},
                             {"smallestShiftedUp", "-922337203685477580.8e1", kSmallest},
                             {"oneBeyondTheLargestWithPoint", "9223372036854775808.0", {}},
                             {"oneBeyondTheLargestWithExponent", "9223372036854775808e0", {}},
                             {"oneBeyondTheLargestShiftedUp", "0.9223372036854775808e19", {}},
                             {"oneBeyondTheSmallestShiftedUp", "-922337203685477580.9e1", {}},
                             {"tenToThe18", "1e18", 1'000'000'000'000'000'000},
                             {"tenToThe19", "1e19", {}},
                             {"tenToThe20", "1e20", {}},
                             {"tenToThe30", "1e30", {}},
                             {"minusTenToThe30", "-1e30", {}},
                             {"hugeExponent", "1e99999999999999999999", {}},
                             {"half", "12.5", {}},
                             {"negativeHalf", "-0.5", {}},
                             {"tenth", "1e-1", {}},
                             {"tinyFraction", "12.0000000000000000001", {}},
                             {"fractionBehindTheLargest", "9223372036854775807.5", {}},
                             {"tooSmallExponent", "120e-2", {}},
                             {"hugeNegativeExponent", "1e-99999999999999999999", {}},
                         }),
                         rowName);

INSTANTIATE_TEST_SUITE_P(
    WithManyZeros, ReadInteger,
    rows<IntegerRow>({
        {"behindThePoint", "12." + kMillionZeros, 12},
        {"behindThePointAndOne", "12." + kMillionZeros + "1", {}},
        {"shiftedDown", "12" + kMillionZeros + "e-1000000", 12},
        {"shiftedDownTooLittle", "12" + kMillionZeros + "e-999981", {}},
        {"shiftedDownToTheLargest", "9223372036854775807" + kMillionZeros + "e-1000000", kLargest},
        {"shiftedDownTooFar", "12" + kMillionZeros + "e-1000001", {}},
        {"shiftedUp", "0." + kMillionZeros + "12e1000002", 12},
        {"shiftedUpTooFar", "0." + kMillionZeros + "12e1000021", {}},
        {"shiftedUpTooLittle", "0." + kMillionZeros + "12e1000001", {}},
        {"inTheExponent", "12e" + kMillionZeros, 12},
        {"inANegativeExponent", "120e-" + kMillionZeros + "1", 12},
        {"onlyZeros", "0." + kMillionZeros + "e1000000", 0},
        {"notShifted", "1" + kMillionZeros, {}},
    }),
    rowName);

// Both twins say whether a text of digits, point and exponent is an integer within 64 bits; this
// one keeps every digit.
std::optional<std::int64_t> naiveInteger(const std::string& digits, std::size_t point,
                                         std::int64_t exponent, bool isNegative) {
  std::string all = digits;
  std::int64_t place = static_cast<std::int64_t>(point) + exponent;  // of the point in `all`
  while (place > static_cast<std::int64_t>(all.size())) all += '0';
  for (; place < 0; ++place) all.insert(all.begin(), '0');
  std::string whole = all.substr(0, static_cast<std::size_t>(place));
  if (all.find_first_not_of('0', static_cast<std::size_t>(place)) != std::string::npos) return {};
  whole.erase(0, whole.find_first_not_of('0'));
  if (whole.empty()) return 0;
  const std::string limit = isNegative ? "9223372036854775808" : "9223372036854775807";
  if (whole.size() > limit.size() || (whole.size() == limit.size() && whole > limit)) return {};
  std::uint64_t magnitude = 0;
  for (const char c : whole) magnitude = magnitude * 10 + static_cast<unsigned>(c - '0');
  return static_cast<std::int64_t>(isNegative ? 0 - magnitude : magnitude);
}

TEST(ReadIntegerAgainstItsTwin, agreesOnGeneratedNumbers) {
  std::mt19937 random(1);
  int accepted = 0;
  for (int round = 0; round < 200'000; ++round) {
    std::string digits;
    if (random() % 4 == 0) {
      digits = std::to_string((std::uint64_t{1} << 63U) - 3 + random() % 6);
    } else {
      const std::size_t count = 1 + random() % 22;
      while (digits.size() < count) {
        digits += random() % 2 == 0 ? '0' : static_cast<char>('0' + random() % 10);
      }
    }
    digits.append(random() % 3 * random() % 4, '0');
    const std::size_t point = 1 + random() % digits.size();
    if (digits[0] == '0' && point > 1) digits[0] = '1';
    // Around the exponent that makes the digits whole.
    const auto exponent = static_cast<std::int64_t>(random() % 3 == 0 ? digits.size() - point : 0) +
                          static_cast<std::int64_t>(random() % 5) - 2;
    const bool isNegative = random() % 2 == 0;

    std::string json = (isNegative ? "-" : "") + digits.substr(0, point);
    if (point < digits.size()) json += '.' + digits.substr(point);
    if (exponent != 0 || random() % 2 == 0) json += 'e' + std::to_string(exponent);
    const std::optional<std::int64_t> want = naiveInteger(digits, point, exponent, isNegative);
    accepted += want ? 1 : 0;

    JSONReader reader(json);
    std::int64_t value = 0;
    ASSERT_EQ(reader.readInteger(value), want ? JSONResult::ok : JSONResult::outOfRange) << json;
    ASSERT_EQ(value, want.value_or(0)) << json;
  }
  // Both answers must have been met often for the comparison to mean anything.
  EXPECT_GT(accepted, 20'000);
  EXPECT_LT(accepted, 180'000);
}

// --- doubles ---

struct DoubleRow {
  const char* name;
  std::string json;
  std::optional<double> value;  ///< no value: out of range
};
void PrintTo(const DoubleRow& row, std::ostream* out) { *out << row.json.substr(0, 100); }

class ReadDouble : public testing::TestWithParam<DoubleRow> {};

TEST_P(ReadDouble, isExactlyRounded) {
  const ExactBytes document(GetParam().json);
  JSONReader reader(document.view());
  double value = 77;
  ASSERT_EQ(reader.readDouble(value), GetParam().value ? JSONResult::ok : JSONResult::outOfRange);
  if (GetParam().value) {
    EXPECT_EQ(value, *GetParam().value);
    EXPECT_EQ(std::signbit(value), std::signbit(*GetParam().value));
  }
  EXPECT_TRUE(reader.finish());
}

constexpr double kLargestDouble = std::numeric_limits<double>::max();
constexpr double kSmallestDenormal = std::numeric_limits<double>::denorm_min();
constexpr double kSmallestNormal = std::numeric_limits<double>::min();

INSTANTIATE_TEST_SUITE_P(
    Ordinary, ReadDouble,
    rows<DoubleRow>({
        {"zero", "0", 0.0},
        {"minusZero", "-0", -0.0},
        {"zeroFraction", "0.0", 0.0},
        {"minusZeroFraction", "-0.0", -0.0},
        {"minusZeroExponent", "-0e5", -0.0},
        {"one", "1", 1.0},
        {"minusOne", "-1", -1.0},
        {"half", "0.5", 0.5},
        {"tenth", "0.1", 0x1.999999999999ap-4},
        {"percentage", "87.25", 87.25},
        {"largestExactInteger", "9007199254740992", 9007199254740992.0},
        {"tieBehindIt", "9007199254740993", 9007199254740992.0},
        {"aboveTheTie", "9007199254740993.0000000000000001", 9007199254740994.0},
        {"oddTie", "9007199254740995", 9007199254740996.0},
        {"largestPowerInOneStep", "1e22", 1e22},
        {"onePowerMore", "1e23", 0x1.52d02c7e14af6p+76},
        {"smallestPowerInOneStep", "1e-22", 0x1.e392010175ee6p-74},
        {"onePowerLess", "1e-23", 0x1.82db34012b251p-77},
        {"seventeenDigits", "0.30000000000000004", 0x1.3333333333334p-2},
        {"nineteenDigits", "1234567890123456789", 1234567890123456768.0},
        {"twentyDigits", "12345678901234567890", 12345678901234567168.0},
    }),
    rowName);

// Numbers on which conversions have been wrong before: halfway between two doubles, or off it by
// one unit in a far digit.
INSTANTIATE_TEST_SUITE_P(
    Hard, ReadDouble,
    rows<DoubleRow>({
        {"justAboveATie",
         "1.00000000000000011102230246251565404236316680908203126",
         0x1.0000000000001p+0},
        {"tieToEvenBelow", "1.00000000000000011102230246251565404236316680908203125", 1.0},
        {"justBelowATie", "1.00000000000000011102230246251565404236316680908203124", 1.0},
        {"tieToEvenAbove",
         "1.00000000000000033306690738754696212708950042724609375",
         0x1.0000000000002p+0},
        {"longTwo",
         "2.225073858507201136057409796709131975934819546351645648e-308",
         0x1.ffffffffffffep-1023},
        {"largestDenormal", "2.2250738585072011e-308", 0x1.ffffffffffffep-1023},
        {"smallestNormal", "2.2250738585072014e-308", kSmallestNormal},
        {"tieAtTheSmallestNormal", "2.2250738585072012e-308", kSmallestNormal},
        {"nineDigitExponentForm", "6929495644600919.5", 0x1.89e56ee5e7a58p+52},
        {"elevenDigits", "3.7455744005952583e15", 0x1.a9d28ff412a75p+51},
        {"negativeFarExponent", "8.1e-255", 0x1.e67cb1f6a3cd1p-845},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    AtTheLimits, ReadDouble,
    rows<DoubleRow>({
        {"largest", "1.7976931348623157e308", kLargestDouble},
        {"largestRoundedDown", "1.7976931348623158e308", kLargestDouble},
        {"justBelowTheTieAboveTheLargest", "1.797693134862315807937e308", kLargestDouble},
        {"justAboveTheTieAboveTheLargest", "1.797693134862315807938e308", {}},
        {"smallestBeyond", "1.7976931348623159e308", {}},
        {"negativeLargest", "-1.7976931348623157e308", -kLargestDouble},
        {"negativeBeyond", "-1.7976931348623159e308", {}},
        {"manyDigitsAndAFraction", std::string(400, '1') + ".5", {}},
        {"manyDigitsButASmallerExponent",
         std::string(400, '1') + ".5e-100",
         0x1.53ca79555bde0p+993},
        {"e309", "1e309", {}},
        {"e999", "1e999", {}},
        {"minusE999", "-1e999", {}},
        {"hugeExponent", "1e99999999999999999999", {}},
        {"smallestDenormal", "5e-324", kSmallestDenormal},
        {"aboveHalfOfIt", "2.4703282292062328e-324", kSmallestDenormal},
        {"belowHalfOfIt", "2.4703282292062327e-324", 0.0},
        {"negativeBelowHalfOfIt", "-2.4703282292062327e-324", -0.0},
        {"underflow", "1e-400", 0.0},
        {"negativeUnderflow", "-1e-400", -0.0},
        {"belowAnyDouble", "1e-999", 0.0},
        {"hugeNegativeExponent", "1e-99999999999999999999", 0.0},
        {"negativeHugeNegativeExponent", "-12.5e-99999999999999999999", -0.0},
        {"zeroAndHugeExponent", "0e99999999999999999999", 0.0},
        {"minusZeroAndHugeExponent", "-0.0e99999999999999999999", -0.0},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    AMillionDigits, ReadDouble,
    rows<DoubleRow>({
        {"threes", "3." + std::string(1'000'000, '3'), 10.0 / 3},
        {"nines", "0." + std::string(1'000'000, '9'), 1.0},
        {"wholeNumber", "1" + kMillionZeros, {}},
        {"wholeNumberNegative", "-1" + kMillionZeros, {}},
        {"zerosBehindThePoint", "1.5" + kMillionZeros, 1.5},
        {"shiftedDown", "15" + kMillionZeros + "e-1000001", 1.5},
        {"shiftedUp", "0." + kMillionZeros + "15e1000001", 1.5},
        {"shiftedUpALittleLess", "0." + kMillionZeros + "1e1000000", 0.1},
        {"shiftedUpToTheLargest",
         "0." + kMillionZeros + "17976931348623157e1000309",
         kLargestDouble},
        {"shiftedUpBeyond", "0." + kMillionZeros + "1e1000310", {}},
        {"shiftedDownToTheSmallest", "5" + kMillionZeros + "e-1000324", kSmallestDenormal},
        {"shiftedDownBelow", "-5" + kMillionZeros + "e-1000330", -0.0},
        {"underflow", "0." + kMillionZeros + "1", 0.0},
        {"negativeUnderflow", "-0." + kMillionZeros + "1", -0.0},
        {"onlyZeros", "0." + kMillionZeros, 0.0},
        {"onlyZerosNegative", "-0." + kMillionZeros + "e1000000", -0.0},
        {"tieBrokenByTheLast", "9007199254740993." + kMillionZeros + "1", 9007199254740994.0},
        {"tieNotBroken", "9007199254740993." + kMillionZeros, 9007199254740992.0},
        {"exponent", "1e" + kMillionZeros + "5", 1e5},
    }),
    rowName);

/// The C library's answer, in whose exactness we trust, for numbers with a decimal point whatever
/// the locale of the test.
double librarysDouble(const std::string& json) {
  static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(json.c_str(), nullptr, classic);
}

void expectTheLibrarysDouble(const std::string& json) {
  JSONReader reader(json);
  double value = 77;
  const JSONResult result = reader.readDouble(value);
  const double want = librarysDouble(json);
  if (std::isinf(want)) {
    ASSERT_EQ(result, JSONResult::outOfRange) << json;
  } else {
    ASSERT_EQ(result, JSONResult::ok) << json;
    ASSERT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(want)) << json;
  }
  ASSERT_TRUE(reader.finish()) << json;
}

double anyFiniteDouble(std::mt19937_64& random) {
  while (true) {
    const auto value = std::bit_cast<double>(random());
    if (std::isfinite(value)) return value;
  }
}

template <class Float, class... Format>
std::string textOf(Float value, Format... format) {
  std::string text(2000, '\0');
  const auto result = std::to_chars(text.data(), text.data() + text.size(), value, format...);
  text.resize(static_cast<std::size_t>(result.ptr - text.data()));
  return text;
}

TEST(ReadDoubleAgainstTheLibrary, agreesOnShortestAndLongFormsOfAllMagnitudes) {
  std::mt19937_64 random(2);
  for (int round = 0; round < 50'000; ++round) {
    const double value = anyFiniteDouble(random);
    expectTheLibrarysDouble(textOf(value));
    expectTheLibrarysDouble(
        textOf(value, std::chars_format::scientific, static_cast<int>(random() % 25)));
  }
}

TEST(ReadDoubleAgainstTheLibrary, agreesOnRandomDigits) {
  std::mt19937_64 random(3);
  for (int round = 0; round < 150'000; ++round) {
    std::string json = random() % 2 == 0 ? "-" : "";
    const std::size_t whole = 1 + random() % 21;
    json += static_cast<char>(whole == 1 ? '0' + random() % 10 : '1' + random() % 9);
    for (std::size_t i = 1; i < whole; ++i) json += static_cast<char>('0' + random() % 10);
    if (random() % 2 == 0) {
      json += '.';
      for (std::size_t i = 1 + random() % 21; i > 0; --i) {
        json += static_cast<char>('0' + random() % 10);
      }
    }
    switch (random() % 4) {
      case 0:
        json += "e" + std::to_string(static_cast<int>(random() % 60) - 30);
        break;
      case 1:
        json += "E" + std::to_string(static_cast<int>(random() % 720) - 360);
        break;
      case 2:
        json += "e+" + std::to_string(random() % 30);
        break;
      default:
        break;
    }
    expectTheLibrarysDouble(json);
  }
}

// Where the fast ways of reading end: mantissas around 2^53, exponents around 22, 19 digits.
TEST(ReadDoubleAgainstTheLibrary, agreesAroundTheEdgesOfTheFastWays) {
  std::mt19937_64 random(4);
  for (int round = 0; round < 50'000; ++round) {
    const std::uint64_t edge =
        random() % 2 == 0 ? std::uint64_t{1} << 53U : 9'999'999'999'999'999'999U;
    std::string digits = std::to_string(edge - 40 + random() % 80);
    if (random() % 3 == 0) digits.append(random() % 5, '0');
    if (random() % 2 == 0) digits.insert(1 + random() % digits.size(), ".");
    if (digits.back() == '.') digits += '0';
    digits += 'e' + std::to_string(static_cast<int>(random() % 56) - 28);
    expectTheLibrarysDouble(digits);
  }
}

// A point halfway between two doubles has up to 767 digits; one of them decides.
TEST(ReadDoubleAgainstTheLibrary, agreesOnTiesAndNextToThem) {
  std::mt19937_64 random(5);
  for (int round = 0; round < 4'000; ++round) {
    const double below = std::abs(anyFiniteDouble(random));
    const double above = std::nextafter(below, std::numeric_limits<double>::infinity());
    if (std::isinf(above)) continue;
    // Exact, as a long double has room for one more bit and for smaller exponents.
    const long double tie = (static_cast<long double>(below) + static_cast<long double>(above)) / 2;
    std::string json = textOf(tie, std::chars_format::scientific, 1100);
    expectTheLibrarysDouble(json);
    const std::size_t lastDigit = json.find('e') - 1;
    json[lastDigit] = '1';
    expectTheLibrarysDouble(json);
    json.erase(json.find('.') + 1 + random() % 700, lastDigit - json.find('.') - 750);
    expectTheLibrarysDouble(json);
  }
}

}  // namespace
}  // namespace tavrine
