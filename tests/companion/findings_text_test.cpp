#include "companion/views/findings_text.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace tavrine {
namespace {

Finding finding(std::optional<std::int64_t> line, std::optional<std::int64_t> column,
                const std::string& path, const std::string& found, const std::string& reason) {
  return {line, column, path, FindingOutcome::headerSkipped, found, reason};
}

void add(Findings& findings, FindingOutcome outcome, const Finding& what) {
  findings.add(outcome, [&what] { return what; });
}

TEST(FindingsText, saysWhenNothingWasLost) {
  EXPECT_EQ(findingsText(Findings()), "nothing was lost\n");
}

TEST(FindingsText, tellsPlaceAndValueAndReason) {
  Findings findings;
  add(findings,
      FindingOutcome::readAsZero,
      finding(2, 27, "utilizationPercent", "[N/A]", "not available"));
  EXPECT_EQ(findingsText(findings),
            "line 2, column 27, utilizationPercent: \"[N/A]\" read as 0: not available\n"
            "1 loss (read as 0: 1)\n");
}

TEST(FindingsText, leavesOutWhatIsNotKnown) {
  Findings findings;
  add(findings, FindingOutcome::lineDropped, finding(7, {}, "", "oops", "fewer than 8 columns"));
  add(findings, FindingOutcome::elementDropped, finding({}, {}, "gpus[3]", "", "it is null"));
  EXPECT_EQ(findingsText(findings),
            "line 7: \"oops\" line dropped: fewer than 8 columns\n"
            "gpus[3]: element dropped: it is null\n"
            "2 losses (line dropped: 1, element dropped: 1)\n");
}

TEST(FindingsText, quotesNoJSON) {
  Findings findings;
  add(findings, FindingOutcome::elementDropped, finding({}, {}, "runs[0]", "\"paused\"", "a"));
  add(findings, FindingOutcome::defaultUsed, finding({}, {}, "tier", "1.5", "b"));
  EXPECT_EQ(findingsText(findings),
            "runs[0]: \"paused\" element dropped: a\n"
            "tier: 1.5 default used: b\n"
            "2 losses (element dropped: 1, default used: 1)\n");
}

TEST(FindingsText, isSilentAboutWhatIsMeantToBePassedOver) {
  Findings findings;
  add(findings, FindingOutcome::headerSkipped, finding(1, {}, "", "index, name", "a header"));
  EXPECT_EQ(findingsText(findings), "nothing was lost\n");
}

TEST(FindingsText, saysWhenThereWereTooManyToTell) {
  Findings findings(2);
  add(findings, FindingOutcome::headerSkipped, finding(1, {}, "", "index", "a header"));
  for (int line = 2; line < 5; ++line) {
    add(findings, FindingOutcome::lineDropped, finding(line, {}, "", "x", "too short"));
  }
  EXPECT_EQ(findingsText(findings),
            "line 2: \"x\" line dropped: too short\n"
            "3 losses (line dropped: 3), 1 of them told above\n");
}

TEST(FindingsText, showsEscapesInsteadOfSendingThem) {
  Findings findings;
  add(findings, FindingOutcome::lineDropped, finding(1, {}, "\x1B", "\x1B[2J", "\u202E"));
  EXPECT_EQ(findingsText(findings),
            "line 1, \\x1b: \"\\x1b[2J\" line dropped: <U+202E>\n"
            "1 loss (line dropped: 1)\n");
}

}  // namespace
}  // namespace tavrine
