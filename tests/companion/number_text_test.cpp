#include "companion/views/number_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <ostream>
#include <string_view>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Row {
  const char* name;
  double value;
  std::string_view one;
  std::string_view upToOne;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.value; }

class NumberText : public testing::TestWithParam<Row> {};

TEST_P(NumberText, hasOneDecimal) { EXPECT_EQ(oneDecimal(GetParam().value), GetParam().one); }

TEST_P(NumberText, hasUpToOneDecimal) {
  EXPECT_EQ(upToOneDecimal(GetParam().value), GetParam().upToOne);
}

INSTANTIATE_TEST_SUITE_P(Values, NumberText,
                         rows<Row>({
                             {"zero", 0, "0.0", "0"},
                             {"negativeZero", -0.0, "0.0", "0"},
                             {"hardlyNegative", -0.04, "0.0", "0"},
                             {"whole", 320, "320.0", "320"},
                             {"ten", 10, "10.0", "10"},
                             {"tenth", 45.2, "45.2", "45.2"},
                             {"roundedDown", 84.24, "84.2", "84.2"},
                             {"roundedUp", 71.16, "71.2", "71.2"},
                             {"roundedToWhole", 99.96, "100.0", "100"},
                             {"negative", -2.5, "-2.5", "-2.5"},
                             {"justBelowTheShortForm", 999999999, "999999999.0", "999999999"},
                             {"shortForm", 1e9, "1e+09", "1e+09"},
                             {"negativeShortForm", -1e9, "-1e+09", "-1e+09"},
                             {"largest", 1.7976931348623157e308, "1.79769e+308", "1.79769e+308"},
                             {"infinite", kInfinity, "inf", "inf"},
                             {"negativeInfinite", -kInfinity, "-inf", "-inf"},
                             {"notANumber", kNaN, "nan", "nan"},
                         }),
                         rowName);

TEST(SignificantDigits, areAtMostSoMany) {
  EXPECT_EQ(significantDigits(0, 4), "0");
  EXPECT_EQ(significantDigits(2, 4), "2");
  EXPECT_EQ(significantDigits(1.23456, 4), "1.235");
  EXPECT_EQ(significantDigits(0.000123456, 4), "0.0001235");
  EXPECT_EQ(significantDigits(0.0000123456, 4), "1.235e-05");
  EXPECT_EQ(significantDigits(123456, 4), "1.235e+05");
  EXPECT_EQ(significantDigits(kNaN, 4), "nan");
}

}  // namespace
}  // namespace tavrine
