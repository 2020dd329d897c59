#include <TavrineShared/recorder/runtime_diagnosis.h>

#include <TavrineShared/foundation/unicode_text.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/rows.h"
#include "tests/support/vocabulary_checks.h"

namespace tavrine {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

using Stacks = std::vector<StackFrame>;

StackFrame stack(std::vector<std::string> frames) {
  return {.thread = "MainThread", .frames = std::move(frames)};
}

RecorderLogPoint point(std::optional<double> gpuUtil = {}, std::optional<Stacks> pySpy = {},
                       std::optional<DCGMSample> dcgm = {}) {
  return {.t = {},
          .phase = "snapshot",
          .gpuUtil = gpuUtil,
          .vramMB = {},
          .powerW = {},
          .dcgm = std::move(dcgm),
          .pySpy = std::move(pySpy),
          .text = {},
          .cmdline = {}};
}

DCGMSample counters(double tensorActive, double dramActive) {
  return {.fp32Active = 0,
          .tensorActive = tensorActive,
          .dramActive = dramActive,
          .tflopsAchieved = {},
          .tflopsPeak = 1,
          .reason = {}};
}

/// So many stacks of each of the given frames.
Stacks stacks(const std::vector<std::pair<int, std::string>>& counts) {
  Stacks all;
  for (const auto& [count, frame] : counts)
    all.insert(all.end(), static_cast<std::size_t>(count), stack({frame}));
  return all;
}

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

/// The rule itself, as it was written down.
RuntimePhase naivePhase(const StackFrame& frame) {
  static const std::vector<std::pair<std::string, RuntimePhase>> kOrder = {
      {"torch/distributed", RuntimePhase::collective},
      {"nccl", RuntimePhase::collective},
      {"allreduce", RuntimePhase::collective},
      {"optimizer", RuntimePhase::optimizer},
      {"adamw.py:step", RuntimePhase::optimizer},
      {".step:", RuntimePhase::optimizer},
      {"_engine_run_backward", RuntimePhase::backward},
      {":backward:", RuntimePhase::backward},
      {":forward:", RuntimePhase::forward},
      {"_forward_impl", RuntimePhase::forward},
      {"dataloader", RuntimePhase::dataloader},
      {"_multiprocessingdataloaderiter", RuntimePhase::dataloader},
      {"time.sleep", RuntimePhase::idle},
      {"select.select", RuntimePhase::idle}};
  std::string joined;
  for (const std::string& text : frame.frames)
    joined.append(joined.empty() ? "" : "\n").append(text);
  const std::string lower = lowercased(joined);
  for (const auto& [keyword, phase] : kOrder) {
    if (lower.find(keyword) != std::string::npos) return phase;
  }
  return RuntimePhase::unknown;
}

struct PhaseRow {
  const char* name;
  std::vector<std::string> frames;
  RuntimePhase::Case want;
};
void PrintTo(const PhaseRow& row, std::ostream* out) {
  for (const std::string& frame : row.frames) *out << frame << " | ";
}

class Classify : public testing::TestWithParam<PhaseRow> {};

TEST_P(Classify, goesByTheFirstKeywordOfTheList) {
  EXPECT_EQ(RuntimePhase::classify(stack(GetParam().frames)), GetParam().want);
  EXPECT_EQ(naivePhase(stack(GetParam().frames)), GetParam().want);
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

RecorderLogPoint withStacks(const std::vector<std::pair<int, std::string>>& counts) {
  return point(95, stacks(counts));
}
RecorderLogPoint withCounters(double tensorActive, double dramActive) {
  return point(95, {}, counters(tensorActive, dramActive));
}

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

/// The tests one after the other, each as it was written down.
RuntimeDiagnosis naiveDerive(const std::optional<RecorderLogPoint>& latest,
                             const std::vector<RecorderLogPoint>& recent) {
  if (!latest) return RuntimeDiagnosis::unknown;
  if (latest->dcgm && latest->dcgm->tensorActive > 0.5) return RuntimeDiagnosis::computeBound;
  if (latest->dcgm && latest->dcgm->tensorActive < 0.3 && latest->dcgm->dramActive > 0.7) {
    return RuntimeDiagnosis::memoryBound;
  }
  Stacks flat;
  for (const RecorderLogPoint& each : recent) {
    if (each.pySpy) flat.insert(flat.end(), each.pySpy->begin(), each.pySpy->end());
  }
  const auto collective = std::count_if(flat.begin(), flat.end(), [](const StackFrame& frame) {
    return naivePhase(frame) == RuntimePhase::collective;
  });
  if (!flat.empty() && static_cast<double>(collective) / static_cast<double>(flat.size()) > 0.6) {
    return RuntimeDiagnosis::communicationBound;
  }
  int low = 0;
  for (std::size_t i = recent.size() < 3 ? 0 : recent.size() - 3; i < recent.size(); ++i) {
    if (!recent[i].gpuUtil || *recent[i].gpuUtil < 30.0) ++low;
  }
  if (low == 3) return RuntimeDiagnosis::dataloaderStall;
  std::map<RuntimePhase::Case, int> histogram;
  for (const StackFrame& frame : flat) ++histogram[naivePhase(frame)];
  if (histogram.empty()) return RuntimeDiagnosis::unknown;
  auto picked = histogram.begin();
  for (auto entry = histogram.begin(); entry != histogram.end(); ++entry) {
    if (entry->second > picked->second) picked = entry;
  }
  if (picked->first == RuntimePhase::unknown) return RuntimeDiagnosis::unknown;
  return RuntimeDiagnosis::mixedWith(picked->first);
}

TEST(Derive, agreesWithTheNaiveTwin) {
  std::mt19937 random(4);
  const auto among = [&random](const auto& values) { return values[random() % values.size()]; };
  const std::vector<std::string> frames = {"nccl",
                                           "torch/distributed",
                                           "a:forward:1",
                                           "a:backward:1",
                                           "Optimizer",
                                           "DataLoader",
                                           "time.sleep",
                                           "x",
                                           ""};
  const std::vector<double> shares = {0, 0.2, 0.29, 0.3, 0.31, 0.5, 0.51, 0.7, 0.71, 1, kNaN};
  const std::vector<double> percents = {0, 29.9, 30, 30.1, 95, kNaN};
  const auto anyPoint = [&] {
    RecorderLogPoint made = point();
    if (random() % 3 != 0) made.gpuUtil = among(percents);
    if (random() % 3 == 0) made.dcgm = counters(among(shares), among(shares));
    if (random() % 2 == 0) {
      Stacks dump;
      for (std::size_t i = random() % 4; i > 0; --i)
        dump.push_back(stack({among(frames), among(frames)}));
      made.pySpy = dump;
    }
    return made;
  };
  std::map<std::string, int> met;
  for (int round = 0; round < 20'000; ++round) {
    std::optional<RecorderLogPoint> latest;
    if (random() % 10 != 0) latest = anyPoint();
    std::vector<RecorderLogPoint> recent;
    for (std::size_t i = random() % 6; i > 0; --i) recent.push_back(anyPoint());
    const RuntimeDiagnosis diagnosis = RuntimeDiagnosis::derive(latest, recent);
    ASSERT_EQ(diagnosis, naiveDerive(latest, recent)) << "round " << round;
    ++met[diagnosis.label()];
  }
  EXPECT_EQ(met.size(), 11U) << "every verdict is met";
}

}  // namespace
}  // namespace tavrine
