#include <TavrineShared/model/training_run.h>

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "tests/support/documents.h"
#include "tests/support/record_checks.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using TextMap = std::map<std::string, std::string>;

TrainingMetric exampleMetric() {
  return {.step = 1200,
          .timestamp = at(1794764905),
          .loss = 0.375,
          .throughput = 512.5,
          .flopsTFLOPs = 148.25,
          .gpuUtilization = 97.5};
}

CheckpointSummary exampleCheckpoint() {
  return {.id = *UUID::fromText("6BA7B810-9DAD-11D1-80B4-00C04FD430C8"),
          .name = "step-1200.pt",
          .timestamp = at(1794764905),
          .sizeGB = 2.5,
          .isBest = true};
}

TrainingRun example() {
  return {.id = *UUID::fromText("0F8FAD5B-D9CB-469F-A165-70867728950E"),
          .name = "resnet-50",
          .serverName = "gpu-01",
          .framework = "pytorch",
          .status = RunStatus::running,
          .health = RunHealth::memoryRisk,
          .startedAt = at(1700000000),
          .etaSeconds = 3600.5,
          .currentLoss = 0.375,
          .throughput = 512.5,
          .flopsTFLOPs = 148.25,
          .gpuUtilization = 97.5,
          .vramUsedGB = 38.5,
          .vramTotalGB = 80,
          .powerDrawW = 301.25,
          .logTail = "step 1199\nstep 1200",
          .metrics = {exampleMetric()},
          .checkpoints = {exampleCheckpoint()},
          .hyperparameters = {{"batch", "32"}, {"lr", "3e-4"}},
          .datasetName = "imagenet",
          .modelName = "resnet",
          .checkpointPath = "/data/ckpt",
          .valMetrics = {exampleMetric()},
          .dcgmTFLOPsAchieved = 140.5,
          .dcgmTFLOPsPeak = 312,
          .dcgmTensorActive = 0.75,
          .dcgmFP32Active = 0.125,
          .dcgmDRAMActive = 0.5,
          .recorderLogPath = "/var/log/a.jsonl",
          .adoptedFromPath = "/tmp/a.jsonl",
          .lastStackSample = StackFrame{"MainThread", {"train.py:12"}},
          .lastRecorderPointAt = at(1794764900),
          .recorderPoints = {
              decode<RecorderLogPoint>(R"({"t":1700000000,"gpu_util":97.5,"phase":"step"})")}};
}

TEST(TrainingMetric, followsTheConventions) {
  checkRecord(exampleMetric(),
              R"({"flopsTFLOPs":148.25,"gpuUtilization":97.5,"loss":0.375,"step":1200,)"
              R"("throughput":512.5,"timestamp":"2026-11-15T17:48:25Z"})");
}

TEST(CheckpointSummary, followsTheConventions) {
  checkRecord(exampleCheckpoint(),
              R"({"id":"6BA7B810-9DAD-11D1-80B4-00C04FD430C8","isBest":true,)"
              R"("name":"step-1200.pt","sizeGB":2.5,"timestamp":"2026-11-15T17:48:25Z"})");
}

TEST(TrainingRun, followsTheConventions) {
  checkRecord(example(),
              R"({"adoptedFromPath":"/tmp/a.jsonl","checkpointPath":"/data/ckpt","checkpoints":[)" +
                  encode(exampleCheckpoint()) +
                  R"(],"currentLoss":0.375,"datasetName":"imagenet","dcgmDRAMActive":0.5,)"
                  R"("dcgmFP32Active":0.125,"dcgmTFLOPsAchieved":140.5,"dcgmTFLOPsPeak":312,)"
                  R"("dcgmTensorActive":0.75,"etaSeconds":3600.5,"flopsTFLOPs":148.25,)"
                  R"("framework":"pytorch","gpuUtilization":97.5,"health":"memory_risk",)"
                  R"("hyperparameters":{"batch":"32","lr":"3e-4"},)"
                  R"("id":"0F8FAD5B-D9CB-469F-A165-70867728950E",)"
                  R"("lastRecorderPointAt":"2026-11-15T17:48:20Z",)"
                  R"("lastStackSample":{"frames":["train.py:12"],"thread":"MainThread"},)"
                  R"("logTail":"step 1199\nstep 1200","metrics":[)" +
                  encode(exampleMetric()) +
                  R"(],"modelName":"resnet","name":"resnet-50","powerDrawW":301.25,)"
                  R"("recorderLogPath":"/var/log/a.jsonl","recorderPoints":)"
                  R"([{"gpu_util":97.5,"phase":"step","t":"2023-11-14T22:13:20Z"}],)"
                  R"("serverName":"gpu-01","startedAt":"2023-11-14T22:13:20Z","status":"running",)"
                  R"("throughput":512.5,"valMetrics":[)" +
                  encode(exampleMetric()) + R"(],"vramTotalGB":80,"vramUsedGB":38.5})",
              {{"metrics", dropsBadElements()},
               {"checkpoints", dropsBadElements()},
               {"hyperparameters", defaultsTo("{}")},
               {"valMetrics", dropsBadElements()},
               {"recorderPoints", dropsBadElements()}});
}

