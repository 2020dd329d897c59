#include <TavrineShared/parsers/gpu_process_stat_parser.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/huge_texts.h"
#include "tests/support/naive_process_parsers.h"
#include "tests/support/rows.h"
#include "tests/support/told.h"

namespace tavrine {
namespace {

using GPUProcessStatParser::parse;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(GPUProcessStatParser, fillsEveryField) {
  EXPECT_THAT(parse("4242, /usr/bin/python3, 15360 MiB, 00000000:17:00.0\n"),
              ElementsAre(GPUProcessStat{4242, "/usr/bin/python3", 15360, "00000000:17:00.0"}));
}

struct Lines {
  std::string_view name;
  std::string_view text;
  std::vector<std::int64_t> pids;
};

void PrintTo(const Lines& lines, std::ostream* out) { *out << lines.name; }

class GPUProcessStatParserLines : public testing::TestWithParam<Lines> {};

TEST_P(GPUProcessStatParserLines, giveThesePids) {
  std::vector<std::int64_t> pids;
  for (const GPUProcessStat& process : parse(GetParam().text)) pids.push_back(process.pid);
  EXPECT_EQ(pids, GetParam().pids);
}

const std::vector<Lines> kLinesRows = {
    {"empty", "", {}},
    {"blank lines", "\n\r\n \n", {}},
    {"header alone", "pid, process_name, used_gpu_memory [MiB], gpu_bus_id\n", {}},
    {"header and rows", "pid, process_name, used_gpu_memory [MiB]\n7, a, 1 MiB\n", {7}},
    {"order of the lines, doubles kept", "4,a,1\n0,a,1\n4,a,1", {4, 0, 4}},
    {"2 columns", "1,a\n", {}},
    {"3 columns", "1,a,1\n", {1}},
    {"3 columns, all but the first empty", "5,,", {5}},
    {"5 columns", "2,a,1,b,c", {2}},
    {"CR LF", "1,a,1\r\n2,a,1\r\n", {1, 2}},
    {"every other line break",
     "1,a,1\v2,a,1\f3,a,1\r4,a,1\xC2\x85"
     "5,a,1\xE2\x80\xA8"
     "6,a,1\xE2\x80\xA9"
     "7,a,1",
     {1, 2, 3, 4, 5, 6, 7}},
    {"pid between blanks and no-break spaces", " \t1\xC2\xA0,a,1", {1}},
    {"pid with signs", "+3,a,1\n-3,a,1", {3, -3}},
    {"largest pid", "9223372036854775807,a,1", {9223372036854775807}},
    {"pid beyond 64 bits", "9223372036854775808,a,1", {}},
    {"pid that is not available", "[N/A],a,1", {}},
    {"pid 1.0", "1.0,a,1", {}},
    {"empty pid", ",a,1", {}},
    {"byte order mark before the pid",
     "\xEF\xBB\xBF"
     "1,a,1",
     {}},
    {"no processes", "No running processes found\n", {}},
    {"quotes are no quotes", "\"1\",a,1", {}},
};

INSTANTIATE_TEST_SUITE_P(, GPUProcessStatParserLines, rows(kLinesRows));

struct Memory {
  std::string_view cell;
  double value;
  std::string_view told = "";  // why it is 0, if it is
};

void PrintTo(const Memory& row, std::ostream* out) { *out << '"' << row.cell << '"'; }

class GPUProcessStatParserMemory : public testing::TestWithParam<Memory> {};

TEST_P(GPUProcessStatParserMemory, isReadOrZero) {
  Findings findings;
  const std::string line = "1,a," + std::string(GetParam().cell) + ",b";
  const auto records = parse(line, &findings);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_TRUE(naive::areSameBits(records, naive::parseGPUProcesses(line)));
  const double value = records[0].usedMemoryMB;
  EXPECT_TRUE(value == GetParam().value || (std::isnan(value) && std::isnan(GetParam().value)))
      << value;
  EXPECT_EQ(findings.count(FindingOutcome::readAsZero), GetParam().told.empty() ? 0U : 1U);
  if (!findings.list().empty()) {
    EXPECT_EQ(findings.list()[0].reason, GetParam().told);
  }
}

constexpr std::string_view kNotAvailable = "not available";
constexpr std::string_view kNotANumber = "not a number";

const std::vector<Memory> kMemoryRows = {
    {"15360 MiB", 15360},
    {"15360MiB", 15360},
    {"15360", 15360},
    {" 15360  MiB ", 15360},
    {"0 MiB", 0},
    {"1.5 MiB", 1.5},
    {"-3 MiB", -3},
    {"0x10 MiB", 16},
    {"1e3 MiB", 1000},
    {"MiB7", 7},
    {"1MiB2", 12},
    {"1 MiB MiB", 1},
    {"inf MiB", std::numeric_limits<double>::infinity()},
    {"nan", NAN},
    {"nan(MiB)", NAN},
    {"nan(0x1MiB2) MiB", NAN},
    {"1\xC2\xA0MiB", 1},
    {"", 0, kNotAvailable},
    {"MiB", 0, kNotAvailable},
    {"[N/A]", 0, kNotAvailable},
    {"N/A", 0, kNotAvailable},
    {"[N/A] MiB", 0, kNotAvailable},
    {"-N/A", 0, kNotAvailable},
    {"N/AMiB", 0, kNotAvailable},
    {"N/MiBA", 0, kNotAvailable},
    {"[N/MiBA]", 0, kNotAvailable},
    {"1N/A", 10},
    {"N/A5", 5},
    {"[N/A][N/A]", 0, kNotAvailable},
    {"[N/[N/A]A]", 0, kNotANumber},
    {"[Not Supported]", 0, kNotANumber},
    {"[n/a]", 0, kNotANumber},
    {"512 GiB", 0, kNotANumber},
    {"512 mib", 0, kNotANumber},
    {"1 2 MiB", 0, kNotANumber},
    {"1e999 MiB", 0, kNotANumber},
    {"\xFF", 0, kNotANumber},
    {"1\xE2MiB\x80", 0, kNotANumber},
};

INSTANTIATE_TEST_SUITE_P(, GPUProcessStatParserMemory, rows(kMemoryRows));

struct Text {
  std::string_view cell;
  std::string_view name;
  std::optional<std::string> busID;
};

void PrintTo(const Text& row, std::ostream* out) { *out << '"' << row.cell << '"'; }

class GPUProcessStatParserText : public testing::TestWithParam<Text> {};

TEST_P(GPUProcessStatParserText, isTrimmed) {
  const std::string cell(GetParam().cell);
  const auto records = parse("1," + cell + ",1," + cell);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].processName, GetParam().name);
  EXPECT_EQ(records[0].gpuBusID, GetParam().busID);
}

