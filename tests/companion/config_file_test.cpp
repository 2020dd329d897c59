#include "companion/collect/config_file.h"

#include <gtest/gtest.h>

#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/rows.h"

namespace tavrine {

void PrintTo(const Setting& setting, std::ostream* out) {
  *out << setting.line << ": " << setting.name << testing::PrintToString(setting.values);
}

namespace {

using Kind = Setting::Kind;

struct GoodRow {
  const char* name;
  std::string_view text;
  std::vector<Setting> settings;
};
void PrintTo(const GoodRow& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class GoodConfigFile : public testing::TestWithParam<GoodRow> {};

TEST_P(GoodConfigFile, isRead) { EXPECT_EQ(settingsIn(GetParam().text), GetParam().settings); }

INSTANTIATE_TEST_SUITE_P(
    Files, GoodConfigFile,
    rows<GoodRow>({
        {"empty", "", {}},
        {"comments", "# nothing\n\n  # at all", {}},
        {"text", "a = \"x\"", {{"a", Kind::text, {"x"}, 1}}},
        {"emptyText", "a = \"\"", {{"a", Kind::text, {""}, 1}}},
        {"commentSignInQuotes", "a = \"x # y\" # z", {{"a", Kind::text, {"x # y"}, 1}}},
        {"escapes", R"(a = "\"\\\t\u00e4")", {{"a", Kind::text, {"\"\\\t\u00E4"}, 1}}},
        {"literalText", R"(a = 'c:\x "y"')", {{"a", Kind::text, {R"(c:\x "y")"}, 1}}},
        {"textOfSeveralLines", "a = \"\"\"\nx\ny\"\"\"", {{"a", Kind::text, {"x\ny"}, 1}}},
        {"number", "a = -7", {{"a", Kind::number, {"-7"}, 1}}},
        {"truths",
         "a = true\nb = false",
         {{"a", Kind::truth, {"true"}, 1}, {"b", Kind::truth, {"false"}, 2}}},
        {"list", "a = [\"x\", 'y']", {{"a", Kind::list, {"x", "y"}, 1}}},
        {"emptyList", "a = []", {{"a", Kind::list, {}, 1}}},
        {"listOfSeveralLines",
         "a = [\n  \"x\",  # one, two\n  \"]\",\n]\nb = 1",
         {{"a", Kind::list, {"x", "]"}, 1}, {"b", Kind::number, {"1"}, 5}}},
        {"orderOfLines",
         "b = 1\na = 2",
         {{"b", Kind::number, {"1"}, 1}, {"a", Kind::number, {"2"}, 2}}},
        {"quotedName", "\"a-b\" = 1", {{"a-b", Kind::number, {"1"}, 1}}},
        {"byteOrderMark",
         "\xEF\xBB\xBF"
         "a = 1",
         {{"a", Kind::number, {"1"}, 1}}},
        {"carriageReturns",
         "a = 1\r\nb = 2\r\n",
         {{"a", Kind::number, {"1"}, 1}, {"b", Kind::number, {"2"}, 2}}},
    }),
    rowName);

struct BadRow {
  const char* name;
  std::string text;
  std::string complaint;  // as far as it is ours
};
void PrintTo(const BadRow& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class BadConfigFile : public testing::TestWithParam<BadRow> {};

TEST_P(BadConfigFile, isToldWithItsLine) {
  try {
    settingsIn(GetParam().text);
    FAIL() << "it is taken";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(std::string(error.what()).substr(0, GetParam().complaint.size()),
              GetParam().complaint);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Files, BadConfigFile,
    rows<BadRow>({
        {"section", "a = 1\n[lab]\nb = 1", "line 2: there are no sections, such as lab"},
        {"dottedName", "lab.a = 1", "line 1: there are no sections, such as lab"},
        {"inlineSection", "lab = {a = 1}", "line 1: there are no sections, such as lab"},
        {"fraction", "a = 1.5", "line 1: a cannot be a fraction"},
        {"date", "a = 2026-01-01", "line 1: a cannot be a fraction or a date"},
        {"listOfNumbers", "a = [\n1]", "line 2: a is a list of texts in quotes"},
        {"listInAList", "a = [[\"x\"]]", "line 1: a is a list of texts in quotes"},
        {"twice", "a = 1\na = 2", "line 2: "},
        {"noValue", "b = 1\na =", "line 2: "},
        {"noQuotes", "a = soon", "line 1: "},
        {"noEnd", "\n\na = \"x", "line 3: "},
        {"numberBeyond64Bits", "a = 9223372036854775808", "line 1: "},
        {"notUTF8", "a = \"\xFF\"", "line 1: "},
        {"nul", std::string("a = 1\n\0", 7), "line 2: "},
        {"depthWithoutEnd", "a = " + std::string(100000, '['), "line 1: "},
    }),
    rowName);

}  // namespace
}  // namespace tavrine
