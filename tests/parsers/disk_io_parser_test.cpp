#include <TavrineShared/parsers/disk_io_parser.h>

#include <TavrineShared/model/field_table.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/huge_texts.h"
#include "tests/support/naive_disk_io_parser.h"
#include "tests/support/rows.h"
#include "tests/support/told.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::vector<DiskIORate> parse(std::string_view text, Findings* findings = nullptr) {
  return DiskIOParser::parse(text, 512, 2, findings);
}

// A line with these sectors; in every field that does not count stands what is no number.
std::string device(std::string_view name, std::string_view read, std::string_view written) {
  return " 8 0 " + std::string(name) + " - - " + std::string(read) + " - - - " +
         std::string(written) + " -\n";
}

std::string framed(const std::string& first, const std::string& second) {
  return "---DPRE---\n" + first + "---DMID---\n" + second + "---DEND---\n";
}

DiskIORate rate(std::string device, double read, double write) {
  return {std::move(device), read, write, std::nullopt};
}

TEST(DiskIOParser, givesKiBPerSecond) {
  EXPECT_THAT(parse(framed(device("sda", "1000", "0"), device("sda", "3048", "8"))),
              ElementsAre(rate("sda", 512, 2)));
}

TEST(DiskIOParser, readsWhatTheKernelWrites) {
  EXPECT_THAT(parse("---DPRE---\n"
                    "   7       0 loop0 48 0 718 19 0 0 0 0 0 36 19 0 0 0 0 0 0\n"
                    " 254       0 vda 133177 12066 16490354 218874 26065 15377 11628680 22880 0 "
                    "29800 245348\n"
                    "---DMID---\n"
                    "   7       0 loop0 48 0 999 19 0 0 0 0 0 36 19 0 0 0 0 0 0\n"
                    " 254       0 vda 133183 12093 16490778 218876 26086 15377 11751600 23501 0 "
                    "29840 245970\n"
                    "---DEND---\n"),
              ElementsAre(rate("vda", 106, 30730)));
}

// Which devices of a text are given, in their order.

struct Devices {
  std::string_view name;
  std::string text;
  std::vector<std::string> devices;
};

void PrintTo(const Devices& row, std::ostream* out) { *out << row.name; }

class DiskIOParserText : public testing::TestWithParam<Devices> {};

TEST_P(DiskIOParserText, givesTheseDevices) {
  std::vector<std::string> devices;
  for (const DiskIORate& rate : parse(GetParam().text)) devices.push_back(rate.device);
  EXPECT_EQ(devices, GetParam().devices);
  EXPECT_TRUE(
      naive::areSameBits(parse(GetParam().text), naive::parseDisks(GetParam().text, 512, 2)));
}

const std::string kBefore = device("sda", "1", "1");
const std::string kAfter = device("sda", "2", "2");

