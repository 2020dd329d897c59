#include "companion/assemble/run_state.h"

#include <gmock/gmock.h>

#include <TavrineShared/model/json_conventions.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/captures.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kLossLog = "step 100 loss: 2.5 12.5 it/s\n";
constexpr const char* kTrainer = "train.py";
constexpr const char* kEditor = "editor notes.txt";

std::string sample(double secondsAgo, const std::string& members) {
  const auto time = static_cast<std::int64_t>(kCaptureTime.time_since_epoch().count() - secondsAgo);
  return "{\"t\":" + std::to_string(time) + (members.empty() ? "" : ",") + members + "}\n";
}

// What a run's status follows from.
struct Situation {
  std::optional<std::string> log = kLossLog;
  std::optional<double> logAge = 10;
  std::optional<std::string> recorder = {};
  const char* process = kTrainer;
  double utilization = 90;
  double temperature = 60;
  double memoryUsedMB = 500;
};

Capture captureOf(const Situation& situation) {
  Capture capture = healthyCapture();
  capture.texts["gpus.csv"] =
      gpuRow(0, 1, 0, 30) +
      gpuRow(1, situation.utilization, situation.memoryUsedMB, situation.temperature);
  capture.texts["processes.txt"] = std::string(kProcessHeading) + processRow(7, situation.process);
  capture.texts["gpu_processes.csv"] = "7, python, 512 MiB, a\n";
  capture.info.runs.push_back({.name = "llama",
                               .logPath = "/s/llama.log",
                               .logAgeSeconds = situation.logAge,
                               .recorderPath = "/s/llama.jsonl"});
  if (situation.log) capture.texts["runs/llama/train.log"] = *situation.log;
  if (situation.recorder) capture.texts["runs/llama/recorder.jsonl"] = *situation.recorder;
  return capture;
}

std::vector<TrainingRun> readAll(const Capture& capture, const AppSnapshot* previous = nullptr) {
  FindingsBook book;
  const ServerState server = readServer(capture, book);
  return readRuns(capture, server, previous, book);
}

TrainingRun readOne(const Situation& situation, const AppSnapshot* previous = nullptr) {
  const std::vector<TrainingRun> runs = readAll(captureOf(situation), previous);
  EXPECT_EQ(runs.size(), 1U);
  return runs.empty() ? TrainingRun{} : runs.front();
}

// --- Status and health ---

struct StatusRow {
  const char* name;
  Situation situation;
  RunStatus status;
  RunHealth health;
};
void PrintTo(const StatusRow& row, std::ostream* out) { *out << row.name; }

class Status : public testing::TestWithParam<StatusRow> {};

TEST_P(Status, followsFromLogsAndServer) {
  const TrainingRun run = readOne(GetParam().situation);
  EXPECT_EQ(run.status, GetParam().status) << run.status.rawValue();
  EXPECT_EQ(run.health, GetParam().health) << run.health.rawValue();
}

