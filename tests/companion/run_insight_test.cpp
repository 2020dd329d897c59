#include "companion/watch/run_insight.h"

#include <TavrineShared/demo/sample_data.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::Optional;

AppSnapshot lab() {
  return SampleData::detail::snapshot(60, Timestamp(std::chrono::duration<double>(1e9)));
}

void setUtilization(AppSnapshot& snapshot, double first, double others) {
  for (ServerSummary& server : snapshot.servers) {
    for (GPUStat& gpu : server.gpus) gpu.utilizationPercent = others;
    server.gpus.front().utilizationPercent = first;
  }
}

TEST(DashboardState, goesByTheBusiestGPUOfTheServer) {
  AppSnapshot snapshot = lab();
  setUtilization(snapshot, 50, 0);
  EXPECT_EQ(dashboardState(snapshot.runs[0], snapshot), DashboardRunState::alive);
  setUtilization(snapshot, 20, 0);
  EXPECT_EQ(dashboardState(snapshot.runs[0], snapshot), DashboardRunState::warmingUp);
}

TEST(DashboardState, goesByTheRunItselfWhereItsServerIsUnknown) {
  AppSnapshot snapshot = lab();
  snapshot.servers.clear();
  snapshot.processes.clear();
  EXPECT_EQ(dashboardState(snapshot.runs[0], snapshot), DashboardRunState::alive);
  snapshot.runs[0].gpuUtilization = 0;
  EXPECT_EQ(dashboardState(snapshot.runs[0], snapshot), DashboardRunState::idle);
}

TEST(DashboardState, goesByTheNewestStep) {
  AppSnapshot snapshot = lab();
  setUtilization(snapshot, 0, 0);
  EXPECT_EQ(dashboardState(snapshot.runs[0], snapshot), DashboardRunState::warmingUp);
  for (TrainingMetric& metric : snapshot.runs[0].metrics) metric.timestamp -= std::chrono::hours(1);
  EXPECT_EQ(dashboardState(snapshot.runs[0], snapshot), DashboardRunState::stalled);
  snapshot.runs[0].metrics.clear();
  EXPECT_EQ(dashboardState(snapshot.runs[0], snapshot), DashboardRunState::stalled);
}

TEST(DiagnosisOf, isThatOfTheRecentPointsWhateverTheirOrder) {
  TrainingRun run = lab().runs[0];
  const auto diagnosis = diagnosisOf(run);
  ASSERT_TRUE(diagnosis);
  std::reverse(run.recorderPoints.begin(), run.recorderPoints.end());
  EXPECT_EQ(diagnosisOf(run), diagnosis);
  RecorderLogPoint old = run.recorderPoints.front();
  old.t -= std::chrono::hours(10);
  old.gpuUtil = 0;
  run.recorderPoints.insert(run.recorderPoints.begin(), 9, old);
  run.recorderPoints.resize(10, old);
  EXPECT_TRUE(diagnosisOf(run));
}

TEST(DiagnosisOf, isAbsentWithoutPoints) {
  TrainingRun run = lab().runs[0];
  run.recorderPoints.clear();
  run.lastStackSample.reset();
  EXPECT_EQ(diagnosisOf(run), std::nullopt);
  EXPECT_EQ(phaseOf(run), std::nullopt);
}

TEST(PhaseOf, isThatOfTheLastStack) {
  EXPECT_THAT(phaseOf(lab().runs[0]), Optional(RuntimePhase::backward));
}

TEST(StepValues, areTheNewestWithoutWhatIsNoNumber) {
  std::vector<TrainingMetric> steps(3, lab().runs[0].metrics.front());
  steps[0].loss = 1;
  steps[1].loss = std::numeric_limits<double>::quiet_NaN();
  steps[2].loss = 3;
  EXPECT_THAT(stepValues(steps, &TrainingMetric::loss, 2),
              ElementsAre(std::nullopt, Optional(3.0)));
  EXPECT_THAT(stepValues(steps, &TrainingMetric::loss, 9).size(), 3U);
  EXPECT_EQ(rangeOf(stepValues(steps, &TrainingMetric::loss, 9)).lowest, 1);
  EXPECT_EQ(rangeOf(stepValues(steps, &TrainingMetric::loss, 9)).highest, 3);
  EXPECT_EQ(rangeOf({}).highest, 1);
}

}  // namespace
}  // namespace tavrine
