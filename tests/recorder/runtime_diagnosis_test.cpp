#include <TavrineShared/recorder/runtime_diagnosis.h>

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/naive_runtime_diagnosis.h"
#include "tests/support/recorder_points.h"
#include "tests/support/rows.h"
#include "tests/support/vocabulary_checks.h"

namespace tavrine {
namespace {

// --- Phases ---

TEST(RuntimePhase, hasTheseCases) {
  expectTheTable<RuntimePhase>({
      {RuntimePhase::forward, "forward", "forward", ""},
      {RuntimePhase::backward, "backward", "backward", ""},
      {RuntimePhase::optimizer, "optimizer", "optimizer", ""},
      {RuntimePhase::collective, "collective", "collective", ""},
      {RuntimePhase::dataloader, "dataloader", "dataloader", ""},
      {RuntimePhase::idle, "idle", "idle", ""},
      {RuntimePhase::unknown, "unknown", "unknown", ""},
  });
}

struct PhaseRow {
  const char* name;
  std::vector<std::string> frames;
  RuntimePhase want;
};
void PrintTo(const PhaseRow& row, std::ostream* out) {
  for (const std::string& frame : row.frames) *out << frame << " | ";
}

class Classify : public testing::TestWithParam<PhaseRow> {};

TEST_P(Classify, goesByTheFirstKeywordOfTheList) {
  EXPECT_EQ(RuntimePhase::classify(stack(GetParam().frames)), GetParam().want);
  EXPECT_EQ(naive::phaseOf(stack(GetParam().frames)), GetParam().want);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Classify,
    rows<PhaseRow>({
        {"noFrames", {}, RuntimePhase::unknown},
        {"anEmptyFrame", {""}, RuntimePhase::unknown},
        {"aWaitOfAThreadPool", {"wait (threading.py:320)"}, RuntimePhase::unknown},
        {"torchDistributed",
         {"all_reduce (torch/distributed/c10d.py:1)"},
         RuntimePhase::collective},
        {"nccl", {"ncclGroupEnd"}, RuntimePhase::collective},
        {"ncclInCapitals", {"ProcessGroupNCCL"}, RuntimePhase::collective},
        {"allReduce", {"ring_AllReduce"}, RuntimePhase::collective},
        {"optimizer", {"step (torch/optim/optimizer.py:1)"}, RuntimePhase::optimizer},
        {"optimizerInsideAWord", {"MyZeroOptimizerWrapper"}, RuntimePhase::optimizer},
        {"adamw", {"adamw.py:step"}, RuntimePhase::optimizer},
        {"step", {"scaler.step:12"}, RuntimePhase::optimizer},
        {"engine", {"_engine_run_backward (graph.py)"}, RuntimePhase::backward},
        {"backward", {"loss.py:backward:9"}, RuntimePhase::backward},
        {"backwardWithoutColons", {"backward (loss.py:9)"}, RuntimePhase::unknown},
        {"forward", {"model.py:forward:210"}, RuntimePhase::forward},
        {"forwardImpl", {"_forward_impl (resnet.py)"}, RuntimePhase::forward},
        {"dataloader", {"__next__ (dataloader.py:630)"}, RuntimePhase::dataloader},
        {"dataloaderInMixedCase", {"_MultiProcessingDataLoaderIter"}, RuntimePhase::dataloader},
        {"sleep", {"time.sleep"}, RuntimePhase::idle},
        {"select", {"select.select"}, RuntimePhase::idle},
        {"collectiveOverBackward",
         {"loss.py:backward:9", "torch/distributed/x.py"},
         RuntimePhase::collective},
        {"collectiveOverForward",
         {"model.py:forward:1", "torch/distributed/x.py"},
         RuntimePhase::collective},
        {"optimizerOverBackwardAndForward",
         {"a:forward:1", "a:backward:1", "optimizer"},
         RuntimePhase::optimizer},
        {"backwardOverForward", {"a:forward:1", "a:backward:1"}, RuntimePhase::backward},
        {"forwardOverDataloader", {"dataloader", "a:forward:1"}, RuntimePhase::forward},
        {"dataloaderOverIdle", {"time.sleep", "dataloader"}, RuntimePhase::dataloader},
        {"noKeywordSpansFrames", {"time", ".sleep"}, RuntimePhase::unknown},
        {"aLineFeedInAFrame", {"nc\ncl"}, RuntimePhase::unknown},
        {"aKelvinSign", {"_engine_run_bac\u212Award"}, RuntimePhase::backward},
        {"aDottedCapitalI", {"opt\u0130mizer"}, RuntimePhase::unknown},
        {"illFormedBytes", {"\xFF\xFEnccl\xFF"}, RuntimePhase::collective},
    }),
    rowName);

TEST(Classify, ignoresTheThread) {
  EXPECT_EQ(RuntimePhase::classify({.thread = "nccl", .frames = {"x"}}), RuntimePhase::unknown);
}

// --- Labels ---

TEST(RuntimeDiagnosis, hasTheseLabels) {
  EXPECT_EQ(RuntimeDiagnosis::mixedWith(RuntimePhase::forward).label(),
            "Mixed workload \xC2\xB7 forward");
  EXPECT_EQ(RuntimeDiagnosis(RuntimeDiagnosis::computeBound).label(),
            "Compute bound \xC2\xB7 tensor cores saturated");
  EXPECT_EQ(RuntimeDiagnosis(RuntimeDiagnosis::memoryBound).label(), "Memory bound");
  EXPECT_EQ(RuntimeDiagnosis(RuntimeDiagnosis::communicationBound).label(),
            "Communication bound (NCCL)");
  EXPECT_EQ(RuntimeDiagnosis(RuntimeDiagnosis::dataloaderStall).label(),
            "Underutilized \xE2\x80\x94 likely DataLoader stall");
  EXPECT_EQ(RuntimeDiagnosis(RuntimeDiagnosis::unknown).label(), "Insufficient data");
}

TEST(RuntimeDiagnosis, isEqualByCaseAndPayload) {
  const auto forward = RuntimeDiagnosis::mixedWith(RuntimePhase::forward);
  const auto idle = RuntimeDiagnosis::mixedWith(RuntimePhase::idle);
  const std::hash<RuntimeDiagnosis> hash;
  EXPECT_EQ(forward, RuntimeDiagnosis::mixedWith(RuntimePhase::forward));
  EXPECT_EQ(hash(forward), hash(RuntimeDiagnosis::mixedWith(RuntimePhase::forward)));
  EXPECT_NE(forward, idle);
  EXPECT_NE(hash(forward), hash(idle));
  EXPECT_NE(forward, RuntimeDiagnosis(RuntimeDiagnosis::unknown));
  EXPECT_EQ(forward.payload(), "forward");
  EXPECT_EQ(forward, RuntimeDiagnosis(RuntimeDiagnosis::mixed, "forward"));
  EXPECT_EQ(RuntimeDiagnosis(RuntimeDiagnosis::memoryBound).payload(), "");
}

// --- The verdict ---

struct DiagnosisRow {
  const char* name;
  std::optional<RecorderLogPoint> latest;
  std::vector<RecorderLogPoint> recent;
  std::string_view label;
};
void PrintTo(const DiagnosisRow& row, std::ostream* out) { *out << row.label; }

class Derive : public testing::TestWithParam<DiagnosisRow> {};

TEST_P(Derive, tellsWhatLimits) {
  const DiagnosisRow& row = GetParam();
  EXPECT_EQ(RuntimeDiagnosis::derive(row.latest, row.recent).label(), row.label);
}

const std::string kForward = "Mixed workload \xC2\xB7 forward";
const std::string kIdle = "Mixed workload \xC2\xB7 idle";
const std::string kCollective = "Mixed workload \xC2\xB7 collective";
const std::string kComputeBound = "Compute bound \xC2\xB7 tensor cores saturated";
const std::string kStall = "Underutilized \xE2\x80\x94 likely DataLoader stall";
constexpr std::string_view kNoData = "Insufficient data";
constexpr std::string_view kCommunication = "Communication bound (NCCL)";

INSTANTIATE_TEST_SUITE_P(
    Rows, Derive,
    rows<DiagnosisRow>({
        {"nothing", {}, {}, kNoData},
        {"noLatestPoint", {}, {withStacks({{9, "nccl"}})}, kNoData},
        {"aLatestPointAlone", point(), {}, kNoData},
        {"tensorsJustSaturated", withCounters(0.51, 0), {withStacks({{9, "nccl"}})}, kComputeBound},
        {"tensorsNotQuiteSaturated", withCounters(0.5, 0.9), {}, kNoData},
        {"tensorsOfNoNumber", withCounters(kNaN, 0.9), {}, kNoData},
        {"memoryJustBusy", withCounters(0.2, 0.71), {}, "Memory bound"},
        {"memoryNotQuiteBusy", withCounters(0.2, 0.7), {}, kNoData},
        {"tensorsJustQuiet", withCounters(0.29, 0.9), {}, "Memory bound"},
        {"tensorsNotQuiteQuiet", withCounters(0.3, 0.9), {}, kNoData},
        {"memoryBeforeCommunication",
         withCounters(0.1, 0.9),
         {withStacks({{9, "nccl"}})},
         "Memory bound"},
        {"countersOfOtherPointsDoNotCount", point(95), {withCounters(0.9, 0.9)}, kNoData},
        {"sevenOfTenCollective",
         point(),
         {withStacks({{3, "NCCL"}, {3, "x"}}), withStacks({{4, "nccl"}})},
         kCommunication},
        {"sixOfTenCollective", point(), {withStacks({{6, "nccl"}, {4, "x"}})}, kCollective},
        {"collectiveBeforeStall",
         point(),
         {point(0), point(0), point(0, stacks({{1, "nccl"}}))},
         kCommunication},
        {"latestStacksDoNotCount", withStacks({{9, "nccl"}}), {}, kNoData},
        {"lastThreeLow", point(), {point(95), point(10), point(), point(25)}, kStall},
        {"lastOneNotLow", point(), {point(10), point(), point(30)}, kNoData},
        {"justLow", point(), {point(29.9), point(29.9), point(29.9)}, kStall},
        {"exactlyThirtyIsNotLow", point(), {point(30), point(30), point(30)}, kNoData},
        {"noNumberIsNotLow", point(), {point(kNaN), point(0), point(0)}, kNoData},
        {"twoPointsAreTooFew", point(), {point(0), point(0)}, kNoData},
        {"threePointsWithoutUtilisation", point(), {point(), point(), point()}, kStall},
        {"lowBeforeTheLastThree",
         point(),
         {point(0), point(0), point(95), point(0), point(0)},
         kNoData},
        {"stallBeforeHistogram",
         point(),
         {point(0), point(0), point(0, stacks({{9, "a:forward:1"}}))},
         kStall},
        {"mostlyForward", point(), {withStacks({{2, "a:forward:1"}, {1, "x"}})}, kForward},
        {"mostlyUnknown", point(), {withStacks({{1, "a:forward:1"}, {2, "x"}})}, kNoData},
        {"mostlyIdle", point(), {withStacks({{2, "time.sleep"}, {1, "a:forward:1"}})}, kIdle},
        {"aTieGoesToThePhaseDeclaredFirst",
         point(),
         {withStacks({{2, "time.sleep"}, {2, "a:forward:1"}, {2, "x"}})},
         kForward},
        {"anEmptyDumpIsNone", point(), {point(95, Stacks{})}, kNoData},
        {"lowPointsWithoutStacksBesideSome",
         point(),
         {withStacks({{1, "a:forward:1"}}), point(0), point(0)},
         kForward},
    }),
    rowName);

TEST(Derive, takesPointsInBracesAsWell) {
  EXPECT_EQ(RuntimeDiagnosis::derive(point(), {point(0), point(0), point(0)}),
            RuntimeDiagnosis::dataloaderStall);
  EXPECT_EQ(RuntimeDiagnosis::derive(point(), {}), RuntimeDiagnosis::unknown);
}

TEST(Derive, agreesWithTheNaiveTwin) {
  RandomSamples samples(4);
  std::map<std::string, int> met;
  for (int round = 0; round < 20'000; ++round) {
    const auto [latest, recent] = samples.next();
    const RuntimeDiagnosis diagnosis = RuntimeDiagnosis::derive(latest, recent);
    ASSERT_EQ(diagnosis, naive::diagnosisOf(latest, recent)) << "round " << round;
    ++met[diagnosis.label()];
  }
  EXPECT_EQ(met.size(), 11U) << "every verdict is met";
}

}  // namespace
}  // namespace tavrine
