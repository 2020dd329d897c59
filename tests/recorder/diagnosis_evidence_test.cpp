#include <TavrineShared/recorder/diagnosis_evidence.h>

#include <TavrineShared/model/json_conventions.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/recorder_points.h"
#include "tests/support/rows.h"
#include "tests/support/vocabulary_checks.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

RecorderLogPoint at(double seconds, RecorderLogPoint point = tavrine::point(95)) {
  point.t = Timestamp(std::chrono::duration<double>(seconds));
  return point;
}

RecorderLogPoint ofPhase(std::string phase, RecorderLogPoint point) {
  point.phase = std::move(phase);
  return point;
}

std::string shown(const std::optional<double>& value) { return value ? encode(*value) : "-"; }

/// The steps as lines of text, such as "memory no: tensor_active 0.2 < 0.3 yes, ...".
std::vector<std::string> stepLines(const DiagnosisEvidence& evidence) {
  std::vector<std::string> lines;
  for (const DiagnosisStep& step : evidence.steps) {
    std::string line(step.test.rawValue());
    line.append(step.decides ? " yes:" : " no:");
    for (const DiagnosisComparison& one : step.comparisons) {
      line.append(" ").append(one.quantity).append(" ").append(shown(one.value));
      line.append(" ").append(one.relation.title()).append(" ");
      line.append(encode(one.threshold)).append(one.holds ? " yes" : " no");
    }
    lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> doubtsOf(const DiagnosisEvidence& evidence) {
  std::vector<std::string> kinds;
  for (const DiagnosisDoubt& doubt : evidence.doubts) kinds.emplace_back(doubt.kind.rawValue());
  return kinds;
}

// --- Vocabularies ---

TEST(DiagnosisTest, hasTheseCases) {
  expectTheTable<DiagnosisTest>({
      {DiagnosisTest::noSample, "noSample", "no_sample", "no sample at all"},
      {DiagnosisTest::tensorCores, "tensorCores", "tensor_cores", "tensor cores saturated"},
      {DiagnosisTest::memory, "memory", "memory", "memory bound"},
      {DiagnosisTest::collectives, "collectives", "collectives", "mostly in collectives"},
      {DiagnosisTest::dataloader, "dataloader", "dataloader", "GPU starved of work"},
      {DiagnosisTest::phases, "phases", "phases", "most frequent phase"},
  });
}

TEST(ComparisonRelation, hasTheseCases) {
  expectTheTable<ComparisonRelation>({
      {ComparisonRelation::above, "above", "above", ">"},
      {ComparisonRelation::below, "below", "below", "<"},
      {ComparisonRelation::atLeast, "atLeast", "at_least", ">="},
  });
}

TEST(DiagnosisDoubtKind, hasTheseCases) {
  expectTheTable<DiagnosisDoubtKind>({
      {DiagnosisDoubtKind::blankCounter, "blankCounter", "blank_counter", ""},
      {DiagnosisDoubtKind::percentCounter, "percentCounter", "percent_counter", ""},
      {DiagnosisDoubtKind::impossibleCounter, "impossibleCounter", "impossible_counter", ""},
      {DiagnosisDoubtKind::newestSampleOld, "newestSampleOld", "newest_sample_old", ""},
      {DiagnosisDoubtKind::utilizationAbsent, "utilizationAbsent", "utilization_absent", ""},
      {DiagnosisDoubtKind::tooFewPoints, "tooFewPoints", "too_few_points", ""},
      {DiagnosisDoubtKind::noStacks, "noStacks", "no_stacks", ""},
      {DiagnosisDoubtKind::launcherFrame, "launcherFrame", "launcher_frame", ""},
  });
}

// --- Steps ---

TEST(DiagnosisEvidence, stopsAtOnceWithoutASample) {
  const auto evidence = DiagnosisEvidence::of(std::nullopt, {});
  EXPECT_EQ(evidence.verdict, RuntimeDiagnosis(RuntimeDiagnosis::unknown));
  EXPECT_EQ(evidence.decidedBy(), DiagnosisTest::noSample);
  EXPECT_THAT(stepLines(evidence), ElementsAre("no_sample yes: samples 0 < 1 yes"));
  EXPECT_EQ(evidence.points, 0);
  EXPECT_EQ(evidence.earliest, std::nullopt);
  EXPECT_EQ(evidence.newest, std::nullopt);
  EXPECT_EQ(evidence.stacks, 0);
  EXPECT_EQ(evidence.collectiveShare, std::nullopt);
  EXPECT_THAT(doubtsOf(evidence), IsEmpty());
}

TEST(DiagnosisEvidence, stopsAtTheTestThatDecides) {
  const auto evidence = DiagnosisEvidence::of(withCounters(0.2, 0.71), {});
  EXPECT_THAT(stepLines(evidence),
              ElementsAre("no_sample no: samples 1 < 1 no",
                          "tensor_cores no: tensor_active 0.2 > 0.5 no",
                          "memory yes: tensor_active 0.2 < 0.3 yes dram_active 0.71 > 0.7 yes"));
}

TEST(DiagnosisEvidence, hasEveryTestOnTheWayToTheLast) {
  const std::vector<RecorderLogPoint> recent = {
      point(10),
      point(),
      point(30, stacks({{3, "a:forward:1"}, {1, "nccl"}}))};
  const auto evidence = DiagnosisEvidence::of(point(), recent);
  EXPECT_THAT(stepLines(evidence),
              ElementsAre("no_sample no: samples 1 < 1 no",
                          "tensor_cores no: tensor_active - > 0.5 no",
                          "memory no: tensor_active - < 0.3 no dram_active - > 0.7 no",
                          "collectives no: collective_share 0.25 > 0.6 no",
                          "dataloader no: points 3 >= 3 yes gpu_util 10 < 30 yes gpu_util - < 30 "
                          "yes gpu_util 30 < 30 no",
                          "phases yes: stacks 4 >= 1 yes"));
  EXPECT_EQ(evidence.verdict.label(), "Mixed workload \xC2\xB7 forward");
}

TEST(DiagnosisEvidence, looksAtTheThreeNewestOfManyPoints) {
  const std::vector<RecorderLogPoint> recent = {point(95), point(1), point(2), point(3)};
  EXPECT_EQ(stepLines(DiagnosisEvidence::of(point(), recent)).back(),
            "dataloader yes: points 3 >= 3 yes gpu_util 1 < 30 yes gpu_util 2 < 30 yes gpu_util 3 "
            "< 30 yes");
}

TEST(DiagnosisEvidence, countsStacksByPhase) {
  const std::vector<RecorderLogPoint> recent = {at(20, withStacks({{1, "x"}, {4, "nccl"}})),
                                                at(5, withStacks({{3, "time.sleep"}})),
                                                at(11, point(95, Stacks{}))};
  const auto evidence = DiagnosisEvidence::of(point(), recent);
  EXPECT_THAT(evidence.phases,
              ElementsAre(PhaseCount{RuntimePhase::forward, 0},
                          PhaseCount{RuntimePhase::backward, 0},
                          PhaseCount{RuntimePhase::optimizer, 0},
                          PhaseCount{RuntimePhase::collective, 4},
                          PhaseCount{RuntimePhase::dataloader, 0},
                          PhaseCount{RuntimePhase::idle, 3},
                          PhaseCount{RuntimePhase::unknown, 1}));
  EXPECT_EQ(evidence.stacks, 8);
  EXPECT_EQ(evidence.collectiveShare, 0.5);
  EXPECT_EQ(evidence.points, 3);
  EXPECT_EQ(evidence.earliest, at(5).t);
  EXPECT_EQ(evidence.newest, at(20).t);
}

TEST(DiagnosisEvidence, neverJudgesDifferently) {
  RandomSamples samples(5);
  std::map<DiagnosisTest::Case, int> deciders;
  for (int round = 0; round < 20'000; ++round) {
    const auto [latest, recent] = samples.next();
    const auto evidence = DiagnosisEvidence::of(latest, recent);
    ASSERT_EQ(evidence.verdict, RuntimeDiagnosis::derive(latest, recent)) << "round " << round;
    ASSERT_TRUE(evidence.steps.back().decides);
    for (std::size_t i = 0; i + 1 < evidence.steps.size(); ++i) {
      ASSERT_FALSE(evidence.steps[i].decides);
      const auto& comparisons = evidence.steps[i].comparisons;
      ASSERT_FALSE(std::all_of(comparisons.begin(), comparisons.end(), [](const auto& one) {
        return one.holds;
      })) << "a test that holds decides";
    }
    ++deciders[evidence.decidedBy()];
  }
  EXPECT_EQ(deciders.size(), DiagnosisTest::kEntries.size()) << "every test decides at times";
}

TEST(DiagnosisEvidence, hasPartsWithAJSONForm) {
  const std::vector<RecorderLogPoint> recent = {point(), withStacks({{1, "nccl"}, {1, "x"}})};
  const auto evidence = DiagnosisEvidence::of(point(), recent);
  EXPECT_EQ(decode<std::vector<DiagnosisStep>>(encode(evidence.steps)), evidence.steps);
  EXPECT_EQ(decode<std::vector<PhaseCount>>(encode(evidence.phases)), evidence.phases);
  EXPECT_EQ(decode<std::vector<DiagnosisDoubt>>(encode(evidence.doubts)), evidence.doubts);
  EXPECT_EQ(encode(evidence.steps.at(1)),
            R"({"comparisons":[{"holds":false,"quantity":"tensor_active","relation":"above",)"
            R"("threshold":0.5}],"decides":false,"test":"tensor_cores"})");
}

// --- Doubts ---

struct DoubtRow {
  const char* name;
  std::optional<RecorderLogPoint> latest;
  std::vector<RecorderLogPoint> recent;
  std::vector<std::string> want;
};
void PrintTo(const DoubtRow& row, std::ostream* out) { *out << row.name; }

class Doubts : public testing::TestWithParam<DoubtRow> {};

TEST_P(Doubts, areThese) {
  EXPECT_EQ(doubtsOf(DiagnosisEvidence::of(GetParam().latest, GetParam().recent)), GetParam().want);
}

const std::vector<RecorderLogPoint> kBusy = {
    at(10, withStacks({{1, "a:forward:1"}})), at(20), at(30)};
const Stacks kLauncherOnly = {stack({"a:main:1", "torch/distributed/elastic/x.py:wrapper:345"})};
const Stacks kLauncherInCapitals = {stack({"a:main:1", "Torch/Distributed/run.py:main:9"})};
const Stacks kLauncherAndReally = {stack({"nccl", "torch/distributed/run.py:main:9"})};

INSTANTIATE_TEST_SUITE_P(
    Rows, Doubts,
    rows<DoubtRow>({
        {"none", at(30, withCounters(0.4, 0.4)), kBusy, {}},
        {"noLatestPoint", {}, kBusy, {}},
        {"countersAtTheBoundsOfAFraction", at(30, withCounters(0, 1)), kBusy, {}},
        {"aPercentage", at(30, withCounters(0.4, 1.1)), kBusy, {"percent_counter"}},
        {"hundredPercent", at(30, withCounters(100, 0)), kBusy, {"percent_counter"}},
        {"moreThanHundredPercent", at(30, withCounters(100.5, 0)), kBusy, {"impossible_counter"}},
        {"negative", at(30, withCounters(-0.1, 0)), kBusy, {"impossible_counter"}},
        {"notANumber", at(30, withCounters(kNaN, 0)), kBusy, {"impossible_counter"}},
        {"blankOfADouble", at(30, withCounters(140737488355328, 0)), kBusy, {"blank_counter"}},
        {"blankOfAnInteger", at(30, withCounters(0, 2147483632)), kBusy, {"blank_counter"}},
        {"blankOfALongInteger",
         at(30, withCounters(0, 9223372036854775794.0)),
         kBusy,
         {"blank_counter"}},
        {"justBelowABlank", at(30, withCounters(0, 2147483631)), kBusy, {"impossible_counter"}},
        {"twoCounters",
         at(30, withCounters(140737488355328, 55)),
         kBusy,
         {"blank_counter", "percent_counter"}},
        {"countersOfRecentPointsDoNotCount",
         at(30),
         {at(10, withStacks({{1, "a:forward:1"}})), at(20, withCounters(99, 99)), at(30)},
         {}},
        {"aNewerSample", at(20), kBusy, {"newest_sample_old"}},
        {"aNewerLineOfAnotherPhase",
         at(20),
         {at(10, withStacks({{1, "a:forward:1"}})), at(20), ofPhase("step", at(29))},
         {}},
        {"samplesThatCeased",
         at(20),
         {at(10, withStacks({{1, "a:forward:1"}})),
          at(20),
          ofPhase("step", at(29)),
          ofPhase("step", at(35))},
         {"newest_sample_old"}},
        {"aSampleFromBeforeThem",
         at(5),
         {ofPhase("step", at(60, withStacks({{1, "a:forward:1"}}))),
          ofPhase("step", at(61)),
          ofPhase("step", at(62))},
         {"newest_sample_old"}},
        {"aSampleFromBehindThem", at(99), kBusy, {}},
        {"noUtilisation",
         at(30, point()),
         {at(10, point({}, stacks({{1, "a:forward:1"}}))), at(20, point()), at(30, point())},
         {"utilization_absent"}},
        {"someUtilisation",
         at(30, point()),
         {at(10, point({}, stacks({{1, "a:forward:1"}}))), at(20, point(0)), at(30, point())},
         {}},
        {"twoPoints",
         at(30),
         {at(20, withStacks({{1, "a:forward:1"}})), at(30)},
         {"too_few_points"}},
        {"noPoints", at(30), {}, {"too_few_points", "no_stacks"}},
        {"twoPointsThatWereNotNeeded", at(30, withCounters(0.6, 0)), {at(20), at(30)}, {}},
        {"twoPointsOfCollectives", at(30), {at(20, withStacks({{1, "nccl"}})), at(30)}, {}},
        {"noStacks", at(30), {at(10), at(20), at(30)}, {"no_stacks"}},
        {"emptyDumps", at(30), {at(10), at(20), at(30, point(95, Stacks{}))}, {"no_stacks"}},
        {"theLauncherAlone",
         at(30),
         {at(10), at(20), at(30, point(95, kLauncherOnly))},
         {"launcher_frame"}},
        {"theLauncherInCapitals",
         at(30),
         {at(10), at(20), at(30, point(95, kLauncherInCapitals))},
         {"launcher_frame"}},
        {"collectiveBesideTheLauncher",
         at(30),
         {at(10), at(20), at(30, point(95, kLauncherAndReally))},
         {}},
    }),
    rowName);

TEST(Doubts, sayWhatWasSeen) {
  Stacks mixed = kLauncherOnly;
  mixed.push_back(stack({"nccl"}));
  const std::vector<RecorderLogPoint> recent = {at(12, point({}, mixed))};
  std::vector<std::string> details;
  for (const auto& doubt :
       DiagnosisEvidence::of(at(1.5, withCounters(0.1, 140737488355328)), recent).doubts) {
    details.push_back(doubt.detail);
  }
  EXPECT_THAT(
      details,
      ElementsAre("dram_active is 140737488355328, which is how DCGM says that it has no value",
                  "the newest sample is 10.5 s older than the newest line",
                  "none of the 1 points has a GPU utilisation, and an unmeasured one counts as low",
                  "1 of 2 stacks count as collective only for a frame of the launcher at their "
                  "outer end; without it the share would be 0.5"));
}

// --- One stack ---

struct StackRow {
  const char* name;
  std::vector<std::string> frames;
  PhaseEvidence want;
};
void PrintTo(const StackRow& row, std::ostream* out) { *out << row.name; }

class PhaseEvidenceOf : public testing::TestWithParam<StackRow> {};

TEST_P(PhaseEvidenceOf, namesKeywordAndFrame) {
  EXPECT_EQ(PhaseEvidence::of(stack(GetParam().frames)), GetParam().want);
  EXPECT_EQ(PhaseEvidence::of(stack(GetParam().frames)).phase,
            RuntimePhase::classify(stack(GetParam().frames)));
}

constexpr auto kUnknown = RuntimePhase::unknown;
constexpr auto kCollective = RuntimePhase::collective;

INSTANTIATE_TEST_SUITE_P(Rows, PhaseEvidenceOf,
                         rows<StackRow>({
                             {"noFrames", {}, {kUnknown, "", {}, kUnknown}},
                             {"noKeyword", {"a", "b"}, {kUnknown, "", {}, kUnknown}},
                             {"theFirstFrameThatHasTheKeyword",
                              {"a", "x:forward:1", "y:forward:2"},
                              {RuntimePhase::forward, ":forward:", 1, RuntimePhase::forward}},
                             {"aBetterKeywordFurtherOut",
                              {"x:forward:1", "DataLoader", "MyOptimizer"},
                              {RuntimePhase::optimizer, "optimizer", 2, RuntimePhase::optimizer}},
                             {"twoKeywordsInOneFrame",
                              {"nccl of torch/distributed"},
                              {kCollective, "torch/distributed", 0, kCollective}},
                             {"theLauncherAlone",
                              {"DataLoader", "Torch/Distributed/Elastic"},
                              {kCollective, "torch/distributed", 1, RuntimePhase::dataloader}},
                             {"theLauncherAndNothingElse",
                              {"torch/distributed/run.py:main:9"},
                              {kCollective, "torch/distributed", 0, kUnknown}},
                             {"theLauncherBesideACollective",
                              {"ncclAllReduce", "torch/distributed/run.py:main:9"},
                              {kCollective, "torch/distributed", 1, kCollective}},
                         }),
                         rowName);

}  // namespace
}  // namespace tavrine
