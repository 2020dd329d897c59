#include <TavrineShared/foundation/timestamp.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

using namespace std::string_view_literals;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kFirst = -62167219200;  // 0000-01-01T00:00:00Z
constexpr double kLast = 253402300799;   // 9999-12-31T23:59:59Z

Timestamp at(double seconds) { return Timestamp{std::chrono::duration<double>{seconds}}; }

// --- reading ---

struct ReadRow {
  const char* name;
  std::string_view text;
  std::optional<double> seconds;
};

void PrintTo(const ReadRow& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class TimestampFromISO8601 : public testing::TestWithParam<ReadRow> {};

TEST_P(TimestampFromISO8601, reads) {
  const auto& [name, text, seconds] = GetParam();
  const std::optional<Timestamp> time = timestampFromISO8601(text);
  ASSERT_EQ(time.has_value(), seconds.has_value());
  if (time) {
    EXPECT_EQ(time->time_since_epoch().count(), *seconds);
  }
}

INSTANTIATE_TEST_SUITE_P(
    WellFormed, TimestampFromISO8601,
    testing::Values(ReadRow{"epoch", "1970-01-01T00:00:00Z", 0},
                    ReadRow{"anyTime", "2026-11-15T17:48:25Z", 1794764905},
                    ReadRow{"secondBeforeEpoch", "1969-12-31T23:59:59Z", -1},
                    ReadRow{"first", "0000-01-01T00:00:00Z", kFirst},
                    ReadRow{"last", "9999-12-31T23:59:59Z", kLast},
                    ReadRow{"plusZero", "1970-01-01T00:00:00+00:00", 0},
                    ReadRow{"minusZero", "1970-01-01T00:00:00-00:00", 0},
                    ReadRow{"east", "2026-11-15T19:48:25+02:00", 1794764905},
                    ReadRow{"west", "2026-11-15T12:18:25-05:30", 1794764905},
                    ReadRow{"largestOffset", "1970-01-01T23:59:00+23:59", 0},
                    ReadRow{"offsetIntoThePreviousDay", "2000-03-01T00:30:00+01:00", 951867000},
                    ReadRow{"offsetBeforeTheFirstYear", "0000-01-01T00:00:00+01:00", kFirst - 3600},
                    ReadRow{"offsetBehindTheLastYear", "9999-12-31T23:59:59-00:01", kLast + 60},
                    ReadRow{"leapDay", "2024-02-29T00:00:00Z", 1709164800},
                    ReadRow{"leapDayOf2000", "2000-02-29T00:00:00Z", 951782400},
                    ReadRow{"leapDayOfYearZero", "0000-02-29T00:00:00Z", kFirst + 59 * 86400}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Impossible, TimestampFromISO8601,
    testing::Values(ReadRow{"monthZero", "2026-00-15T17:48:25Z", {}},
                    ReadRow{"monthThirteen", "2026-13-15T17:48:25Z", {}},
                    ReadRow{"dayZero", "2026-11-00T17:48:25Z", {}},
                    ReadRow{"dayThirtyTwo", "2026-12-32T17:48:25Z", {}},
                    ReadRow{"thirtyFirstOfNovember", "2026-11-31T17:48:25Z", {}},
                    ReadRow{"thirtiethOfFebruary", "2024-02-30T17:48:25Z", {}},
                    ReadRow{"leapDayOfACommonYear", "2026-02-29T17:48:25Z", {}},
                    ReadRow{"leapDayOf1900", "1900-02-29T17:48:25Z", {}},
                    ReadRow{"hour24", "2026-11-15T24:00:00Z", {}},
                    ReadRow{"minute60", "2026-11-15T17:60:25Z", {}},
                    ReadRow{"leapSecond", "2016-12-31T23:59:60Z", {}},
                    ReadRow{"offsetHour24", "2026-11-15T17:48:25+24:00", {}},
                    ReadRow{"offsetMinute60", "2026-11-15T17:48:25+01:60", {}}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Malformed, TimestampFromISO8601,
    testing::Values(ReadRow{"empty", "", {}}, ReadRow{"dateOnly", "2026-11-15", {}},
                    ReadRow{"noZone", "2026-11-15T17:48:25", {}},
                    ReadRow{"noSeconds", "2026-11-15T17:48Z", {}},
                    ReadRow{"fraction", "2026-11-15T17:48:25.5Z", {}},
                    ReadRow{"fractionOfTheLengthOfAnOffset", "2026-11-15T17:48:25.1234Z", {}},
                    ReadRow{"smallT", "2026-11-15t17:48:25Z", {}},
                    ReadRow{"smallZ", "2026-11-15T17:48:25z", {}},
                    ReadRow{"blankForT", "2026-11-15 17:48:25Z", {}},
                    ReadRow{"leadingBlank", " 2026-11-15T17:48:25Z", {}},
                    ReadRow{"trailingBlank", "2026-11-15T17:48:25Z ", {}},
                    ReadRow{"trailingNul", "2026-11-15T17:48:25Z\0"sv, {}},
                    ReadRow{"trailingLineFeed", "2026-11-15T17:48:25Z\n", {}},
                    ReadRow{"offsetWithoutColon", "2026-11-15T17:48:25+0200", {}},
                    ReadRow{"offsetOfHoursOnly", "2026-11-15T17:48:25+02", {}},
                    ReadRow{"offsetOfOneDigit", "2026-11-15T17:48:25+2:00", {}},
                    ReadRow{"offsetWithSeconds", "2026-11-15T17:48:25+02:00:00", {}},
                    ReadRow{"offsetWithoutSign", "2026-11-15T17:48:25 02:00", {}},
                    ReadRow{"offsetWithAnUnicodeMinus", "2026-11-15T17:48:25\u22120200", {}},
                    ReadRow{"offsetAfterZ", "2026-11-15T17:48:25Z02:00", {}},
                    ReadRow{"zoneName", "2026-11-15T17:48:25 CET ", {}},
                    ReadRow{"basicFormat", "20261115T174825Z", {}},
                    ReadRow{"slashes", "2026/11/15T17:48:25Z", {}},
                    ReadRow{"dotsInTime", "2026-11-15T17.48.25Z", {}},
                    ReadRow{"weekDate", "2026-W46-7T17:48:25Z", {}},
                    ReadRow{"signedYear", "+2026-11-15T17:48:25Z", {}},
                    ReadRow{"negativeYear", "-026-11-15T17:48:25Z", {}},
                    ReadRow{"fiveDigitYear", "12026-11-15T17:48:25Z", {}},
                    ReadRow{"signInAField", "2026-+1-15T17:48:25Z", {}},
                    ReadRow{"blankInAField", "2026-11- 5T17:48:25Z", {}},
                    ReadRow{"hexadecimalDigit", "2026-11-1AT17:48:25Z", {}},
                    ReadRow{"fullWidthDigit", "2026-11-\uFF11T17:48:25", {}}),
    rowName);

TEST(ISO8601, isMalformedWithAnyByteOutOfPlace) {
  for (const std::string_view good : {"1111-11-11T11:11:11Z"sv, "1111-11-11T11:11:11+11:11"sv}) {
    for (std::size_t i = 0; i < good.size(); ++i) {
      for (int byte = 0; byte < 256; ++byte) {
        std::string text(good);
        text[i] = static_cast<char>(byte);
        const bool isDigit = byte >= '0' && byte <= '9';
        const bool isSign = (byte == '+' || byte == '-') && i == 19 && good.size() == 25;
        if (good[i] == '1' ? !isDigit : text[i] != good[i] && !isSign) {
          EXPECT_FALSE(timestampFromISO8601(text)) << testing::PrintToString(text);
        }
      }
    }
  }
}

// --- writing ---

struct WriteRow {
  const char* name;
  double seconds;
  std::optional<std::string_view> text;
};

void PrintTo(const WriteRow& row, std::ostream* out) { *out << row.seconds; }

class ISO8601Text : public testing::TestWithParam<WriteRow> {};

TEST_P(ISO8601Text, isInUTCAndWholeSeconds) {
  const auto& [name, seconds, want] = GetParam();
  EXPECT_EQ(iso8601Text(at(seconds)), want);
  std::array<char, kISO8601Length> written{};
  EXPECT_EQ(writeISO8601(at(seconds), written), want.has_value());
  EXPECT_EQ(std::string_view(written.data(), written.size()),
            want.value_or(std::string_view("\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 20)));
}

INSTANTIATE_TEST_SUITE_P(
    Times, ISO8601Text,
    testing::Values(
        WriteRow{"epoch", 0, "1970-01-01T00:00:00Z"},
        WriteRow{"negativeZero", -0.0, "1970-01-01T00:00:00Z"},
        WriteRow{"anyTime", 1794764905, "2026-11-15T17:48:25Z"},
        WriteRow{"fractionIsDropped", 1794764905.999, "2026-11-15T17:48:25Z"},
        WriteRow{"fractionBefore1970IsRoundedDown", -0.25, "1969-12-31T23:59:59Z"},
        WriteRow{"smallestFractionBefore1970", -4.9406564584124654e-324, "1969-12-31T23:59:59Z"},
        WriteRow{"wholeSecondBefore1970Stays", -1, "1969-12-31T23:59:59Z"},
        WriteRow{"first", kFirst, "0000-01-01T00:00:00Z"},
        WriteRow{"justBeforeFirst", std::nextafter(kFirst, -kInfinity), {}},
        WriteRow{"fractionAfterFirst", kFirst + 0.5, "0000-01-01T00:00:00Z"},
        WriteRow{"last", kLast, "9999-12-31T23:59:59Z"},
        WriteRow{"fractionAfterLast", std::nextafter(kLast + 1, 0), "9999-12-31T23:59:59Z"},
        WriteRow{"secondAfterLast", kLast + 1, {}}, WriteRow{"farFuture", 1e300, {}},
        WriteRow{"farPast", -1e300, {}}, WriteRow{"infinite", kInfinity, {}},
        WriteRow{"minusInfinite", -kInfinity, {}},
        WriteRow{"nan", std::numeric_limits<double>::quiet_NaN(), {}}),
    rowName);

/// A calendar that knows nothing but how long the months are.
struct NaiveCalendar {
  int year = 0;
  int month = 1;
  int day = 1;

  int daysInMonth() const {
    constexpr std::array<int, 13> kDays = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool isLeap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return month == 2 && isLeap ? 29 : kDays[static_cast<std::size_t>(month)];
  }
  void nextDay() {
    if (++day <= daysInMonth()) return;
    day = 1;
    if (++month <= 12) return;
    month = 1;
    ++year;
  }
};

TEST(ISO8601, readsAndWritesEveryDayOfTheCalendar) {
  std::int64_t days = 0;
  for (NaiveCalendar calendar; calendar.year < 10000; calendar.nextDay(), ++days) {
    // Another time of day each day, so that all of them turn up.
    const int second = static_cast<int>(days * 7919 % 86400);
    std::array<char, 64> text{};
    std::snprintf(text.data(),
                  text.size(),
                  "%04d-%02d-%02dT%02d:%02d:%02dZ",
                  calendar.year,
                  calendar.month,
                  calendar.day,
                  second / 3600,
                  second / 60 % 60,
                  second % 60);
    const Timestamp want = at(kFirst + static_cast<double>(days * 86400 + second));
    std::array<char, kISO8601Length> written{};
    ASSERT_EQ(timestampFromISO8601(text.data()), want) << text.data();
    ASSERT_TRUE(writeISO8601(want, written)) << text.data();
    ASSERT_EQ(std::string_view(written.data(), written.size()), text.data());
  }
  EXPECT_EQ(days, 3652425);
}

TEST(ISO8601, knowsNoDateThatTheCalendarLacks) {
  for (const int year : {0, 1, 4, 100, 400, 1900, 1970, 2000, 2023, 2024, 9999}) {
    for (int month = 0; month <= 99; ++month) {
      for (int day = 0; day <= 99; ++day) {
        std::array<char, 64> text{};
        std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT00:00:00Z", year, month, day);
        const bool exists = month >= 1 && month <= 12 && day >= 1 &&
                            day <= NaiveCalendar{year, month, 1}.daysInMonth();
        EXPECT_EQ(timestampFromISO8601(text.data()).has_value(), exists) << text.data();
      }
    }
  }
}

TEST(HashOfTimestamp, isEqualForEqualTimes) {
  EXPECT_EQ(hashOf(at(1.5)), hashOf(at(1.5)));
  EXPECT_EQ(at(0.0), at(-0.0));
  EXPECT_EQ(hashOf(at(0.0)), hashOf(at(-0.0)));
}

TEST(HashOfTimestamp, tellsNearbyTimesApart) {
  EXPECT_NE(hashOf(at(1794764905)), hashOf(at(1794764906)));
  EXPECT_NE(hashOf(at(1794764905)), hashOf(at(1794764905.5)));
}

}  // namespace
}  // namespace tavrine
