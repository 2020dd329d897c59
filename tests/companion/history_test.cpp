#include "companion/watch/history.h"

#include <TavrineShared/demo/sample_data.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::Optional;
using testing::SizeIs;

AppSnapshot at(double second, double utilization) {
  AppSnapshot snapshot =
      SampleData::detail::snapshot(60, Timestamp(std::chrono::duration<double>(second)));
  snapshot.servers.resize(1);
  snapshot.servers[0].name = "a";
  snapshot.servers[0].gpus.resize(1);
  snapshot.servers[0].gpus[0].utilizationPercent = utilization;
  return snapshot;
}

std::vector<std::optional<double>> utilizations(const History& history, std::size_t count) {
  return history.ofGPU("a", 0, Figure::utilization, count);
}

TEST(History, isEmptyAtFirst) {
  EXPECT_THAT(utilizations(History(), 10), SizeIs(0));
  EXPECT_THAT(History().ofLab(Figure::power, 10), SizeIs(0));
}

TEST(History, givesTheNewestValuesInTheOrderOfTheirTimes) {
  History history;
  for (int i = 0; i < 5; ++i) history.add(at(i, i * 10));
  EXPECT_THAT(utilizations(history, 3),
              ElementsAre(Optional(20.0), Optional(30.0), Optional(40.0)));
  EXPECT_THAT(utilizations(history, 99), SizeIs(5));
  EXPECT_THAT(history.ofLab(Figure::utilization, 1), ElementsAre(Optional(40.0)));
  EXPECT_THAT(history.ofGPU("a", 1, Figure::utilization, 2),
              ElementsAre(std::nullopt, std::nullopt));
  EXPECT_THAT(history.ofGPU("b", 0, Figure::utilization, 1), ElementsAre(std::nullopt));
}

TEST(History, sharesAreSharesOfWhatThereIs) {
  History history;
  AppSnapshot snapshot = at(1, 50);
  GPUStat& gpu = snapshot.servers[0].gpus[0];
  gpu.memoryUsedMB = 25;
  gpu.memoryTotalMB = 100;
  gpu.powerDrawW = 300;
  gpu.powerLimitW = 400;
  history.add(snapshot);
  EXPECT_THAT(history.ofGPU("a", 0, Figure::memory, 1), ElementsAre(Optional(0.25)));
  EXPECT_THAT(history.ofGPU("a", 0, Figure::power, 1), ElementsAre(Optional(0.75)));
  EXPECT_THAT(history.ofLab(Figure::memory, 1), ElementsAre(Optional(0.25)));
  EXPECT_THAT(history.ofLab(Figure::power, 1), ElementsAre(Optional(300.0)));
}

TEST(History, theSameSnapshotAgainAddsNothing) {
  History history;
  history.add(at(1, 10));
  history.add(at(1, 10));
  EXPECT_THAT(utilizations(history, 10), SizeIs(1));
}

TEST(History, aSnapshotWithoutAGPULeavesAGap) {
  History history;
  history.add(at(1, 10));
  AppSnapshot without = at(2, 0);
  without.servers.clear();
  history.add(without);
  history.add(at(3, 30));
  EXPECT_THAT(utilizations(history, 3), ElementsAre(Optional(10.0), std::nullopt, Optional(30.0)));
}

TEST(History, twoGPUsOfOneNameCountAsTheLast) {
  History history;
  AppSnapshot twice = at(1, 10);
  twice.servers.push_back(twice.servers[0]);
  twice.servers[1].gpus[0].utilizationPercent = 20;
  history.add(twice);
  EXPECT_THAT(utilizations(history, 9), ElementsAre(Optional(20.0)));
}

TEST(History, isNoLongerThanItsLength) {
  History history;
  for (std::size_t i = 0; i < History::kLength + 5; ++i) {
    history.add(at(static_cast<double>(i), static_cast<double>(i)));
  }
  const auto values = utilizations(history, 1000);
  ASSERT_THAT(values, SizeIs(History::kLength));
  EXPECT_THAT(values.front(), Optional(5.0));
  EXPECT_THAT(values.back(), Optional(static_cast<double>(History::kLength + 4)));
}

}  // namespace
}  // namespace tavrine