TEST(TrainingRun, needsNoListsAndNoHyperparameters) {
  std::string document = encode(example());
  for (const std::string_view key :
       {"metrics", "checkpoints", "valMetrics", "recorderPoints", "hyperparameters"}) {
    document = withoutMember(document, key);
  }
  TrainingRun want = example();
  want.metrics = {};
  want.checkpoints = {};
  want.valMetrics = {};
  want.recorderPoints = {};
  want.hyperparameters = {};
  EXPECT_EQ(decode<TrainingRun>(document), want);
  for (const std::string_view member : {R"("metrics":[])",
                                        R"("checkpoints":[])",
                                        R"("valMetrics":[])",
                                        R"("recorderPoints":[])",
                                        R"("hyperparameters":{})"}) {
    EXPECT_NE(encode(want).find(member), std::string::npos) << "always written: " << member;
  }
}

TEST(TrainingRun, needsAThroughputButNoEstimates) {
  const std::string document =
      withoutMember(withoutMember(encode(example()), "etaSeconds"), "currentLoss");
  const TrainingRun run = decode<TrainingRun>(document);
  EXPECT_EQ(run.etaSeconds, std::nullopt);
  EXPECT_EQ(run.currentLoss, std::nullopt);
  EXPECT_EQ(encode(run), document);
  EXPECT_EQ(placeOfFailure<TrainingRun>(withoutMember(document, "throughput")), "throughput");
  EXPECT_EQ(placeOfFailure<TrainingRun>(withoutMember(document, "logTail")), "logTail");
}

TEST(TrainingRun, failsWithAStatusOrHealthThatIsNone) {
  for (const std::string_view text : {"paused", "Running", "warmingUp", ""}) {
    for (const std::string_view key : {"status", "health"}) {
      EXPECT_EQ(placeOfFailure<TrainingRun>(withMember(encode(example()), key, jsonText(text))),
                key)
          << text;
    }
  }
  // Each has words that the other does not know.
  EXPECT_EQ(placeOfFailure<TrainingRun>(withMember(encode(example()), "status", R"("healthy")")),
            "status");
  EXPECT_EQ(placeOfFailure<TrainingRun>(withMember(encode(example()), "health", R"("queued")")),
            "health");
}

// --- hyperparameters ---

struct MapRow {
  const char* name;
  std::string_view json;
  std::optional<TextMap> map;
  std::string_view place = "nowhere";
};
void PrintTo(const MapRow& row, std::ostream* out) { *out << row.json; }

class Hyperparameters : public testing::TestWithParam<MapRow> {};

TEST_P(Hyperparameters, areTextsOrMissing) {
  const std::string document = withMember(encode(example()), "hyperparameters", GetParam().json);
  EXPECT_EQ(placeOfFailure<TrainingRun>(document), GetParam().place);
  if (!GetParam().map) return;
  TrainingRun want = example();
  want.hyperparameters = *GetParam().map;
  EXPECT_EQ(decode<TrainingRun>(document), want);
}