INSTANTIATE_TEST_SUITE_P(
    Situations, Status,
    rows<StatusRow>({
        {"running", {}, RunStatus::running, RunHealth::healthy},
        {"noLossYet", {.log = "loading\n"}, RunStatus::warmingUp, RunHealth::warmingUp},
        {"quietGPUAndALivelyLog", {.utilization = 5}, RunStatus::running, RunHealth::healthy},
        {"logAtTheLimitOfSilence",
         {.logAge = 180, .utilization = 9.9},
         RunStatus::running,
         RunHealth::healthy},
        {"silentLogAndAQuietGPU",
         {.logAge = 181, .utilization = 9.9},
         RunStatus::stalled,
         RunHealth::stalled},
        {"silentLogAndABusierGPU",
         {.logAge = 181, .utilization = 10},
         RunStatus::running,
         RunHealth::healthy},
        {"ageUnknownAndAQuietGPU",
         {.logAge = {}, .utilization = 9.9},
         RunStatus::stalled,
         RunHealth::stalled},
        {"ageUnknownAndABusyGPU", {.logAge = {}}, RunStatus::running, RunHealth::healthy},
        {"logOfAnHour", {.logAge = 3600}, RunStatus::running, RunHealth::healthy},
        {"logOfMoreThanAnHour", {.logAge = 3601}, RunStatus::completed, RunHealth::unknown},
        {"clockOfTheFuture", {.logAge = -50}, RunStatus::running, RunHealth::healthy},
        {"nothingTrains",
         {.process = kEditor, .utilization = 39.9},
         RunStatus::completed,
         RunHealth::unknown},
        {"nothingTrainsThatIsKnown",
         {.process = kEditor, .utilization = 40},
         RunStatus::running,
         RunHealth::healthy},
        {"emptyLogAndNothingTrains",
         {.log = "", .process = kEditor, .utilization = 0},
         RunStatus::idle,
         RunHealth::unknown},
        {"emptyLogOfMoreThanAnHour",
         {.log = "", .logAge = 3601},
         RunStatus::idle,
         RunHealth::unknown},
        {"failed",
         {.log = "loss: 1\nTraceback (most recent call last):\n"},
         RunStatus::failed,
         RunHealth::failed},
        {"failedLongAgo",
         {.log = "CUDA out of memory", .logAge = 99999, .process = kEditor},
         RunStatus::failed,
         RunHealth::failed},
        {"stalledByItsLog", {.log = "loss: nan\n"}, RunStatus::stalled, RunHealth::stalled},
        {"stalledLongAgo",
         {.log = "loss: nan\n", .logAge = 3601},
         RunStatus::completed,
         RunHealth::unknown},
        {"justNotHot", {.temperature = 84.9}, RunStatus::running, RunHealth::healthy},
        {"hot", {.temperature = 85}, RunStatus::running, RunHealth::overheating},
        {"justNotFull", {.memoryUsedMB = 969}, RunStatus::running, RunHealth::healthy},
        {"full", {.memoryUsedMB = 970}, RunStatus::running, RunHealth::memoryRisk},
        {"hotAndFull",
         {.temperature = 85, .memoryUsedMB = 970},
         RunStatus::running,
         RunHealth::overheating},
        {"hotButStalled",
         {.logAge = 181, .utilization = 0, .temperature = 85},
         RunStatus::stalled,
         RunHealth::stalled},
        {"hotButOver",
         {.process = kEditor, .utilization = 0, .temperature = 85},
         RunStatus::completed,
         RunHealth::unknown},
        {"hotAndWarmingUp",
         {.log = "loading\n", .temperature = 85},
         RunStatus::warmingUp,
         RunHealth::overheating},
        {"onlyARecorder",
         {.log = {}, .logAge = {}, .recorder = sample(10, R"("gpu_util":90)"), .process = kEditor},
         RunStatus::running,
         RunHealth::healthy},
        {"recorderWithAQuietGPU",
         {.log = {}, .logAge = {}, .recorder = sample(10, R"("gpu_util":5)")},
         RunStatus::running,
         RunHealth::healthy},
        {"recorderThatFellSilentWithAQuietGPU",
         {.log = {}, .logAge = {}, .recorder = sample(200, R"("gpu_util":5)")},
         RunStatus::stalled,
         RunHealth::stalled},
        {"freshestSampleThatIsOldEnoughToCount",
         {.recorder = sample(300, R"("gpu_util":90)"), .process = kEditor, .utilization = 0},
         RunStatus::running,
         RunHealth::healthy},
        {"sampleThatIsTooOldToCount",
         {.recorder = sample(301, R"("gpu_util":90)"), .process = kEditor, .utilization = 0},
         RunStatus::completed,
         RunHealth::unknown},
        {"oldLogAndAFreshSample",
         {.logAge = 4000, .recorder = sample(10, R"("gpu_util":90)"), .process = kEditor},
         RunStatus::running,
         RunHealth::healthy},
        {"recorderOfMoreThanAnHour",
         {.log = {}, .logAge = {}, .recorder = sample(3700, R"("gpu_util":90)")},
         RunStatus::idle,
         RunHealth::unknown},
    }),
    rowName);

// --- Figures ---

TEST(RunFigures, areTheRecordersWhereThereIsOne) {
  const TrainingRun run = readOne(
      {.recorder = sample(20, R"("gpu_util":1,"vram_mb":1,"power_w":1)") +
                   sample(10,
                          R"("gpu_util":77,"vram_mb":2048,"power_w":300,"dcgm":{"fp32_active":0.1,)"
                          R"("tensor_active":0.6,"dram_active":0.4,"tflops_achieved":400,)"
                          R"("tflops_peak":989})") +
                   sample(5,
                          R"x("phase":"stack","py_spy":[{"thread":"Main","frames":["f (a.py)"]}],)x"
                          R"x("cmdline":"deepspeed train.py")x")});
  EXPECT_EQ(run.gpuUtilization, 77);
  EXPECT_EQ(run.vramUsedGB, 2);
  EXPECT_EQ(run.powerDrawW, 300);
  EXPECT_EQ(run.flopsTFLOPs, 400);
  EXPECT_EQ(run.dcgmTFLOPsPeak, 989);
  EXPECT_EQ(run.dcgmTensorActive, 0.6);
  EXPECT_EQ(run.lastStackSample->frames, std::vector<std::string>{"f (a.py)"});
  EXPECT_EQ(run.lastRecorderPointAt, kCaptureTime - std::chrono::seconds(5));
  EXPECT_EQ(run.recorderPoints.size(), 3U);
  EXPECT_EQ(run.recorderLogPath, "/s/llama.jsonl");
  EXPECT_EQ(run.framework, "PyTorch + DeepSpeed");
  EXPECT_EQ(run.startedAt, kCaptureTime - std::chrono::seconds(20));
}