const std::vector<Text> kTextRows = {
    {" a b ", "a b", "a b"},
    {"", "", std::nullopt},
    {" \t\xC2\xA0", "", std::nullopt},
    {"[N/A]", "[N/A]", "[N/A]"},
    {"1 MiB", "1 MiB", "1 MiB"},
    {"C:\\Program Files\\x.exe", "C:\\Program Files\\x.exe", "C:\\Program Files\\x.exe"},
    {std::string_view("a\0b", 3), std::string_view("a\0b", 3), std::string("a\0b", 3)},
    {"a\xFF", "a\xEF\xBF\xBD", "a\xEF\xBF\xBD"},
};

INSTANTIATE_TEST_SUITE_P(, GPUProcessStatParserText, rows(kTextRows));

TEST(GPUProcessStatParser, leavesTheBusAbsentThatTheLineDoesNotHave) {
  EXPECT_EQ(parse("1,a,1").at(0).gpuBusID, std::nullopt);
}

std::vector<std::string> told(std::string_view text) {
  Findings findings;
  EXPECT_EQ(parse(text, &findings), parse(text));
  return toldLines(findings);
}

TEST(GPUProcessStatParserFindings, tellOfLinesThatGiveNoRecord) {
  EXPECT_THAT(told("\xEF\xBB\xBFpid, a, b\n\nNo devices were found\r\nx,a,1\n"),
              ElementsAre("1:0 header_skipped \"\xEF\xBB\xBFpid, a, b\" the names of the columns",
                          "3:0 line_dropped \"No devices were found\" fewer than 3 columns",
                          "4:0 line_dropped \"x,a,1\" the first column is not an integer"));
}

TEST(GPUProcessStatParserFindings, tellOfCells) {
  EXPECT_THAT(told("1, a\xFF, [N/A], \xFF, more, and more\n2, a,b, 5 MiB, c"),
              ElementsAre("1:4 processName repaired \"a\xEF\xBF\xBD\" ill-formed UTF-8",
                          "1:8 usedMemoryMB read_as_zero \"[N/A]\" not available",
                          "1:15 gpuBusID repaired \"\xEF\xBF\xBD\" ill-formed UTF-8",
                          "1:18 ignored \"more\" more columns than the query has",
                          "2:6 usedMemoryMB read_as_zero \"b\" not a number",
                          "2:16 ignored \"c\" more columns than the query has"));
}

TEST(GPUProcessStatParserFindings, areNoneForWhatIsWhole) {
  EXPECT_THAT(told("1, a, 0 MiB, b\n\n2, a, 1 MiB\n3, a, 1 MiB, \n"), IsEmpty());
}

TEST(GPUProcessStatParser, agreesWithItsNaiveTwinOnGeneratedTexts) {
  constexpr std::string_view kPieces[] = {
      "1",  "0",   "2.5",   "[N/A]", "N/A",  "MiB",  " MiB",         " ",  "nan",      "[", "]",
      "x",  "pid", "\t",    "\xFF",  "\xE2", "\x80", "\xE2\x80\xAF", "0x", "\xC2\xA0", "e", "-",
      "N/", "A",   "nan(1", ")",     "Mi",   "B",    "\v",           "+"};
  std::mt19937 random(22);
  const auto upTo = [&random](std::size_t most) {
    return std::uniform_int_distribution<std::size_t>(0, most)(random);
  };
  std::size_t records = 0;
  for (int i = 0; i < 40'000; ++i) {
    std::string text;
    for (std::size_t rows = upTo(3); rows > 0; --rows) {
      text += upTo(5) == 0 ? "" : "1";
      for (std::size_t cells = 1 + upTo(4); cells > 0; --cells) {
        text += ',';
        for (std::size_t pieces = upTo(4); pieces > 0; --pieces) {
          text += kPieces[upTo(std::size(kPieces) - 1)];
        }
      }
      text += '\n';
    }
    const auto expected = naive::parseGPUProcesses(text);
    ASSERT_TRUE(naive::areSameBits(parse(text), expected)) << testing::PrintToString(text);
    records += expected.size();
  }
  EXPECT_GT(records, 10'000U);
}

class GPUProcessStatParserHuge : public testing::TestWithParam<HugeText> {};

TEST_P(GPUProcessStatParserHuge, givesNothingAndEnds) {
  Findings findings;
  EXPECT_THAT(parse(GetParam().text(), &findings), IsEmpty());
  EXPECT_LE(findings.list().size(), Findings::kDefaultLimit);
}

INSTANTIATE_TEST_SUITE_P(, GPUProcessStatParserHuge, rows(kHugeTexts));

}  // namespace
}  // namespace tavrine
