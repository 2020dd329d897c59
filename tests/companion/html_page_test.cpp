#include "companion/export/html_page.h"

#include <TavrineShared/demo/sample_data.h>

#include <gmock/gmock.h>

#include <string>

#include "tests/support/documents.h"

namespace tavrine {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(HTMLPage, hasEverySectionOfTheLab) {
  const std::string page = htmlPage(SampleData::snapshot(60));
  for (const char* const title : {"Alerts", "Servers", "Runs", "Processes", "Users"}) {
    EXPECT_THAT(page, HasSubstr("<h2>" + std::string(title) + "<small>"));
  }
  EXPECT_THAT(page, HasSubstr("class=\"curve throughput\""));
  EXPECT_THAT(page, HasSubstr("class=\"curve validation\""));
}

TEST(HTMLPage, isWhole) {
  const std::string page = htmlPage(SampleData::snapshot(60));
  EXPECT_TRUE(
      page.starts_with("<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"));
  EXPECT_TRUE(page.ends_with("</body></html>\n"));
  EXPECT_THAT(page, HasSubstr("content=\"default-src 'none'; style-src 'unsafe-inline'; "));
  EXPECT_THAT(page, Not(HasSubstr("<script")));
  EXPECT_THAT(page, Not(HasSubstr("http:")));
  EXPECT_THAT(page, Not(HasSubstr("https:")));
  EXPECT_THAT(page, Not(HasSubstr(" src=")));
  EXPECT_THAT(page, Not(HasSubstr("url(")));
}

TEST(HTMLPage, leavesOutTheMemoryOfGPUsThatNobodyKnows) {
  AppSnapshot snapshot = SampleData::snapshot(60);
  snapshot.runs.resize(1);
  snapshot.runs.front().vramUsedGB = 12;
  snapshot.runs.front().vramTotalGB = 0;
  EXPECT_THAT(htmlPage(snapshot), HasSubstr("<dt>GPU memory</dt><dd>12.0 GiB</dd>"));
}

TEST(HTMLPage, ofNothing) {
  AppSnapshot snapshot = AppSnapshot::empty();
  snapshot.timestamp = at(0);
  const std::string page = htmlPage(snapshot);
  EXPECT_THAT(page, HasSubstr("There is nothing in this snapshot."));
  EXPECT_THAT(page, Not(HasSubstr("<h2>")));
}

TEST(HTMLPage, saysHowMuchOfALongListItShows) {
  AppSnapshot snapshot = SampleData::snapshot(60);
  const ProcessStat process = snapshot.processes.front();
  snapshot.processes.assign(1000, process);
  const TavrineAlert alert = snapshot.alerts.front();
  snapshot.alerts.assign(1000, alert);
  const std::string page = htmlPage(snapshot);
  EXPECT_THAT(page, HasSubstr("<h2>Processes<small>20 of 1000</small>"));
  EXPECT_THAT(page, HasSubstr("<h2>Alerts<small>200 of 1000</small>"));
  EXPECT_LT(page.size(), 200'000U);
}

TEST(HTMLPage, cutsWhatIsTooLong) {
  AppSnapshot snapshot = SampleData::snapshot(60);
  snapshot.processes.front().command = std::string(1'000'000, 'x');
  snapshot.runs.front().logTail = std::string(1'000'000, '\n') + std::string(1'000'000, 'y');
  EXPECT_LT(htmlPage(snapshot).size(), 100'000U);
}

TEST(HTMLPage, showsTheEndOfTheLogLineByLine) {
  AppSnapshot snapshot = SampleData::snapshot(60);
  snapshot.runs.front().logTail = "first\r\n</pre><script>\nlast";
  EXPECT_THAT(htmlPage(snapshot),
              HasSubstr("<pre>first\n&lt;/pre&gt;&lt;script&gt;\nlast\n</pre>"));
}

}  // namespace
}  // namespace tavrine