TEST(RunFigures, areTheServersWithoutARecorder) {
  const TrainingRun run = readOne({});
  EXPECT_EQ(run.gpuUtilization, 45.5);
  EXPECT_EQ(run.vramUsedGB, 0.5);
  EXPECT_NEAR(run.vramTotalGB, 2000.0 / 1024, 1e-12);
  EXPECT_EQ(run.powerDrawW, 200);
  EXPECT_EQ(run.currentLoss, 2.5);
  EXPECT_EQ(run.throughput, 12.5);
  EXPECT_EQ(run.startedAt, kCaptureTime);
  EXPECT_EQ(run.framework, "unknown");
}

TEST(RunFigures, areNoneOfTheServersOnceItIsOver) {
  const TrainingRun run = readOne({.logAge = 3601});
  EXPECT_EQ(run.gpuUtilization, 0);
  EXPECT_EQ(run.vramUsedGB, 0);
  EXPECT_EQ(run.powerDrawW, 0);
}

TEST(RunFigures, keepSixtyPointsOfARecorder) {
  std::string log;
  for (int i = 0; i < 100; ++i) log += sample(100 - i, R"("gpu_util":)" + std::to_string(i));
  const TrainingRun run = readOne({.recorder = log});
  ASSERT_EQ(run.recorderPoints.size(), 60U);
  EXPECT_EQ(run.recorderPoints.front().gpuUtil, 40);
  EXPECT_EQ(run.recorderPoints.back().gpuUtil, 99);
  EXPECT_EQ(run.startedAt, kCaptureTime - std::chrono::seconds(100));
}

TEST(RunFigures, doWithoutPointsThatHaveNoJSONForm) {
  const TrainingRun run =
      readOne({.recorder = "{\"t\":1e300,\"gpu_util\":1}\n" + sample(10, R"("gpu_util":50)")});
  EXPECT_EQ(run.recorderPoints.size(), 1U);
  EXPECT_NO_THROW(encode(run));
}

struct TailRow {
  const char* name;
  std::string log;
  std::string tail;
};
void PrintTo(const TailRow& row, std::ostream* out) { *out << row.name; }

class LogTail : public testing::TestWithParam<TailRow> {};

TEST_P(LogTail, isWhatFitsOnAScreen) {
  EXPECT_EQ(readOne({.log = GetParam().log}).logTail, GetParam().tail);
}

std::string numberedLines(int from, int to) {
  std::string lines;
  for (int i = from; i <= to; ++i) lines += (i == from ? "" : "\n") + std::to_string(i);
  return lines;
}

INSTANTIATE_TEST_SUITE_P(
    Logs, LogTail,
    rows<TailRow>({
        {"empty", "", ""},
        {"onlyLineFeeds", "\n\n", ""},
        {"oneLine", "a", "a"},
        {"noLineFeedsAtItsEnd", "a\nb\r\n\n", "a\nb"},
        {"noEmptyLineAtItsBeginning", "\na\nb", "a\nb"},
        {"emptyLinesInBetween", "a\n\nb", "a\n\nb"},
        {"twentyLines", numberedLines(1, 20), numberedLines(1, 20)},
        {"moreLines", numberedLines(1, 21) + "\n", numberedLines(2, 21)},
        {"longLines",
         std::string(3000, 'a') + "\n" + std::string(3000, 'b'),
         std::string(3000, 'b')},
        {"oneLongLine", std::string(5000, 'a'), std::string(4096, 'a')},
        {"asLongAsItMayBe", "x\n" + std::string(4096, 'a'), std::string(4096, 'a')},
        {"notUTF8", "a\xFF", "a\xEF\xBF\xBD"},
    }),
    rowName);

// --- Which runs ---

TEST(ReadRuns, isOneForEachFolderWithALog) {
  Capture capture = healthyCapture();
  capture.texts["runs/b/train.log"] = "";
  capture.texts["runs/a/recorder.jsonl"] = "";
  capture.texts["runs/c/notes.txt"] = "";
  capture.texts["runs/d"] = "";
  capture.texts["train.log"] = "";
  std::vector<std::string> names;
  for (const TrainingRun& run : readAll(capture)) names.push_back(run.name);
  EXPECT_THAT(names, ElementsAre("a", "b"));
}

