#include "companion/export/html_page.h"

#include "companion/export/html_text.h"
#include "companion/export/svg_chart.h"

#include <TavrineShared/demo/sample_data.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/documents.h"

namespace tavrine {
namespace {

using testing::HasSubstr;
using testing::Not;
using namespace std::string_view_literals;

TEST(HTMLText, escapesAndShowsWhatWouldObey) {
  EXPECT_EQ(markup("<b>\"a\" & 'c'</b>").html,
            "&lt;b&gt;&quot;a&quot; &amp; &#39;c&#39;&lt;/b&gt;");
  EXPECT_EQ(markup("a\x1B[0m\nb\0c"sv).html, "a\\x1b[0m\\x0ab\\x00c");
  EXPECT_EQ(markup("a\u202Eb\xFF").html, "a&lt;U+202E&gt;b\\xff");
  EXPECT_EQ(markup("\u663E\u5361").html, "\u663E\u5361");
}

TEST(HTMLText, cutsBetweenCharacters) {
  EXPECT_EQ(markup("abc", 3).html, "abc");
  EXPECT_EQ(markup("abcd", 3).html, "abc\u2026");
  EXPECT_EQ(markup("\u663E\u5361\u663E", 2).html, "\u663E\u5361\u2026");
  EXPECT_EQ(markup("&&&", 2).html, "&amp;&amp;\u2026");
}

TEST(HTMLText, elements) {
  EXPECT_EQ(element("p", "a<b").html, "<p>a&lt;b</p>");
  EXPECT_EQ(element("p", element("b", "a"), "class=\"c\"").html, "<p class=\"c\"><b>a</b></p>");
  EXPECT_EQ(element("p", "", attribute("title", "a\"b")).html, "<p title=\"a&quot;b\"></p>");
  EXPECT_EQ(attribute("d", std::string(1000, 'x')).size(), 1005U);
}

TEST(HTMLText, times) {
  EXPECT_EQ(timeMarkup(at(0), "long ago").html,
            "<time datetime=\"1970-01-01T00:00:00Z\" title=\"1970-01-01 00:00:00 UTC\">"
            "long ago</time>");
  EXPECT_EQ(timeMarkup(at(1e300), "later").html, "-");
}

std::string drawn(std::vector<ChartPoint> points) {
  const std::array curves{ChartCurve{"loss", std::move(points)}};
  return curveChart(markup("Loss"), "Loss", "step", curves).html;
}

TEST(CurveChart, goesFromEdgeToEdge) {
  const std::string html = drawn({{10, 1}, {20, 3}, {30, 2}});
  EXPECT_THAT(html, HasSubstr("class=\"curve loss\" d=\"M0 96L150 4L300 50\""));
  EXPECT_THAT(html, HasSubstr("aria-label=\"Loss between 1 and 3, step 10 to step 30\""));
}

TEST(CurveChart, putsPointsInOrder) {
  EXPECT_EQ(drawn({{30, 2}, {10, 1}, {20, 3}}), drawn({{10, 1}, {20, 3}, {30, 2}}));
}

TEST(CurveChart, drawsOnePointAsALevel) {
  EXPECT_THAT(drawn({{10, 1}}), HasSubstr("d=\"M0 50H300\""));
}

TEST(CurveChart, isNotThereWithoutPoints) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(drawn({}), "");
  EXPECT_EQ(drawn({{1, kNone}, {kNone, 1}, {HUGE_VAL, 1}, {1, -HUGE_VAL}}), "");
}

TEST(CurveChart, drawsTheLargestNumbersThereAre) {
  constexpr double kMost = std::numeric_limits<double>::max();
  EXPECT_THAT(drawn({{-kMost, -kMost}, {0, 0}, {kMost, kMost}}),
              HasSubstr("d=\"M0 96L150 50L300 4\""));
}

TEST(CurveChart, drawsMeansOfManyPoints) {
  std::vector<ChartPoint> points;
  for (int i = 0; i < 100'000; ++i)
    points.push_back({static_cast<double>(i), i % 2 == 0 ? 0.0 : 2.0});
  const std::string html = drawn(points);
  EXPECT_LT(html.size(), 6000U);
  EXPECT_THAT(html, HasSubstr("step 0 to step 99999\""));
}

TEST(ShareBar, isFilledToItsShare) {
  const auto fill = [](double share) {
    const std::string html = shareBar(share, "teal").html;
    const std::size_t start = html.find("class=\"fill\" width=\"") + 20;
    return html.substr(start, html.find('"', start) - start);
  };
  EXPECT_EQ(fill(0), "0");
  EXPECT_EQ(fill(0.125), "12.5");
  EXPECT_EQ(fill(1), "100");
  EXPECT_EQ(fill(7), "100");
  EXPECT_EQ(fill(-1), "0");
  EXPECT_EQ(fill(std::numeric_limits<double>::quiet_NaN()), "0");
}

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
