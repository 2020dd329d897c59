#include <TavrineShared/model/findings.h>

#include <TavrineShared/model/json_conventions.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/record_checks.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using namespace std::string_view_literals;

Finding findingAt(std::string path) {
  Finding finding{};
  finding.path = std::move(path);
  return finding;
}

std::vector<std::string> pathsOf(const Findings& findings) {
  std::vector<std::string> paths;
  for (const Finding& finding : findings.list()) paths.push_back(finding.path);
  return paths;
}

// --- outcomes ---

TEST(FindingOutcome, hasTheseCases) {
  struct Row {
    FindingOutcome outcome;
    std::string_view rawValue;
    std::string_view title;
    bool isLoss;
  };
  const std::vector<Row> table = {
      {FindingOutcome::headerSkipped, "header_skipped", "header line skipped", false},
      {FindingOutcome::leftOut, "left_out", "left out", false},
      {FindingOutcome::located, "located", "read from here", false},
      {FindingOutcome::lineDropped, "line_dropped", "line dropped", true},
      {FindingOutcome::readAsZero, "read_as_zero", "read as 0", true},
      {FindingOutcome::readAsAbsent, "read_as_absent", "read as absent", true},
      {FindingOutcome::truncated, "truncated", "fraction cut off", true},
      {FindingOutcome::repaired, "repaired", "read with U+FFFD in place of ill-formed bytes", true},
      {FindingOutcome::ignored, "ignored", "ignored", true},
      {FindingOutcome::elementDropped, "element_dropped", "element dropped", true},
      {FindingOutcome::listEmptied, "list_emptied", "read as an empty list", true},
      {FindingOutcome::defaultUsed, "default_used", "default used", true},
  };
  ASSERT_EQ(FindingOutcome::allCases().size(), table.size());
  for (std::size_t i = 0; i < table.size(); ++i) {
    const FindingOutcome outcome = table[i].outcome;
    EXPECT_EQ(outcome.index(), i);
    EXPECT_EQ(FindingOutcome::allCases()[i], outcome);
    EXPECT_EQ(outcome.rawValue(), table[i].rawValue);
    EXPECT_EQ(outcome.title(), table[i].title);
    EXPECT_EQ(outcome.isLoss(), table[i].isLoss) << outcome.rawValue();
    EXPECT_EQ(FindingOutcome::fromRawValue(table[i].rawValue), outcome);
  }
}

// --- collecting ---

TEST(Findings, areEmptyAtFirst) {
  const Findings findings;
  EXPECT_TRUE(findings.list().empty());
  EXPECT_TRUE(findings.hasRoom());
  EXPECT_EQ(findings.count(), 0U);
  EXPECT_EQ(findings.lossCount(), 0U);
  for (const FindingOutcome outcome : FindingOutcome::allCases()) {
    EXPECT_EQ(findings.count(outcome), 0U);
  }
}

TEST(Findings, keepTheirOrderAndTheirOutcomes) {
  Findings findings;
  findings.add(FindingOutcome::readAsZero, [] { return findingAt("b"); });
  findings.add(FindingOutcome::headerSkipped, [] { return findingAt("a"); });
  findings.add(FindingOutcome::readAsZero, [] { return findingAt("c"); });
  EXPECT_EQ(pathsOf(findings), (std::vector<std::string>{"b", "a", "c"}));
  EXPECT_EQ(findings.list()[0].outcome, FindingOutcome::readAsZero);
  EXPECT_EQ(findings.list()[1].outcome, FindingOutcome::headerSkipped);
  EXPECT_EQ(findings.count(), 3U);
  EXPECT_EQ(findings.count(FindingOutcome::readAsZero), 2U);
  EXPECT_EQ(findings.count(FindingOutcome::headerSkipped), 1U);
  EXPECT_EQ(findings.count(FindingOutcome::lineDropped), 0U);
  EXPECT_EQ(findings.lossCount(), 2U);
}

TEST(Findings, countEveryOutcomeApart) {
  Findings findings;
  std::size_t times = 1;
  for (const FindingOutcome outcome : FindingOutcome::allCases()) {
    for (std::size_t i = 0; i < times; ++i) findings.add(outcome, [] { return Finding{}; });
    ++times;
  }
  times = 1;
  for (const FindingOutcome outcome : FindingOutcome::allCases()) {
    EXPECT_EQ(findings.count(outcome), times++) << outcome.rawValue();
  }
  EXPECT_EQ(findings.count(), 78U);
  EXPECT_EQ(findings.lossCount(), 72U);
}

TEST(Findings, areOnlyCountedBeyondTheLimit) {
  for (const std::ptrdiff_t limit : {0, 1, 2, 3}) {
    Findings findings(static_cast<std::size_t>(limit));
    std::ptrdiff_t described = 0;
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(findings.hasRoom(), described < limit);
      findings.add(FindingOutcome::lineDropped, [&] {
        ++described;
        return findingAt(std::to_string(i));
      });
    }
    EXPECT_EQ(described, limit) << "what is not kept is not put together";
    EXPECT_EQ(findings.count(), 3U);
    EXPECT_EQ(findings.count(FindingOutcome::lineDropped), 3U);
    EXPECT_EQ(findings.lossCount(), 3U);
    const std::vector<std::string> all = {"0", "1", "2"};
    EXPECT_EQ(pathsOf(findings), std::vector<std::string>(all.begin(), all.begin() + limit));
  }
}

