#include <TavrineShared/parsers/load_avg_parser.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/huge_texts.h"
#include "tests/support/rows.h"
#include "tests/support/told.h"

namespace tavrine {
namespace {

using LoadAvgParser::parse;
using testing::ElementsAre;
using testing::IsEmpty;

struct Load {
  std::string_view name;
  std::string_view text;
  std::vector<double> averages;
};

void PrintTo(const Load& load, std::ostream* out) { *out << load.name; }

class LoadAvgParserText : public testing::TestWithParam<Load> {};

TEST_P(LoadAvgParserText, givesTheseAverages) {
  EXPECT_EQ(parse(GetParam().text), GetParam().averages);
}

const std::vector<Load> kLoadRows = {
    {"as the kernel writes it", "3.85 4.47 3.72 5/134 14292\n", {3.85, 4.47, 3.72}},
    {"empty", "", {}},
    {"white space", " \t\n\xC2\xA0", {}},
    {"one", "1", {1}},
    {"two", "1.5 2.5", {1.5, 2.5}},
    {"three and no line end", "0 0 0", {0, 0, 0}},
    {"more than three", "1 2 3 4 5", {1, 2, 3}},
    {"runs of blanks", "   1   2   3   ", {1, 2, 3}},
    {"white space around", "\xE3\x80\x80\t1 2 3\r\n\n", {1, 2, 3}},
    {"tabs separate nothing", "1\t2 3 4 5", {3, 4}},
    {"line feeds separate nothing", "1 2\n3 4", {1, 4}},
    {"no-break spaces separate nothing",
     "1\xC2\xA0"
     "2 3",
     {3}},
    {"unreadable first", "x 2 3 4", {2, 3}},
    {"unreadable middle", "1 x 3 4", {1, 3}},
    {"unreadable last", "1 2 x 4", {1, 2}},
    {"decimal commas", "0,1 0,2 0,3", {}},
    {"another text", "cat: /proc/loadavg: No such file or directory", {}},
    {"signs, exponents, hexadecimal", "+1 -2e1 0x10", {1, -20, 16}},
    {"infinity", "inf 1 2", {std::numeric_limits<double>::infinity(), 1, 2}},
    {"beyond a double", "1e999 1 2 3", {1, 2}},
    {"a NUL", std::string_view("1\0 2 3", 6), {2, 3}},
    {"ill-formed", "\xFF 2 3", {2, 3}},
    {"a byte order mark",
     "\xEF\xBB\xBF"
     "1 2 3",
     {2, 3}},
};

INSTANTIATE_TEST_SUITE_P(, LoadAvgParserText, rows(kLoadRows));

std::vector<std::string> told(std::string_view text) {
  Findings findings;
  EXPECT_EQ(parse(text, &findings), parse(text));
  return toldLines(findings);
}

TEST(LoadAvgParserFindings, areNoneForWhatIsWhole) {
  EXPECT_THAT(told("1 2 3 4/5 6\n"), IsEmpty());
  EXPECT_THAT(told("1 2"), IsEmpty());
  EXPECT_THAT(told(""), IsEmpty());
}

TEST(LoadAvgParserFindings, tellOfEachThatIsNoNumber) {
  EXPECT_THAT(told("\n 1 \xC3\xA9\xFF x y"),
              ElementsAre("2:4 loadAverage read_as_absent \"\xC3\xA9\xEF\xBF\xBD\" not a number",
                          "2:7 loadAverage read_as_absent \"x\" not a number"));
}

class LoadAvgParserHuge : public testing::TestWithParam<HugeText> {};

TEST_P(LoadAvgParserHuge, givesNothingAndEnds) {
  Findings findings;
  EXPECT_THAT(parse(GetParam().text(), &findings), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(, LoadAvgParserHuge, rows(kHugeTexts));

}  // namespace
}  // namespace tavrine
