#include "companion/export/svg_chart.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace tavrine {
namespace {

using testing::HasSubstr;

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

}  // namespace
}  // namespace tavrine