TEST(Findings, keepTenThousandUnlessToldOtherwise) {
  Findings findings;
  for (int i = 0; i < 10'001; ++i) {
    findings.add(FindingOutcome::ignored, [] { return Finding{}; });
  }
  EXPECT_EQ(findings.list().size(), 10'000U);
  EXPECT_EQ(findings.count(), 10'001U);
}

// --- JSON ---

TEST(Finding, followsTheConventions) {
  checkRecord(Finding{.line = 3,
                      .column = 17,
                      .path = "fanSpeedPercent",
                      .outcome = FindingOutcome::readAsAbsent,
                      .found = "[N/A]",
                      .reason = "not a number"},
              R"({"column":17,"found":"[N/A]","line":3,"outcome":"read_as_absent",)"
              R"("path":"fanSpeedPercent","reason":"not a number"})");
}

// --- excerpts ---

std::string repeated(std::string_view part, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += part;
  return text;
}

struct ExcerptRow {
  const char* name;
  std::string text;
  std::string excerpt;
};
void PrintTo(const ExcerptRow& row, std::ostream* out) {
  *out << testing::PrintToString(row.text.substr(0, 100));
}

class Excerpt : public testing::TestWithParam<ExcerptRow> {};

TEST_P(Excerpt, isWellFormedAndShort) {
  const ExactBytes text(GetParam().text);
  EXPECT_EQ(excerpt(text.view()), GetParam().excerpt);
}

constexpr std::string_view kEllipsis = "\xE2\x80\xA6";
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

INSTANTIATE_TEST_SUITE_P(
    Texts, Excerpt,
    rows<ExcerptRow>({
        {"empty", "", ""},
        {"short", "[N/A]", "[N/A]"},
        {"blanksAndLineFeeds", " a\n\tb ", " a\n\tb "},
        {"seventyNine", std::string(79, 'x'), std::string(79, 'x')},
        {"eighty", std::string(80, 'x'), std::string(80, 'x')},
        {"eightyOne", std::string(81, 'x'), std::string(79, 'x').append(kEllipsis)},
        {"long", std::string(1000, 'x'), std::string(79, 'x').append(kEllipsis)},
        {"eightyOfTwoBytes", repeated("\xC3\xA9", 80), repeated("\xC3\xA9", 80)},
        {"eightyOneOfTwoBytes",
         repeated("\xC3\xA9", 81),
         repeated("\xC3\xA9", 79).append(kEllipsis)},
        {"eightyOfFourBytes", repeated("\xF0\x9F\x98\x80", 80), repeated("\xF0\x9F\x98\x80", 80)},
        {"eightyOneOfFourBytes",
         repeated("\xF0\x9F\x98\x80", 81),
         repeated("\xF0\x9F\x98\x80", 79).append(kEllipsis)},
        {"theLastOneHasThreeBytes",
         std::string(79, 'x') + "\xE2\x82\xAC",
         std::string(79, 'x') + "\xE2\x82\xAC"},
        {"theOneTooManyHasThreeBytes",
         std::string(80, 'x') + "\xE2\x82\xAC",
         std::string(79, 'x').append(kEllipsis)},
        {"nul", std::string("a\0b", 3), std::string("a\0b", 3)},
        {"illFormed",
         "a\xFF"
         "b\xE2\x82",
         "a" + std::string(kReplacement) + "b" + std::string(kReplacement)},
        {"eightyIllFormed", repeated("\xFF", 80), repeated(kReplacement, 80)},
        {"eightyOneIllFormed", repeated("\xFF", 81), repeated(kReplacement, 79).append(kEllipsis)},
        {"illFormedPartsOfThreeBytes", repeated("\xF0\x9F\x98", 80), repeated(kReplacement, 80)},
        {"cutInsideNothing",
         std::string(79, 'x') + "\xF0\x9F\x98",
         std::string(79, 'x').append(kReplacement)},
    }),
    rowName);

TEST(Findings, tellsLossesAndPlacesButNotWhatIsLeftOut) {
  Findings findings;
  for (const FindingOutcome outcome : FindingOutcome::allCases()) {
    findings.add(outcome, [] { return Finding{}; });
  }
  std::vector<FindingOutcome> told;
  for (const Finding& finding : findings.told()) told.push_back(finding.outcome);
  std::vector<FindingOutcome> expected;
  for (const FindingOutcome outcome : FindingOutcome::allCases()) {
    if (outcome.isLoss() || outcome == FindingOutcome::located) expected.push_back(outcome);
  }
  EXPECT_EQ(told, expected);
  EXPECT_EQ(findings.toldCount(), expected.size());
  EXPECT_LT(expected.size(), FindingOutcome::allCases().size());
}

TEST(Excerpt, readsNoMoreThanItShows) {
  // Bytes that a sanitizer would see read: there are none behind the 81st character.
  const ExactBytes text(std::string(80, 'x') + "y");
  EXPECT_EQ(excerpt(std::string_view(text.view().data(), 81)).size(), 82U);

  const std::string huge(100'000'000, 'x');
  const std::string hugeAndIllFormed(100'000'000, '\xFF');
  // A hundred thousand times the whole of them would take hours.
  std::size_t length = 0;
  for (int i = 0; i < 100'000; ++i)
    length += excerpt(huge).size() + excerpt(hugeAndIllFormed).size();
  EXPECT_EQ(length, 100'000U * (79 + 3 + 79 * 3 + 3));
}

}  // namespace
}  // namespace tavrine