const std::vector<Devices> kDevicesRows = {
    {"empty", "", {}},
    {"both samples", framed(kBefore, kAfter), {"sda"}},
    {"no markers", kBefore + kAfter, {}},
    {"no first sample", "---DMID---\n" + kAfter + "---DEND---\n", {}},
    {"no second sample", "---DPRE---\n" + kBefore + "---DEND---\n", {}},
    {"no end marker", "---DPRE---\n" + kBefore + "---DMID---\n" + kAfter, {"sda"}},
    {"lines before the first marker", kBefore + framed("", kAfter), {}},
    {"lines behind the end marker", framed(kBefore, "") + kAfter, {}},
    {"markers among white space",
     "\t---DPRE--- \r\n" + kBefore + "\xC2\xA0---DMID---\n" + kAfter,
     {"sda"}},
    {"markers that are none", "---dpre---\n" + kBefore + "----DMID---\n" + kAfter, {}},
    {"samples in the other order", "---DMID---\n" + kAfter + "---DPRE---\n" + kBefore, {"sda"}},
    {"samples in pieces",
     "---DPRE---\n" + kBefore + "---DMID---\n" + kAfter + "---DPRE---\n" + device("sdb", "1", "1") +
         "---DMID---\n" + device("sdb", "9", "9"),
     {"sdb", "sda"}},
    {"a marker behind the end marker",
     "---DEND---\n---DPRE---\n" + kBefore + "---DMID---\n" + kAfter,
     {"sda"}},
    {"only in the second sample", framed("", kAfter), {}},
    {"identical samples", framed(kBefore, kBefore), {}},
    {"only reads", framed(kBefore, device("sda", "2", "1")), {"sda"}},
    {"both counters backwards", framed(kAfter, kBefore), {}},
    {"one counter backwards, the other at rest", framed(device("sda", "2", "1"), kBefore), {}},
    {"one counter backwards, the other on", framed(device("sda", "2", "0"), kBefore), {"sda"}},
    {"loop and RAM devices",
     framed(device("loop0", "1", "1") + device("ram1", "1", "1") + device("loopback", "1", "1") +
                device("ramp", "1", "1"),
            device("loop0", "2", "2") + device("ram1", "2", "2") + device("loopback", "2", "2") +
                device("ramp", "2", "2")),
     {}},
    {"names that only hold loop and ram",
     framed(device("zram0", "1", "1") + device("Loop0", "1", "1"),
            device("zram0", "2", "2") + device("Loop0", "2", "2")),
     {"zram0", "Loop0"}},
    {"partitions",
     framed(kBefore + device("sda1", "1", "1"), kAfter + device("sda1", "2", "2")),
     {"sda", "sda1"}},
    {"busiest first",
     framed(device("a", "0", "0") + device("b", "0", "0") + device("c", "0", "0"),
            device("a", "1", "1") + device("b", "9", "0") + device("c", "2", "2")),
     {"b", "c", "a"}},
    {"equally busy in the order of the second sample",
     framed(device("a", "0", "0") + device("b", "0", "0") + device("c", "0", "0"),
            device("c", "1", "1") + device("a", "2", "0") + device("b", "0", "2")),
     {"c", "a", "b"}},
    {"10 fields", framed("8 0 sda 0 0 1 0 0 0 1\n", "8 0 sda 0 0 2 0 0 0 2\n"), {}},
    {"11 fields", framed("8 0 sda 0 0 1 0 0 0 1 0\n", "8 0 sda 0 0 2 0 0 0 2 0\n"), {"sda"}},
    {"fields between other white space",
     framed("8\t0\xC2\xA0sda\xE3\x80\x80"
            "0 0 1 0 0 0 1 0\n",
            kAfter),
     {"sda"}},
    {"unreadable sectors read", framed(device("sda", "x", "1"), kAfter), {}},
    {"unreadable sectors written", framed(kBefore, device("sda", "2", "")), {}},
    {"ill-formed names that are repaired alike",
     framed(device("\xFF", "1", "1"), device("\xFE", "2", "2")),
     {"\xEF\xBF\xBD"}},
};

INSTANTIATE_TEST_SUITE_P(, DiskIOParserText, rows(kDevicesRows));

// Rates.

struct Rate {
  std::string_view name;
  std::string_view first;
  std::string_view second;
  double sectorSizeBytes;
  double intervalSeconds;
  double rate;
};

void PrintTo(const Rate& row, std::ostream* out) { *out << row.name; }

class DiskIOParserRate : public testing::TestWithParam<Rate> {};

TEST_P(DiskIOParserRate, isSectorsTimesSizeOverInterval) {
  const Rate& row = GetParam();
  // The other counter keeps the device in the list whatever becomes of this one.
  const auto busy = row.sectorSizeBytes < 0 ? "-9e300" : "9e300";
  const auto read =
      DiskIOParser::parse(framed(device("a", row.first, "0"), device("a", row.second, busy)),
                          row.sectorSizeBytes,
                          row.intervalSeconds);
  const auto written =
      DiskIOParser::parse(framed(device("a", "0", row.first), device("a", busy, row.second)),
                          row.sectorSizeBytes,
                          row.intervalSeconds);
  ASSERT_EQ(read.size(), 1U);
  ASSERT_EQ(written.size(), 1U);
  EXPECT_EQ(read[0].readKBps, row.rate);
  EXPECT_EQ(written[0].writeKBps, row.rate);
}