INSTANTIATE_TEST_SUITE_P(
    Values, Hyperparameters,
    rows<MapRow>({
        {"texts", R"({"lr":"1e-3","":""})", TextMap{{"lr", "1e-3"}, {"", ""}}},
        {"empty", "{}", TextMap{}},
        {"null", "null", TextMap{}},
        {"number", R"({"lr":0.001})", {}, "hyperparameters.lr"},
        {"numberAmongTexts", R"({"a":"1","b":2,"c":"3"})", {}, "hyperparameters.b"},
        {"memberIsNull", R"({"lr":null})", {}, "hyperparameters.lr"},
        {"memberIsAnObject", R"({"lr":{}})", {}, "hyperparameters.lr"},
        {"list", R"([["lr","1"]])", {}, "hyperparameters"},
        {"text", R"("lr=1")", {}, "hyperparameters"},
        {"boolean", "false", {}, "hyperparameters"},
    }),
    rowName);

// --- what a bad element costs ---

struct LossRow {
  const char* name;
  std::string_view list;
  std::string good;
  std::string bad;
};
void PrintTo(const LossRow& row, std::ostream* out) { *out << row.list << ": " << row.bad; }

class BadElementOfARun : public testing::TestWithParam<LossRow> {};

TEST_P(BadElementOfARun, isDroppedAlone) {
  const auto& [name, list, good, bad] = GetParam();
  const std::string document = encode(example());
  EXPECT_EQ(decode<TrainingRun>(withMember(document, list, "[" + bad + "," + good + "]")),
            decode<TrainingRun>(withMember(document, list, "[" + good + "]")));
}

std::string metric() { return encode(exampleMetric()); }
std::string checkpoint() { return encode(exampleCheckpoint()); }
constexpr const char* kPoint = R"({"t":5})";

INSTANTIATE_TEST_SUITE_P(
    Lists, BadElementOfARun,
    rows<LossRow>({
        {"metricWithoutLoss", "metrics", metric(), withoutMember(metric(), "loss")},
        {"metricWithATextForAStep", "metrics", metric(), withMember(metric(), "step", R"("1")")},
        {"validationWithoutLoss", "valMetrics", metric(), withoutMember(metric(), "loss")},
        {"checkpointThatMayBeBest",
         "checkpoints",
         checkpoint(),
         withoutMember(checkpoint(), "isBest")},
        {"checkpointWithABadID",
         "checkpoints",
         checkpoint(),
         withMember(checkpoint(), "id", R"("x")")},
        {"pointWithoutTime", "recorderPoints", kPoint, "{}"},
        {"pointWithABadCounter", "recorderPoints", kPoint, R"({"t":5,"dcgm":{}})"},
        {"pointWithABadStack", "recorderPoints", kPoint, R"({"t":5,"py_spy":[{}]})"},
    }),
    rowName);

TEST(CheckpointSummary, mustSayWhetherItIsTheBest) {
  EXPECT_EQ(placeOfFailure<CheckpointSummary>(withoutMember(checkpoint(), "isBest")), "isBest");
}

TEST(TrainingRun, failsWithABadStackSample) {
  EXPECT_EQ(placeOfFailure<TrainingRun>(
                withMember(encode(example()), "lastStackSample", R"({"thread":"a"})")),
            "lastStackSample.frames");
}

// --- times ---

// The recorder's own records take numbers of seconds; a run does not, whatever it says of them.
TEST(TrainingRun, takesNoNumberForATime) {
  for (const std::string_view key : {"startedAt", "lastRecorderPointAt"}) {
    for (const std::string_view number : {"1700000000", "1700000000.25", "0"}) {
      EXPECT_EQ(placeOfFailure<TrainingRun>(withMember(encode(example()), key, number)), key);
    }
  }
}

TEST(TrainingRun, keepsFractionsOfASecondInItsRecorderPoints) {
  const TrainingRun run = decode<TrainingRun>(
      withMember(encode(example()), "recorderPoints", R"([{"t":1700000000.25}])"));
  ASSERT_EQ(run.recorderPoints.size(), 1U);
  EXPECT_EQ(run.recorderPoints[0].t, at(1700000000.25));
}

TEST(TrainingRun, isIdentifiedByItsID) {
  TrainingRun other = example();
  other.recorderPoints[0].gpuUtil = 1;
  EXPECT_EQ(other.id, example().id);
  EXPECT_NE(other, example());
  EXPECT_EQ((std::unordered_set<TrainingRun>{example(), other, example()}).size(), 2U);
}

}  // namespace
}  // namespace tavrine
