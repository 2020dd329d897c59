#include "companion/views/quantity_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <ostream>
#include <string_view>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kDay = 86400;

Timestamp at(double seconds) { return Timestamp(std::chrono::duration<double>(seconds)); }

TEST(QuantityText, hasUnits) {
  EXPECT_EQ(withUnit(97.0, "%"), "97%");
  EXPECT_EQ(withUnit(97.25, " C"), "97.2 C");
  EXPECT_EQ(withUnit(std::nullopt, "%"), "-");
  EXPECT_EQ(gibibytes(1.26), "1.3 GiB");
  EXPECT_EQ(gibibytesOfMB(1536), "1.5 GiB");
  EXPECT_EQ(watts(12), "12.0 W");
  EXPECT_EQ(gibibytes(std::nullopt), "-");
  EXPECT_EQ(gibibytesOfMB(std::nullopt), "-");
  EXPECT_EQ(watts(std::nullopt), "-");
  EXPECT_EQ(countText(7), "7");
  EXPECT_EQ(countText(std::nullopt), "-");
  EXPECT_EQ(orAbsent("a"), "a");
  EXPECT_EQ(orAbsent(""), "");
  EXPECT_EQ(orAbsent(std::nullopt), "-");
}

TEST(TimeText, isReadable) {
  EXPECT_EQ(timeText(at(1794764905.9)), "2026-11-15 17:48:25 UTC");
  EXPECT_EQ(timeText(at(1e300)), "-");
  EXPECT_EQ(timeText(at(kNaN)), "-");
}

struct DurationRow {
  const char* name;
  double seconds;
  std::string_view text;
};
void PrintTo(const DurationRow& row, std::ostream* out) { *out << row.seconds; }

class DurationText : public testing::TestWithParam<DurationRow> {};
TEST_P(DurationText, isShort) { EXPECT_EQ(durationText(GetParam().seconds), GetParam().text); }
INSTANTIATE_TEST_SUITE_P(Values, DurationText,
                         rows<DurationRow>({
                             {"nothing", 0, "0 s"},
                             {"rounded", 0.5, "1 s"},
                             {"seconds", 59, "59 s"},
                             {"minute", 60, "1 min"},
                             {"minuteAndSecond", 61, "1 min 1 s"},
                             {"hour", 3600, "1 h"},
                             {"hourAndSecond", 3601, "1 h"},
                             {"hourAndMinute", 3660, "1 h 1 min"},
                             {"dayLessASecond", kDay - 1, "23 h 59 min"},
                             {"day", kDay, "1 d"},
                             {"dayAndMinute", kDay + 60, "1 d"},
                             {"days", 3.5 * kDay, "3 d 12 h"},
                             {"negative", -1, "-"},
                             {"absurd", 1e300, "-"},
                             {"infinite", kInfinity, "-"},
                             {"notANumber", kNaN, "-"},
                         }),
                         rowName);

class AgoText : public testing::TestWithParam<DurationRow> {};
TEST_P(AgoText, hasOneUnit) {
  EXPECT_EQ(agoText(at(1e9 - GetParam().seconds), at(1e9)), GetParam().text);
}
INSTANTIATE_TEST_SUITE_P(Values, AgoText,
                         rows<DurationRow>({
                             {"now", 0, "now"},
                             {"hardlyAgo", 0.4, "now"},
                             {"hardlyAhead", -0.4, "now"},
                             {"second", 1, "1 s ago"},
                             {"minute", 119, "1 min ago"},
                             {"hours", 7300, "2 h ago"},
                             {"days", 5.9 * kDay, "5 d ago"},
                             {"ahead", -7300, "in 2 h"},
                             {"absurd", 1e300, "-"},
                             {"infinite", kInfinity, "-"},
                             {"notANumber", kNaN, "-"},
                         }),
                         rowName);

}  // namespace
}  // namespace tavrine