const std::vector<Rate> kRateRows = {
    {"2 s", "1000", "3048", 512, 2, 512},
    {"1 s", "1000", "3048", 512, 1, 1024},
    {"4096 bytes", "1000", "3048", 4096, 2, 4096},
    {"no interval is a millisecond", "0", "2", 512, 0, 1000},
    {"a negative interval", "0", "2", 512, -5, 1000},
    {"just below a millisecond", "0", "2", 512, 0.0009, 1000},
    {"a millisecond", "0", "2", 512, 0.001, 1000},
    {"just above a millisecond", "0", "2", 512, 0.002, 500},
    {"an interval that is no number", "0", "2", 512, NAN, 1000},
    {"no growth", "5", "5", 512, 2, 0},
    {"backwards", "6", "5", 512, 2, 0},
    {"fractions", "0.5", "2.5", 512, 1, 1},
    {"not a number", "nan", "5", 512, 2, 0},
    {"infinity less infinity", "inf", "inf", 512, 2, 0},
    {"from infinity", "inf", "5", 512, 2, 0},
    {"to infinity is kept", "5", "inf", 512, 2, kInfinity},
    {"beyond a double is kept", "0", "1e308", 512, 2, kInfinity},
    {"a negative size", "6", "2", -512, 1, 2},
};

INSTANTIATE_TEST_SUITE_P(, DiskIOParserRate, rows(kRateRows));

TEST(DiskIOParser, givesNothingForAnInfiniteIntervalOrNoSize) {
  const std::string text = framed(kBefore, kAfter);
  EXPECT_THAT(DiskIOParser::parse(text, 512, kInfinity), IsEmpty());
  EXPECT_THAT(DiskIOParser::parse(text, 0, 1), IsEmpty());
  EXPECT_THAT(DiskIOParser::parse(text, NAN, 1), IsEmpty());
}

TEST(DiskIOParser, takesTheLaterOfTwoLines) {
  EXPECT_THAT(parse(framed(device("a", "0", "0") + device("b", "0", "0") + device("a", "4", "0"),
                           device("a", "9", "9") + device("b", "2", "2") + device("a", "6", "2"))),
              ElementsAre(rate("a", 0.5, 0.5), rate("b", 0.5, 0.5)));
}

// Findings.

std::vector<std::string> told(std::string_view text) {
  Findings findings;
  EXPECT_EQ(parse(text, &findings), parse(text));
  return toldLines(findings);
}

TEST(DiskIOParserFindings, tellOfEveryLineThatHadNoPart) {
  EXPECT_THAT(
      told("early\n---DPRE---\na\n8 0 loop0 0 0 0 0 0 0 0 0\n1 1 a 1 1 x 1 1 1 1 1\n"
           "1 1 b 1 1 1 1 1 1 x 1\n1 1 c 1 1 1 1 1 1 1 1\n1 1 d 1 1 1 1 1 1 1 1\n"
           "1 1 d 1 1 2 1 1 1 1 1\n---DMID---\n1 1 d 1 1 3 1 1 1 1 1\n1 1 e 1 1 1 1 1 1 1 1\n"
           "---DEND---\nlate\n"),
      ElementsAre(
          "1:0 line_dropped \"early\" before the marker ---DPRE---",
          "3:0 line_dropped \"a\" fewer than 11 fields",
          "4:0 left_out \"8 0 loop0 0 0 0 0 0 0 0 0\" a loop or RAM device",
          "5:0 line_dropped \"1 1 a 1 1 x 1 1 1 1 1\" the sectors read are not a number",
          "6:0 line_dropped \"1 1 b 1 1 1 1 1 1 x 1\" the sectors written are not a number",
          "8:0 line_dropped \"1 1 d 1 1 1 1 1 1 1 1\" a later line for the same device counts",
          "14:0 line_dropped \"late\" behind the marker ---DEND---",
          "7:0 line_dropped \"1 1 c 1 1 1 1 1 1 1 1\" the device is not in the second sample",
          "12:0 line_dropped \"1 1 e 1 1 1 1 1 1 1 1\" the device is not in the first sample"));
}

