#include <TavrineShared/parsers/nvidia_smi_parser.h>

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_conventions.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/huge_texts.h"
#include "tests/support/naive_nvidia_smi_parser.h"
#include "tests/support/rows.h"
#include "tests/support/told.h"

namespace tavrine {
namespace {

using NVIDIASMIParser::parseCSV;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// The record of kWithUnits and of kWithoutUnits.
const GPUStat kH100 = {
    .index = 0,
    .name = "NVIDIA H100 80GB HBM3",
    .utilizationPercent = 87,
    .memoryUsedMB = 40536,
    .memoryTotalMB = 81920,
    .temperatureC = 64,
    .powerDrawW = 249.5,
    .powerLimitW = 400,
    .fanSpeedPercent = std::nullopt,
    .smClockMHz = 1410,
    .memClockMHz = 1593,
    .eccErrorsTotal = 0,
    .pcieLinkGen = 4,
    .pcieLinkWidth = 16,
    .pstate = "P0",
};
constexpr std::string_view kWithUnits =
    "0, NVIDIA H100 80GB HBM3, 87 %, 40536 MiB, 81920 MiB, 64, 249.50 W, 400.00 W, [N/A], 1410 "
    "MHz, "
    "1593 MHz, 0, 4, 16, P0";
constexpr std::string_view kWithoutUnits =
    "0, NVIDIA H100 80GB HBM3, 87, 40536, 81920, 64, 249.50, 400.00, [N/A], 1410, 1593, 0, 4, 16, "
    "P0";

// A line whose columns all hold 1, but for the one given.
std::string lineWith(std::size_t column, std::string_view cell) {
  std::string line;
  for (std::size_t i = 0; i < 15; ++i) {
    if (i != 0) line += ',';
    line += i == column ? cell : "1";
  }
  return line;
}

GPUStat recordWith(std::size_t column, std::string_view cell) {
  const std::vector<GPUStat> records = parseCSV(lineWith(column, cell));
  EXPECT_EQ(records.size(), 1U) << "column " << column << " holding \"" << cell << '"';
  return records.empty() ? GPUStat{} : records.front();
}

// Which lines of a text give records.

struct Lines {
  std::string_view name;
  std::string_view text;
  std::vector<std::int64_t> indices;
};

void PrintTo(const Lines& lines, std::ostream* out) { *out << lines.name; }

class NVIDIASMIParserLines : public testing::TestWithParam<Lines> {};

TEST_P(NVIDIASMIParserLines, giveTheseIndices) {
  std::vector<std::int64_t> indices;
  for (const GPUStat& gpu : parseCSV(GetParam().text)) indices.push_back(gpu.index);
  EXPECT_EQ(indices, GetParam().indices);
}

const std::vector<Lines> kLinesRows = {
    {"empty", "", {}},
    {"blank lines", "\n\r\n\n", {}},
    {"lines of blanks", "  \n\t\n", {}},
    {"header alone", "index, name, a, b, c, d, e, f, g, h, i, j, k, l, m\n", {}},
    {"header and rows", "index, name, a, b, c, d, e, f\n3,n,1,1,1,1,1,1\n", {3}},
    {"7 columns", "1,n,1,1,1,1,1\n", {}},
    {"8 columns", "1,n,1,1,1,1,1,1\n", {1}},
    {"8 columns, all but the first empty", "5,,,,,,,", {5}},
    {"16 columns", "2,n,1,1,1,1,1,1,1,1,1,1,1,1,P0,more", {2}},
    {"order of the lines, doubles kept", "4,,,,,,,\n0,,,,,,,\n4,,,,,,,\n", {4, 0, 4}},
    {"no line end at the end", "1,,,,,,,\n2,,,,,,,", {1, 2}},
    {"CR LF", "1,,,,,,,\r\n2,,,,,,,\r\n", {1, 2}},
    {"CR alone", "1,,,,,,,\r2,,,,,,,", {1, 2}},
    {"every other line break",
     "1,,,,,,,\v2,,,,,,,\f3,,,,,,,\xC2\x85"
     "4,,,,,,,\xE2\x80\xA8"
     "5,,,,,,,\xE2\x80\xA9"
     "6,,,,,,,",
     {1, 2, 3, 4, 5, 6}},
    {"U+001C to U+001F are no line breaks", "1,,,,,,,\x1C,\x1F", {1}},
    {"index with a plus", "+3,,,,,,,", {3}},
    {"negative index", "-2,,,,,,,", {-2}},
    {"index between blanks", " \t1 ,,,,,,,", {1}},
    {"index between no-break spaces",
     "\xC2\xA0"
     "1\xE3\x80\x80,,,,,,,",
     {1}},
    {"index with leading zeros", "007,,,,,,,", {7}},
    {"largest index", "9223372036854775807,,,,,,,", {9223372036854775807}},
    {"index beyond 64 bits", "9223372036854775808,,,,,,,", {}},
    {"index GPU 1", "GPU 1,,,,,,,", {}},
    {"index 1.0", "1.0,,,,,,,", {}},
    {"index 1 %, which is not cleaned", "1 %,,,,,,,", {}},
    {"empty index", ",,,,,,,", {}},
    {"index +-1", "+-1,,,,,,,", {}},
    {"index with a NUL", std::string_view("1\0,,,,,,,", 9), {}},
    {"byte order mark before the index",
     "\xEF\xBB\xBF"
     "1,,,,,,,",
     {}},
    {"ill-formed byte before the index",
     "\xFF"
     "1,,,,,,,",
     {}},
    {"quotes are no quotes", "\"1\",\"a,b\",,,,,,,", {}},
};

INSTANTIATE_TEST_SUITE_P(, NVIDIASMIParserLines, rows(kLinesRows));

// What becomes of one cell in a required column, an optional one and an integer one.

constexpr std::size_t kName = 1;
constexpr std::size_t kUtilization = 2;
constexpr std::size_t kFan = 8;
constexpr std::size_t kECC = 11;
constexpr std::size_t kPState = 14;

struct NumberCell {
  std::string_view cell;
  double required;
  std::optional<double> optional;
};

void PrintTo(const NumberCell& row, std::ostream* out) { *out << '"' << row.cell << '"'; }

class NVIDIASMIParserNumber : public testing::TestWithParam<NumberCell> {};

TEST_P(NVIDIASMIParserNumber, isReadAfterCleaning) {
  const NumberCell& row = GetParam();
  for (const auto member : {&GPUStat::utilizationPercent, &GPUStat::powerLimitW}) {
    const std::size_t column = member == &GPUStat::utilizationPercent ? kUtilization : 7;
    const double value = recordWith(column, row.cell).*member;
    if (std::isnan(row.required)) {
      EXPECT_TRUE(std::isnan(value));
    } else {
      EXPECT_EQ(value, row.required) << "column " << column;
      EXPECT_EQ(std::signbit(value), std::signbit(row.required)) << "column " << column;
    }
  }
  for (const auto member : {&GPUStat::fanSpeedPercent, &GPUStat::memClockMHz}) {
    const std::size_t column = member == &GPUStat::fanSpeedPercent ? kFan : 10;
    const std::optional<double> value = recordWith(column, row.cell).*member;
    if (row.optional && std::isnan(*row.optional)) {
      EXPECT_TRUE(value && std::isnan(*value));
    } else {
      EXPECT_EQ(value, row.optional) << "column " << column;
    }
  }
}

NumberCell read(std::string_view cell, double value) { return {cell, value, value}; }
NumberCell unreadable(std::string_view cell) { return {cell, 0, std::nullopt}; }

const std::vector<NumberCell> kNumberCellRows = {
    read("87", 87),
    read("87 %", 87),
    read("87%", 87),
    read(" 87  % ", 87),
    read("40536 MiB", 40536),
    read("40536MiB", 40536),
    read("1410 MHz", 1410),
    read("249.50 W", 249.5),
    read("-1.5", -1.5),
    read("-0", -0.0),
    read("+3", 3),
    read(".5", .5),
    read("5.", 5),
    read("1e3 %", 1000),
    read("0x1.8p1 W", 3),
    read("inf", kInfinity),
    read("-Infinity W", -kInfinity),
    read("nan", NAN),
    read("nan(0x1) %", NAN),
    read("8%7", 87),        // removed wherever it stands
    read("%MiBMHz W5", 5),  // likewise
    read("Mi%B5", 5),       // what one removal joins, a later one removes
    read("[N/A]5", 5),
    read("5[Not Supported]", 5),
    unreadable("[N/[N/A]A]5"),  // what a removal joins is not searched again for the same
    unreadable(""),
    unreadable("[N/A]"),
    unreadable("[Not Supported]"),
    unreadable("N/A"),
    unreadable("[n/a]"),
    unreadable("[Unknown Error]"),
    unreadable("[Insufficient Permissions]"),
    unreadable("249.50W"),  // only with a blank before it is the W a unit
    unreadable("249.50 w"),
    unreadable("40536 mib"),
    unreadable("40536 GiB"),
    unreadable("1 2"),
    unreadable("1'5"),
    unreadable("12abc"),
    unreadable("1e999"),
    unreadable("1e-400"),
    unreadable("--1"),
    unreadable("\xFF"),
    unreadable("1\xE2\x80\x8B"),  // U+200B is no white space
    read("\xE2\x80\xAF"
         "87\xC2\xA0%",
         87),  // while U+202F and U+00A0 are
    unreadable(std::string_view("1\0", 2)),
    unreadable("0x"),
};

INSTANTIATE_TEST_SUITE_P(, NVIDIASMIParserNumber, rows(kNumberCellRows));

struct IntegerCell {
  std::string_view cell;
  std::optional<std::int64_t> value;
};

void PrintTo(const IntegerCell& row, std::ostream* out) { *out << '"' << row.cell << '"'; }

class NVIDIASMIParserInteger : public testing::TestWithParam<IntegerCell> {};

TEST_P(NVIDIASMIParserInteger, isLenient) {
  const IntegerCell& row = GetParam();
  EXPECT_EQ(recordWith(kECC, row.cell).eccErrorsTotal, row.value);
  EXPECT_EQ(recordWith(12, row.cell).pcieLinkGen, row.value);
  EXPECT_EQ(recordWith(13, row.cell).pcieLinkWidth, row.value);
}

const std::vector<IntegerCell> kIntegerCellRows = {
    {"0", 0},
    {"16", 16},
    {"+4", 4},
    {" -7 ", -7},
    {"16 %", 16},
    {"3.9", 3},
    {"-2.5", -2},
    {"-0.9", 0},
    {"1e3", 1000},
    {"0x10", 16},
    {"9223372036854775807", INT64_MAX},
    {"-9223372036854775808",
     INT64_MIN},  // One below the limit is no integer of 64 bits, but its nearest double is.
    {"-9223372036854775809", INT64_MIN},
    {"9223372036854774784.0", 9223372036854774784},
    {"N/A", 0},
    {"Disabled", 0},
    {"[Unknown Error]", 0},
    {"1e999", 0},
    {"1 6", 0},
    {"", std::nullopt},
    {"  ", std::nullopt},
    {"[N/A]", std::nullopt},
    {"[Not Supported]", std::nullopt},
    {"%", std::nullopt},
    {"[N/A][N/A] MiB", std::nullopt},
};

INSTANTIATE_TEST_SUITE_P(, NVIDIASMIParserInteger, rows(kIntegerCellRows));

struct FatalCell {
  std::string_view cell;
  std::string_view told;
};

void PrintTo(const FatalCell& row, std::ostream* out) { *out << '"' << row.cell << '"'; }

class NVIDIASMIParserDeathTest : public testing::TestWithParam<FatalCell> {};

TEST_P(NVIDIASMIParserDeathTest, stopsAtAnIntegerThatCannotBe) {
  EXPECT_DEATH(parseCSV(lineWith(kECC, GetParam().cell)),
               "line 1: \"" + std::string(GetParam().told) + "\" in the column eccErrorsTotal");
  EXPECT_TRUE(NVIDIASMIParser::isFatal("\n\n" + lineWith(kECC, GetParam().cell)));
  EXPECT_DEATH(parseCSV(lineWith(12, GetParam().cell)), "in the column pcieLinkGen");
  EXPECT_DEATH(parseCSV(lineWith(13, GetParam().cell)), "in the column pcieLinkWidth");
}

const std::vector<FatalCell> kFatalCellRows = {
    {"nan", "nan"},
    {"-inf", "-inf"},
    {"1e30", "1e30"},
    {"9223372036854775808", "9223372036854775808"},
    {"-9223372036854777856", "-9223372036854777856"},
    {"[N/A]inf %", "inf"},
};

INSTANTIATE_TEST_SUITE_P(, NVIDIASMIParserDeathTest, rows(kFatalCellRows));

struct TextCell {
  std::string_view cell;
  std::string_view name;
  std::optional<std::string> pstate;
};

void PrintTo(const TextCell& row, std::ostream* out) { *out << '"' << row.cell << '"'; }

class NVIDIASMIParserText : public testing::TestWithParam<TextCell> {};

TEST_P(NVIDIASMIParserText, isTrimmedAndNotCleaned) {
  EXPECT_EQ(recordWith(kName, GetParam().cell).name, GetParam().name);
  EXPECT_EQ(recordWith(kPState, GetParam().cell).pstate, GetParam().pstate);
}

const std::vector<TextCell> kTextCellRows = {
    {" P0 ", "P0", "P0"},
    {"", "", std::nullopt},
    {" \t", "", std::nullopt},
    {"[N/A]", "[N/A]", std::nullopt},
    {" [Not Supported] ", "[Not Supported]", std::nullopt},
    {"N/A", "N/A", "N/A"},
    {"[N/A] %", "[N/A] %", "[N/A] %"},
    {"87 %", "87 %", "87 %"},
    {"\xE2\x80\xA6", "\xE2\x80\xA6", "\xE2\x80\xA6"},
    {"a\xFF"
     "b\xE2\x82",
     "a\xEF\xBF\xBD"
     "b\xEF\xBF\xBD",
     "a\xEF\xBF\xBD"
     "b\xEF\xBF\xBD"},
    {std::string_view("a\0b", 3), std::string_view("a\0b", 3), std::string("a\0b", 3)},
};

INSTANTIATE_TEST_SUITE_P(, NVIDIASMIParserText, rows(kTextCellRows));

TEST(NVIDIASMIParser, readsALineWithAndWithoutUnitsAlike) {
  EXPECT_THAT(parseCSV(kWithUnits), ElementsAre(kH100));
  EXPECT_THAT(parseCSV(kWithoutUnits), ElementsAre(kH100));
}

TEST(NVIDIASMIParser, leavesOptionalColumnsAbsentThatTheLineDoesNotHave) {
  const std::vector<GPUStat> records = parseCSV("0,n,1,2,3,4,5,6");
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records.front(), (GPUStat{0, "n", 1, 2, 3, 4, 5, 6, {}, {}, {}, {}, {}, {}, {}}));
}

TEST(NVIDIASMIParser, readsTheColumnsThereAreBetween8And15) {
  std::string line = "0,n,1,1,1,1,1,1";
  for (std::size_t count = 8; count <= 15; ++count) {
    const GPUStat gpu = parseCSV(line).at(0);
    const bool present[] = {gpu.fanSpeedPercent.has_value(),
                            gpu.smClockMHz.has_value(),
                            gpu.memClockMHz.has_value(),
                            gpu.eccErrorsTotal.has_value(),
                            gpu.pcieLinkGen.has_value(),
                            gpu.pcieLinkWidth.has_value(),
                            gpu.pstate.has_value()};
    for (std::size_t i = 0; i < std::size(present); ++i) {
      EXPECT_EQ(present[i], 8 + i < count) << "column " << 8 + i << " of " << count;
    }
    line += ",2";
  }
}

// Findings.

std::vector<std::string> told(std::string_view text) {
  Findings findings;
  EXPECT_EQ(parseCSV(text, &findings), parseCSV(text));
  return toldLines(findings);
}

TEST(NVIDIASMIParserFindings, areNoneForWhatIsWhole) {
  EXPECT_THAT(told(kWithUnits), IsEmpty());
  EXPECT_THAT(told("\n\n"), IsEmpty());
}

TEST(NVIDIASMIParserFindings, knowAHeaderBehindAByteOrderMark) {
  Findings findings;
  EXPECT_THAT(parseCSV("\xEF\xBB\xBFindex, a, b, c, d, e, f, g", &findings), IsEmpty());
  EXPECT_EQ(findings.count(FindingOutcome::headerSkipped), 1U);
  EXPECT_EQ(findings.lossCount(), 0U);
}

TEST(NVIDIASMIParserFindings, tellOfLinesThatGiveNoRecord) {
  EXPECT_THAT(
      told("index, a, b, c, d, e, f, g\n\nindex, name\r\nNo devices were found\nx,,,,,,,\n"),
      ElementsAre(R"(1:0 header_skipped "index, a, b, c, d, e, f, g" the names of the columns)",
                  R"(3:0 line_dropped "index, name" fewer than 8 columns)",
                  R"(4:0 line_dropped "No devices were found" fewer than 8 columns)",
                  R"(5:0 line_dropped "x,,,,,,," the first column is not an integer)"));
}

TEST(NVIDIASMIParserFindings, tellOfEachNumberThatWasNotRead) {
  EXPECT_THAT(
      told("\n0, \xC3\xA9, [N/A], x, , 1, 1, 1, y %, [N/A], , N/A, 3.5, 1e1, P0, more, and more"),
      ElementsAre(R"(2:7 utilizationPercent read_as_zero "[N/A]" not available)",
                  R"(2:14 memoryUsedMB read_as_zero "x" not a number)",
                  R"(2:17 memoryTotalMB read_as_zero "" not available)",
                  R"(2:28 fanSpeedPercent read_as_absent "y %" not a number)",
                  R"(2:42 eccErrorsTotal read_as_zero "N/A" not a number)",
                  R"(2:47 pcieLinkGen truncated "3.5" not a whole number)",
                  R"(2:61 ignored "more" more columns than the query has)"));
}

TEST(NVIDIASMIParserFindings, tellOfIllFormedTexts) {
  EXPECT_THAT(told("0,a\xFF,1,1,1,1,1,1,1,1,1,1,1,1,\x80"),
              ElementsAre("1:3 name repaired \"a\xEF\xBF\xBD\" ill-formed UTF-8",
                          "1:30 pstate repaired \"\xEF\xBF\xBD\" ill-formed UTF-8"));
}

TEST(NVIDIASMIParserFindings, accountForEveryLine) {
  Findings findings;
  const auto records = parseCSV("index,,,,,,,\n0,,,,,,,\nx\n\n1,,,,,,,\ny,,,,,,,", &findings);
  EXPECT_EQ(records.size(), 2U);
  EXPECT_EQ(findings.count(FindingOutcome::headerSkipped), 1U);
  EXPECT_EQ(findings.count(FindingOutcome::lineDropped), 2U);
  EXPECT_EQ(findings.count(FindingOutcome::readAsZero), 12U);
  EXPECT_EQ(findings.lossCount(), 14U);
}

TEST(NVIDIASMIParserFindings, nameTheFieldsThatTheColumnsFill) {
  const RecordTable& table = GPUStat::table();
  ASSERT_EQ(table.fields.size(), 15U);
  for (std::size_t column = 2; column < 14; ++column) {
    Findings findings;
    parseCSV(lineWith(column, "x"), &findings);
    ASSERT_EQ(findings.list().size(), 1U);
    EXPECT_EQ(findings.list().front().path, table.fields[column].key);
  }
}

// Twins, real captures, and size.

TEST(NVIDIASMIParser, agreesWithItsNaiveTwinOnGeneratedTexts) {
  constexpr std::string_view kPieces[] = {
      "0",        "1",       "-2",    "+7",   "3.9", "1e3",      "1e30",         "nan",
      "inf",      "%",       " %",    " MiB", "MiB", " MHz",     "MHz",          " W",
      "W",        "M",       "iB",    ".",    "e",   "x",        "0x1p",         "P0",
      " ",        "\t",      "index", "GPU",  "N/A", ",",        "[N/A]",        "[Not Supported]",
      "\xC2\xA0", "\n",      "\r\n",  "\r",   "\v",  "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\x8B",
      "\xFF",     "\xE2\x80"};
  std::mt19937 random(20);
  const auto upTo = [&random](std::size_t most) {
    return std::uniform_int_distribution<std::size_t>(0, most)(random);
  };
  std::size_t records = 0;
  std::size_t fatal = 0;
  for (int i = 0; i < 40'000; ++i) {
    // Rows of seven to sixteen cells, most of them of a single piece.
    std::string text;
    for (std::size_t rows = upTo(3); rows > 0; --rows) {
      text += upTo(3) == 0 ? "" : "1";
      for (std::size_t cells = 6 + upTo(9); cells > 0; --cells) {
        text += ',';
        for (std::size_t pieces = upTo(5) / 2; pieces > 0; --pieces) {
          text += kPieces[upTo(std::size(kPieces) - 1)];
        }
      }
      text += '\n';
    }
    const auto expected = naive::parseCSV(text);
    ASSERT_EQ(NVIDIASMIParser::isFatal(text), !expected) << testing::PrintToString(text);
    if (!expected) {
      ++fatal;
      continue;
    }
    const std::vector<GPUStat> actual = parseCSV(text);
    ASSERT_TRUE(naive::areSameBits(actual, *expected)) << testing::PrintToString(text);
    records += actual.size();
  }
  // The generator reaches what it is meant to reach.
  EXPECT_GT(records, 10'000U);
  EXPECT_GT(fatal, 100U);
}

std::string contentsOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(NVIDIASMIParser, readsRealCapturesIntoTheirGoldenRecords) {
  std::size_t captures = 0;
  for (const auto& entry : std::filesystem::directory_iterator("tests/golden/nvidia_smi")) {
    if (entry.path().extension() != ".csv") continue;
    ++captures;
    std::filesystem::path golden = entry.path();
    golden.replace_extension(".json");
    EXPECT_EQ(parseCSV(contentsOf(entry.path())), decode<std::vector<GPUStat>>(contentsOf(golden)))
        << entry.path();
  }
  EXPECT_GE(captures, 8U);
}

class NVIDIASMIParserHuge : public testing::TestWithParam<HugeText> {};

TEST_P(NVIDIASMIParserHuge, givesNothingAndEnds) {
  Findings findings;
  EXPECT_THAT(parseCSV(GetParam().text(), &findings), IsEmpty());
  EXPECT_LE(findings.list().size(), Findings::kDefaultLimit);
}

INSTANTIATE_TEST_SUITE_P(, NVIDIASMIParserHuge, rows(kHugeTexts));

}  // namespace
}  // namespace tavrine
