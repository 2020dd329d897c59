#include <TavrineShared/demo/sample_data.h>

#include <TavrineShared/model/stable_id.h>
#include <TavrineShared/parsers/training_log_parser.h>
#include <TavrineShared/recorder/runtime_diagnosis.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <tuple>

#include "tests/demo/demo_moments.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

TEST(SampleData, stallsAtMultiplesOf21) {
  const auto standing = [](std::int64_t tick) {
    const AppSnapshot snapshot = lab(tick);
    EXPECT_THAT(snapshot.alerts, SizeIs(1));
    return std::tuple(snapshot.runs.at(0).status,
                      snapshot.runs[0].health,
                      snapshot.alerts.at(0).title);
  };
  const std::tuple runs(RunStatus::running, RunHealth::healthy, std::string("Checkpoint saved"));
  const std::tuple stalls(RunStatus::stalled, RunHealth::stalled, std::string("Throughput dip"));
  for (const std::int64_t tick : {-42, -21, 0, 21, 42, 21000}) {
    EXPECT_EQ(standing(tick), stalls) << tick;
  }
  for (std::int64_t tick = 1; tick <= 20; ++tick) {
    EXPECT_EQ(standing(tick), runs) << tick;
    EXPECT_EQ(standing(-tick), runs) << -tick;
  }
}

TEST(SampleData, tellsOfACheckpointOrOfADip) {
  const TavrineAlert saved{.id = StableID::uuid("sample-alert:checkpoint-saved"),
                           .severity = AlertSeverity::info,
                           .title = "Checkpoint saved",
                           .message = "A new best checkpoint was written 7 minutes ago.",
                           .serverName = "gpu-lab-a",
                           .runName = "llama-7b-sft-run-042",
                           .timestamp = ago(420)};
  EXPECT_THAT(lab(1).alerts, ElementsAre(saved));
  const TavrineAlert dip{.id = StableID::uuid("sample-alert:throughput-dip"),
                         .severity = AlertSeverity::warning,
                         .title = "Throughput dip",
                         .message = "Training throughput is down 18 percent over the last window.",
                         .serverName = "gpu-lab-a",
                         .runName = "llama-7b-sft-run-042",
                         .timestamp = kNow};
  EXPECT_THAT(lab(0).alerts, ElementsAre(dip));
}

TEST(SampleDataRuns, areALongOneAndOneThatWarmsUp) {
  const AppSnapshot snapshot = lab(3);
  ASSERT_THAT(snapshot.runs, SizeIs(2));
  const TrainingRun& llama = snapshot.runs[0];
  EXPECT_EQ(llama.id, StableID::uuid("sample-run:llama-7b-sft-run-042"));
  EXPECT_EQ(llama.name, "llama-7b-sft-run-042");
  EXPECT_EQ(llama.serverName, "gpu-lab-a");
  EXPECT_EQ(llama.framework, "PyTorch + Accelerate");
  EXPECT_EQ(llama.startedAt, ago(18400));
  EXPECT_EQ(llama.checkpointPath, "/scratch/runs/llama-7b-sft-run-042/ckpts");
  EXPECT_EQ(llama.currentLoss, llama.metrics.back().loss);
  EXPECT_EQ(llama.throughput, llama.metrics.back().throughput);
  const TrainingRun& vision = snapshot.runs[1];
  EXPECT_EQ(vision.id, StableID::uuid("sample-run:vision-ablation-b32"));
  EXPECT_EQ(vision.name, "vision-ablation-b32");
  EXPECT_EQ(vision.serverName, "gpu-lab-b");
  EXPECT_EQ(vision.status, RunStatus::warmingUp);
  EXPECT_EQ(vision.health, RunHealth::warmingUp);
  EXPECT_EQ(vision.startedAt, ago(2200));
  EXPECT_EQ(vision.currentLoss, 1.42);
  EXPECT_EQ(vision.throughput, 620);
  EXPECT_EQ(vision.logTail, "warmup epoch 0 loss=1.420 throughput=620 samples/s");
}