TEST(ReadRuns, doesNotNeedWhatTheCaptureSaysOfThem) {
  Capture capture = captureOf({});
  capture.info.runs.clear();
  EXPECT_EQ(readAll(capture).front().recorderLogPath, std::nullopt);
}

TEST(ReadRuns, tellsWhatWasLostOfWhichLog) {
  const Capture capture = captureOf({.recorder = "{\"t\":true}\n"});
  FindingsBook book;
  readRuns(capture, readServer(capture, book), nullptr, book);
  const auto lossy =
      std::find_if(book.sources().begin(), book.sources().end(), [](const SourceFindings& each) {
        return each.findings.lossCount() > 0;
      });
  ASSERT_NE(lossy, book.sources().end());
  EXPECT_EQ(lossy->source, "gpu-01/runs/llama/recorder.jsonl");
}

// --- What was before ---

AppSnapshot after(const TrainingRun& run) {
  AppSnapshot snapshot{};
  snapshot.runs.push_back(run);
  return snapshot;
}

// So many captures, a minute apart.
TrainingRun course(int captures, const Situation& situation) {
  TrainingRun run{};
  AppSnapshot previous{};
  for (int i = 0; i < captures; ++i) {
    Capture capture = captureOf(situation);
    capture.info.takenAt += std::chrono::minutes(i);
    run = readAll(capture, &previous).front();
    previous = after(run);
  }
  return run;
}

TEST(Metrics, growByOneForEachCapture) {
  const TrainingRun run = course(3, {});
  ASSERT_EQ(run.metrics.size(), 3U);
  EXPECT_EQ(run.metrics[0].step, 1);
  EXPECT_EQ(run.metrics[2].step, 3);
  EXPECT_EQ(run.metrics[2].timestamp, kCaptureTime + std::chrono::minutes(2));
  EXPECT_EQ(run.metrics[2].loss, 2.5);
  EXPECT_EQ(run.metrics[2].gpuUtilization, 45.5);
  EXPECT_EQ(run.startedAt, kCaptureTime);
}

TEST(Metrics, areTheLast96) {
  const TrainingRun run = course(100, {});
  ASSERT_EQ(run.metrics.size(), 96U);
  EXPECT_EQ(run.metrics.front().step, 5);
  EXPECT_EQ(run.metrics.back().step, 100);
}

TEST(Metrics, doNotGrowByTheSameCapture) {
  const TrainingRun first = readOne({});
  const AppSnapshot previous = after(first);
  EXPECT_EQ(readOne({}, &previous).metrics, first.metrics);
}

TEST(Metrics, doNotGrowWithoutALoss) {
  EXPECT_THAT(course(3, {.log = "loading\n"}).metrics, IsEmpty());
}

TEST(Metrics, countByTheStepsOfValidation) {
  const TrainingRun run = readOne({.log = "val_loss=0.7 at step 200\nloss: 1\n"});
  ASSERT_EQ(run.valMetrics.size(), 1U);
  EXPECT_EQ(run.metrics.back().step, 200);
}

TEST(Metrics, stopCountingAtTheLimit) {
  TrainingRun run = readOne({});
  run.metrics.back().step = std::numeric_limits<std::int64_t>::max();
  run.metrics.back().timestamp -= std::chrono::minutes(1);
  const AppSnapshot previous = after(run);
  EXPECT_EQ(readOne({}, &previous).metrics.back().step, std::numeric_limits<std::int64_t>::max());
}

TEST(Before, isOnlyThatOfTheSameRun) {
  TrainingRun other = readOne({});
  other.id = {};
  other.startedAt -= std::chrono::hours(1);
  AppSnapshot previous = after(other);
  EXPECT_EQ(readOne({}, &previous).startedAt, kCaptureTime);
  previous.runs.front().id = readOne({}).id;
  EXPECT_EQ(readOne({}, &previous).startedAt, other.startedAt);
}

TEST(Before, knewTheFramework) {
  const AppSnapshot previous = after(readOne({.log = "torchrun\nloss: 1\n"}));
  EXPECT_EQ(previous.runs.front().framework, "PyTorch");
  EXPECT_EQ(readOne({}, &previous).framework, "PyTorch");
  EXPECT_EQ(readOne({.log = "keras\n"}, &previous).framework, "Keras");
}

}  // namespace
}  // namespace tavrine
