#include <TavrineShared/parsers/cpu_thermal_parser.h>

#include <TavrineShared/model/field_table.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/huge_texts.h"
#include "tests/support/rows.h"
#include "tests/support/told.h"

namespace tavrine {
namespace {

using CPUThermalParser::parse;
using testing::ElementsAre;
using testing::IsEmpty;

struct Sensors {
  std::string_view name;
  std::string_view text;
  std::vector<CPUTemperature> readings;
};

void PrintTo(const Sensors& sensors, std::ostream* out) { *out << sensors.name; }

class CPUThermalParserText : public testing::TestWithParam<Sensors> {};

TEST_P(CPUThermalParserText, givesTheseReadings) {
  EXPECT_EQ(parse(GetParam().text), GetParam().readings);
}

const std::vector<Sensors> kSensorsRows = {
    {"empty", "", {}},
    {"one", "Package id 0\t45000\n", {{"Package id 0", 45}}},
    {"order and doubles kept", "b\t1000\na\t2000\nb\t1000", {{"b", 1}, {"a", 2}, {"b", 1}}},
    {"no tab", "Package id 0 45000", {}},
    {"blanks around both", " a b \t 45500 ", {{"a b", 45.5}}},
    {"no-break spaces around both",
     "\xC2\xA0"
     "a\t\xC2\xA0"
     "1000\xE3\x80\x80",
     {{"a", 1}}},
    {"empty label", "\t45000", {}},
    {"blank label", " \xC2\xA0\t45000", {}},
    {"empty reading", "a\t", {}},
    {"unreadable reading", "a\tx", {}},
    {"reading with its unit", "a\t45 C", {}},
    {"label without a reading, then another line", "a\t\nb\t1000", {{"b", 1}}},
    {"further columns", "a\t1000\t2000", {{"a", 1}}},
    {"two tabs", "a\t\t1000", {}},
    {"a fraction", "a\t1.5", {{"a", 0.0015}}},
    {"an exponent", "a\t4e4", {{"a", 40}}},
    {"zero", "a\t0", {{"a", 0}}},
    {"at the lower bound", "a\t-50000", {}},
    {"just above it", "a\t-49999", {{"a", -49.999}}},
    {"just below it", "a\t-50001", {}},
    {"at the upper bound", "a\t200000", {}},
    {"just below it ", "a\t199999", {{"a", 199.999}}},
    {"just above it ", "a\t200001", {}},
    {"placeholders", "a\t250000\nb\t-60000\nc\t-274000", {}},
    {"no number and infinity", "a\tnan\nb\tinf\nc\t-inf", {}},
    {"CR LF", "a\t1000\r\nb\t2000\r\n", {{"a", 1}, {"b", 2}}},
    {"every other line break",
     "a\t1000\vb\t1000\fc\t1000\rd\t1000\xC2\x85"
     "e\t1000\xE2\x80\xA8"
     "f\t1000\xE2\x80\xA9"
     "g\t1000",
     {{"a", 1}, {"b", 1}, {"c", 1}, {"d", 1}, {"e", 1}, {"f", 1}, {"g", 1}}},
    {"ill-formed label", "a\xFF\t1000", {{"a\xEF\xBF\xBD", 1}}},
    {"a NUL in the label", std::string_view("a\0\t1000", 7), {{std::string("a\0", 2), 1}}},
    {"a NUL in the reading", std::string_view("a\t1\0", 4), {}},
};

INSTANTIATE_TEST_SUITE_P(, CPUThermalParserText, rows(kSensorsRows));

std::vector<std::string> told(std::string_view text) {
  Findings findings;
  EXPECT_EQ(parse(text, &findings), parse(text));
  return toldLines(findings);
}

TEST(CPUThermalParserFindings, tellOfEachLineThatGivesNoReading) {
  EXPECT_THAT(told("a\n\nb\tx\n \t1000\nc\t250000\nd\tnan\n\t\n"),
              ElementsAre("1:0 line_dropped \"a\" no tab",
                          "3:0 line_dropped \"b\tx\" the reading is not a number",
                          "4:0 line_dropped \" \t1000\" no label",
                          "5:0 line_dropped \"c\t250000\" not between -50 and 200 degrees",
                          "6:0 line_dropped \"d\tnan\" not between -50 and 200 degrees",
                          "7:0 line_dropped \"\t\" the reading is not a number"));
}

TEST(CPUThermalParserFindings, tellOfLabelsAndFurtherColumns) {
  EXPECT_THAT(told("a\t1000\nb\xFF\t1000\tmore"),
              ElementsAre("2:1 label repaired \"b\xEF\xBF\xBD\" ill-formed UTF-8",
                          "2:9 ignored \"more\" more columns than label and reading"));
}

class CPUThermalParserHuge : public testing::TestWithParam<HugeText> {};

TEST_P(CPUThermalParserHuge, givesNothingAndEnds) {
  Findings findings;
  EXPECT_THAT(parse(GetParam().text(), &findings), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(, CPUThermalParserHuge, rows(kHugeTexts));

}  // namespace
}  // namespace tavrine