TEST(DiskIOParserFindings, tellOfRatesAndIdleDevices) {
  EXPECT_THAT(
      told(framed("1 1 a 1 1 5 1 1 1 nan 1\n1 1 b 1 1 5 1 1 1 5 1\n1 1 c 1 1 5 1 1 1 5 1\n",
                  "1 1 a 1 1 4 1 1 1 1 1\n1 1 b 1 1 5 1 1 1 5 1\n1 1 c 1 1 4 1 1 1 6 1\n")),
      ElementsAre("6:0 readKBps read_as_zero \"1 1 a 1 1 4 1 1 1 1 1\" the counter went backwards",
                  "6:0 writeKBps read_as_zero \"1 1 a 1 1 4 1 1 1 1 1\" not a number",
                  "6:0 left_out \"1 1 a 1 1 4 1 1 1 1 1\" the device neither read nor wrote",
                  "7:0 left_out \"1 1 b 1 1 5 1 1 1 5 1\" the device neither read nor wrote",
                  "8:0 readKBps read_as_zero \"1 1 c 1 1 4 1 1 1 6 1\" the counter went "
                  "backwards"));
}

TEST(DiskIOParserFindings, areNoLossesForIdleAndLoopDevices) {
  Findings findings;
  parse(framed(kBefore + device("loop0", "1", "1"), kBefore), &findings);
  EXPECT_EQ(findings.count(FindingOutcome::leftOut), 2U);
  EXPECT_EQ(findings.lossCount(), 0U);
}

// The twin, and size.

TEST(DiskIOParser, agreesWithItsNaiveTwinOnGeneratedTexts) {
  constexpr std::string_view kNames[] = {"a", "b", "c", "loop1", "ram", "\xFF", "\xFE"};
  constexpr std::string_view kNumbers[] = {"0", "1", "2", "5", "5", "1e308", "inf", "nan", "x"};
  std::mt19937 random(23);
  const auto upTo = [&random](std::size_t most) {
    return std::uniform_int_distribution<std::size_t>(0, most)(random);
  };
  const auto numbers = [&] { return kNumbers[upTo(std::size(kNumbers) - 1)]; };
  std::size_t rates = 0;
  for (int i = 0; i < 20'000; ++i) {
    std::string text;
    for (std::size_t lines = upTo(14); lines > 0; --lines) {
      switch (upTo(9)) {
        case 0:
          text += upTo(2) == 0 ? "---DEND---\n" : "---DMID---\n";
          break;
        case 1:
          text += " ---DPRE---\r\n";
          break;
        default:
          text += device(kNames[upTo(std::size(kNames) - 1)], numbers(), numbers());
      }
    }
    text = upTo(3) == 0 ? text : framed(text, text + device("a", "9", "9"));
    const auto expected = naive::parseDisks(text, 512, 2);
    ASSERT_TRUE(naive::areSameBits(parse(text), expected)) << testing::PrintToString(text);
    rates += expected.size();
  }
  EXPECT_GT(rates, 3'000U);
}

class DiskIOParserHuge : public testing::TestWithParam<HugeText> {};

TEST_P(DiskIOParserHuge, givesNothingAndEnds) {
  Findings findings;
  EXPECT_THAT(parse("---DPRE---\n" + GetParam().text(), &findings), IsEmpty());
  EXPECT_LE(findings.list().size(), Findings::kDefaultLimit);
}

INSTANTIATE_TEST_SUITE_P(, DiskIOParserHuge, rows(kHugeTexts));

}  // namespace
}  // namespace tavrine
