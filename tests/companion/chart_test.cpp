#include "companion/views/chart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct BarRow {
  const char* name;
  double share;
  std::string_view blocks;
  std::string_view ascii;
};
void PrintTo(const BarRow& row, std::ostream* out) { *out << row.share; }

class Bar : public testing::TestWithParam<BarRow> {};

TEST_P(Bar, isAsLongAsItsShare) {
  EXPECT_EQ(bar(GetParam().share, 4, Glyphs::blocks), GetParam().blocks);
  EXPECT_EQ(bar(GetParam().share, 4, Glyphs::ascii), GetParam().ascii);
}

INSTANTIATE_TEST_SUITE_P(Shares, Bar,
                         rows<BarRow>({
                             {"none", 0, "", ""},
                             {"hardlyAny", 1e-9, "\u258F", "#"},
                             {"anEighthOfAColumn", 1.0 / 32, "\u258F", "#"},
                             {"aQuarter", 0.25, "\u2588", "#"},
                             {"aThird", 0.34, "\u2588\u258D", "#"},
                             {"half", 0.5, "\u2588\u2588", "##"},
                             {"all", 1, "\u2588\u2588\u2588\u2588", "####"},
                             {"more", 7, "\u2588\u2588\u2588\u2588", "####"},
                             {"endless", kInfinity, "\u2588\u2588\u2588\u2588", "####"},
                             {"negative", -1, "", ""},
                             {"noNumber", kNaN, "", ""},
                         }),
                         rowName);

TEST(Bar, ofNoWidthIsNothing) { EXPECT_EQ(bar(1, 0, Glyphs::ascii), ""); }

TEST(MeansOverTime, areOfEqualSpans) {
  const std::vector<TimedValue> values = {{0, 1}, {1, 3}, {4, 5}, {8, 7}, {10, 9}};
  EXPECT_THAT(meansOverTime(values, 5), ElementsAre(2, std::nullopt, 5, std::nullopt, 8));
}

TEST(MeansOverTime, areNoneWithoutValues) {
  EXPECT_THAT(meansOverTime({}, 2), ElementsAre(std::nullopt, std::nullopt));
  EXPECT_THAT(meansOverTime(std::vector<TimedValue>{{0, 1}}, 0), IsEmpty());
}

TEST(MeansOverTime, ofOneMomentStandFirst) {
  EXPECT_THAT(meansOverTime(std::vector<TimedValue>{{5, 1}, {5, 3}}, 2),
              ElementsAre(2, std::nullopt));
}

TEST(MeansOverTime, stayFiniteAtTheEndsOfTheRange) {
  const double most = std::numeric_limits<double>::max();
  EXPECT_THAT(
      meansOverTime(std::vector<TimedValue>{{-most, most}, {-most, most}, {most, -most}}, 2),
      ElementsAre(most, -most));
}

TEST(Chart, drawsColumnsOverAnAxis) {
  const std::vector<std::optional<double>> columns = {0, 25, 50, std::nullopt, 75, 100, 200, -9};
  EXPECT_EQ(chart(columns, {.rows = 2, .unit = "%"}),
            "100% |    .##\n"
            "  0% |..# ###.\n");
  EXPECT_EQ(chart(columns, {.glyphs = Glyphs::blocks, .rows = 2, .highest = 80}),
            "80 |  \u2582 \u2587\u2588\u2588\n"
            " 0 |\u2581\u2585\u2588 \u2588\u2588\u2588\u2581\n");
}

TEST(Sparkline, isACharacterPerValue) {
  const std::vector<std::optional<double>> values = {0, 50, std::nullopt, 100, 200, -5};
  EXPECT_EQ(sparkline(values, 0, 100, Glyphs::blocks), "\u2581\u2584 \u2588\u2588\u2581");
  EXPECT_EQ(sparkline(values, 0, 100, Glyphs::ascii), "_- ##_");
  EXPECT_EQ(sparkline({}, 0, 100, Glyphs::ascii), "");
}

TEST(Sparkline, isFlatWhereThereIsNoHeight) {
  const std::vector<std::optional<double>> values = {7, 7};
  EXPECT_EQ(sparkline(values, 7, 7, Glyphs::ascii), "__");
}

}  // namespace
}  // namespace tavrine
