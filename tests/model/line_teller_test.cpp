#include <TavrineShared/model/line_teller.h>

#include <TavrineShared/model/process.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>

#include "tests/support/told.h"

namespace tavrine {
namespace {

using testing::ElementsAre;

TEST(LineTeller, tellsOfTheLineAndOfItsParts) {
  Findings findings;
  const std::string_view text = "\xC3\xA9\xFF b";
  const LineTeller line(text, 7, &findings);
  line.tellLine(FindingOutcome::lineDropped, "why");
  line.tellField(FindingOutcome::readAsZero, "field", "why not");
  line.tell(FindingOutcome::ignored, text.substr(4), "", "because");
  EXPECT_THAT(toldLines(findings),
              ElementsAre("7:0 line_dropped \"\xC3\xA9\xEF\xBF\xBD b\" why",
                          "7:0 field read_as_zero \"\xC3\xA9\xEF\xBF\xBD b\" why not",
                          "7:4 ignored \"b\" because"));
}

TEST(LineTeller, givesTextsAndTellsOfThoseItRepairs) {
  Findings findings;
  const std::string_view text = "a \xFF";
  const LineTeller line(text, 1, &findings);
  EXPECT_EQ(line.text(text.substr(0, 1), "first"), "a");
  EXPECT_EQ(line.text(text.substr(2), "second"), "\xEF\xBF\xBD");
  EXPECT_THAT(toldLines(findings),
              ElementsAre("1:3 second repaired \"\xEF\xBF\xBD\" ill-formed UTF-8"));
}

TEST(LineTeller, tellsNobodyWhereNobodyAsks) {
  const LineTeller line("\xFF", 1, nullptr);
  line.tellLine(FindingOutcome::lineDropped, "why");
  line.tellField(FindingOutcome::readAsZero, "field", "why");
  line.tell(FindingOutcome::ignored, line.line(), "", "why");
  EXPECT_EQ(line.text(line.line(), "field"), "\xEF\xBF\xBD");
}

TEST(FieldName, isThatOfTheMember) {
  EXPECT_EQ(kFieldName<&ProcessStat::residentMemoryKB>, "residentMemoryKB");
}

}  // namespace
}  // namespace tavrine
