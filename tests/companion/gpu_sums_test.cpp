#include "companion/views/gpu_sums.h"

#include <gtest/gtest.h>

#include <vector>

namespace tavrine {
namespace {

std::vector<GPUStat> gpusDrawing(double first, double second) {
  std::vector<GPUStat> gpus(2);
  gpus[0].powerDrawW = first;
  gpus[1].powerDrawW = second;
  return gpus;
}

TEST(SumOver, isOfTheFigureNamed) {
  EXPECT_EQ(sumOver(gpusDrawing(100, 50), &GPUStat::powerDrawW), 150);
  EXPECT_EQ(sumOver(gpusDrawing(100, 50), &GPUStat::powerLimitW), 0);
  EXPECT_EQ(sumOver({}, &GPUStat::powerDrawW), 0);
}

TEST(MeanOver, isOfTheFigureNamed) {
  EXPECT_EQ(meanOver(gpusDrawing(100, 50), &GPUStat::powerDrawW), 75);
  EXPECT_EQ(meanOver(gpusDrawing(100, 50), &GPUStat::powerLimitW), 0);
  EXPECT_EQ(meanOver({}, &GPUStat::powerDrawW), std::nullopt);
}

}  // namespace
}  // namespace tavrine