TEST(SampleDataRuns, haveTheCheckpointsThatLogAndAlertTellOf) {
  const TrainingRun llama = lab(3).runs[0];
  ASSERT_THAT(llama.checkpoints, SizeIs(2));
  EXPECT_EQ(llama.checkpoints[0].id, StableID::uuid("sample-checkpoint:llama-previous"));
  EXPECT_EQ(llama.checkpoints[0].timestamp, ago(3600));
  EXPECT_EQ(llama.checkpoints[0].sizeGB, 18.2);
  EXPECT_FALSE(llama.checkpoints[0].isBest);
  EXPECT_EQ(llama.checkpoints[1].id, StableID::uuid("sample-checkpoint:llama-best"));
  EXPECT_EQ(llama.checkpoints[1].timestamp, lab(3).alerts[0].timestamp);
  EXPECT_EQ(llama.checkpoints[1].sizeGB, 18.8);
  EXPECT_TRUE(llama.checkpoints[1].isBest);
  EXPECT_THAT(llama.checkpoints[1].name, StartsWith("ckpt-"));
  EXPECT_THAT(llama.logTail,
              EndsWith(" samples/s\ncheckpoint saved: " + llama.checkpoints[1].name +
                       "\ngpu utilization stable, dataloader queue healthy"));
}

TEST(SampleDataRuns, haveLogsThatReadAsTheRun) {
  for (const std::int64_t tick : someTicks()) {
    const AppSnapshot snapshot = lab(tick);
    for (const TrainingRun& run : snapshot.runs) {
      const ParsedLogSignals signals = TrainingLogParser::parse(run.logTail);
      EXPECT_NEAR(signals.loss.value(), run.currentLoss.value(), 0.5e-4) << run.logTail;
      EXPECT_NEAR(signals.throughput.value(), run.throughput, 0.5) << run.logTail;
      EXPECT_THAT(signals.warnings, IsEmpty()) << run.logTail;
    }
  }
}

TEST(SampleDataRuns, haveLogsWithFourDecimalsOfTheLoss) {
  for (const std::int64_t tick : someTicks()) {
    const TrainingRun run = lab(tick).runs[0];
    char want[64];
    std::snprintf(want, sizeof want, " loss=%.4f", *run.currentLoss);
    std::string pointed = want;
    std::replace(pointed.begin(), pointed.end(), ',', '.');  // where the locale has a comma
    EXPECT_THAT(run.logTail,
                StartsWith("step=" + std::to_string(20 * tick + 96) + pointed + " throughput="));
  }
}

TEST(SampleDataRuns, useTheGPUsOfTheirServers) {
  for (const std::int64_t tick : someTicks()) {
    const AppSnapshot snapshot = lab(tick);
    for (std::size_t i = 0; i < 2; ++i) {
      const TrainingRun& run = snapshot.runs[i];
      double used = 0;
      double power = 0;
      for (const GPUStat& gpu : snapshot.servers[i].gpus) {
        used += gpu.memoryUsedMB / 1024;
        power += gpu.powerDrawW;
      }
      EXPECT_NEAR(run.vramUsedGB, i == 0 ? used : used - 6200.0 / 1024, 1e-6);
      EXPECT_LT(run.vramUsedGB, run.vramTotalGB);
      EXPECT_NEAR(run.powerDrawW, power, 1e-6);
    }
  }
}

TEST(SampleDataRuns, validateBeforeTheBestCheckpoint) {
  for (const std::int64_t tick : {1, 60, 200, 2000}) {
    const TrainingRun run = lab(tick).runs[0];
    ASSERT_GT(run.valMetrics.size(), 3U);
    EXPECT_EQ(run.valMetrics.back().timestamp, run.checkpoints.back().timestamp);
    for (std::size_t i = 1; i < run.valMetrics.size(); ++i) {
      EXPECT_LE(run.valMetrics[i].loss, run.valMetrics[i - 1].loss);
      EXPECT_LT(run.valMetrics[i - 1].step, run.valMetrics[i].step);
    }
  }
}

TEST(SampleDataRuns, areRecordedUpToNow) {
  const TrainingRun run = lab(3).runs[0];
  ASSERT_FALSE(run.recorderPoints.empty());
  const RecorderLogPoint& last = run.recorderPoints.back();
  EXPECT_EQ(run.lastRecorderPointAt, last.t);
  EXPECT_LT(last.t, kNow);
  EXPECT_EQ(last.gpuUtil, run.gpuUtilization);
  EXPECT_EQ(run.lastStackSample, last.pySpy->back());
  EXPECT_EQ(run.dcgmTensorActive, last.dcgm->tensorActive);
  EXPECT_TRUE(std::is_sorted(run.recorderPoints.begin(),
                             run.recorderPoints.end(),
                             [](const auto& a, const auto& b) { return a.t < b.t; }));
  const auto diagnosis = RuntimeDiagnosis::derive(last, run.recorderPoints);
  EXPECT_EQ(diagnosis, RuntimeDiagnosis::mixedWith(RuntimePhase::backward)) << diagnosis.label();
}

}  // namespace
}  // namespace tavrine
