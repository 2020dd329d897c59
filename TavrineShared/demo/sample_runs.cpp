#include <TavrineShared/demo/sample_runs.h>

#include <TavrineShared/demo/sample_data.h>
#include <TavrineShared/model/stable_id.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>

namespace tavrine::SampleData {

namespace {

constexpr double kMinute = 60;

// What a run takes of the GPUs of its server.
struct GPUShare {
  double utilization = 0;  // mean
  double memoryUsedMB = 0;
  double memoryTotalMB = 0;
  double powerDrawW = 0;
};

GPUShare shareOf(const std::vector<GPUStat>& gpus) {
  GPUShare share;
  for (const GPUStat& gpu : gpus) {
    share.utilization += gpu.utilizationPercent;
    share.memoryUsedMB += gpu.memoryUsedMB;
    share.memoryTotalMB += gpu.memoryTotalMB;
    share.powerDrawW += gpu.powerDrawW;
  }
  share.utilization /= static_cast<double>(gpus.size());
  return share;
}

double gibibytesOf(double mebibytes) { return mebibytes / 1024; }

// In the C locale's spelling wherever we run.
std::string fixed(double value, int decimals) {
  std::array<char, 32> digits{};
  const auto [end, error] = std::to_chars(digits.data(),
                                          digits.data() + digits.size(),
                                          value,
                                          std::chars_format::fixed,
                                          decimals);
  return {digits.data(), end};
}

// --- The long run ---

// Without the small wave that the logged losses ride on.
double smoothLoss(std::int64_t step) {
  return std::max(2.8 * std::exp(-static_cast<double>(step) / 1800), 0.08);
}

TrainingMetric llamaMetric(const Moment& moment, std::int64_t index) {
  const auto j = static_cast<double>(index);
  const std::int64_t step = std::max<std::int64_t>(kStepsPerTick * moment.tick + index, 0);
  return {
      .step = step,
      .timestamp = moment.ago(kMinute * static_cast<double>(kHistoryLength - index)),
      .loss = smoothLoss(step) + 0.025 * std::sin(0.125 * j),
      .throughput = wave(1550, 120, moment.t() / 5 + j / 7),
      .flopsTFLOPs = wave(820, 40, j / 10),
      .gpuUtilization = wave(78, 12, j / 6),
  };
}

std::vector<TrainingMetric> llamaHistory(const Moment& moment) {
  std::vector<TrainingMetric> history;
  for (std::int64_t j = 0; j < kHistoryLength; ++j) history.push_back(llamaMetric(moment, j));
  return history;
}

// After every sixteenth step, the last time just before the best checkpoint was written: it is the
// best because each of these losses is lower than the one before, or as low as it gets.
std::vector<TrainingMetric> llamaValidation(const std::vector<TrainingMetric>& history) {
  std::vector<TrainingMetric> validation;
  for (std::size_t j = 25; j < history.size(); j += 16) {
    TrainingMetric metric = history[j];
    metric.loss = 1.02 * smoothLoss(metric.step) + 0.03;
    metric.throughput *= 2.6;  // no backward pass
    metric.flopsTFLOPs *= 0.85;
    validation.push_back(metric);
  }
  return validation;
}

std::vector<CheckpointSummary> llamaCheckpoints(const Moment& moment) {
  return {{.id = StableID::uuid("sample-checkpoint:llama-previous"),
           .name = "ckpt-5",
           .timestamp = moment.ago(3600),
           .sizeGB = 18.2,
           .isBest = false},
          {.id = StableID::uuid("sample-checkpoint:llama-best"),
           .name = "ckpt-6",
           .timestamp = moment.ago(kBestCheckpointAge),
           .sizeGB = 18.8,
           .isBest = true}};
}

std::string llamaLog(const Moment& moment, const TrainingMetric& last,
                     const CheckpointSummary& newest) {
  std::string log = "step=" + std::to_string(kStepsPerTick * moment.tick + kHistoryLength);
  log.append(" loss=").append(fixed(last.loss, 4));
  log.append(" throughput=").append(fixed(last.throughput, 0));
  log.append(" samples/s\ncheckpoint saved: ").append(newest.name);
  return log.append("\ngpu utilization stable, dataloader queue healthy");
}

std::vector<StackFrame> stackIn(const char* innermost) {
  return {{.thread = "MainThread",
           .frames = {innermost, "train.py:training_step:214", "train.py:main:331"}}};
}

constexpr auto kInnermostFrames = std::to_array<const char*>({
    "transformers/models/llama/modeling_llama.py:forward:748",
    "torch/autograd/graph.py:_engine_run_backward:769",
    "torch/autograd/graph.py:_engine_run_backward:769",
    "torch/optim/adamw.py:step:220",
    "transformers/models/llama/modeling_llama.py:forward:752",
    "torch/autograd/graph.py:_engine_run_backward:769",
});
constexpr double kRecorderInterval = 30;
constexpr double kTicksPerInterval = 0.25;  // slow enough for neighbours to look like neighbours

// The recorder looks at the GPUs that the servers show, so its last point shows what they show.
std::vector<RecorderLogPoint> llamaRecorderPoints(const Moment& moment) {
  constexpr std::size_t kCount = kInnermostFrames.size();
  constexpr double kPeakTFLOPs = 989.4;  // of one GPU
  std::vector<RecorderLogPoint> points;
  for (std::size_t i = 0; i < kCount; ++i) {
    const auto back = static_cast<double>(kCount - 1 - i);
    const double t = moment.t() - kTicksPerInterval * back;
    const GPUShare share = shareOf(gpusAt(t, kGPUsOfA));
    points.push_back({
        .t = moment.ago(5 + kRecorderInterval * back),
        .phase = "snapshot",
        .gpuUtil = share.utilization,
        .vramMB = share.memoryUsedMB,
        .powerW = share.powerDrawW,
        .dcgm = DCGMSample{.fp32Active = wave(0.12, 0.01, t / 5),
                           .tensorActive = wave(0.44, 0.03, t / 5),
                           .dramActive = wave(0.52, 0.04, t / 4),
                           .tflopsAchieved = wave(205, 10, t / 5),
                           .tflopsPeak = kPeakTFLOPs,
                           .reason = {}},
        .pySpy = stackIn(kInnermostFrames[i]),
        .text = {},
        .cmdline = kTraining.command,
    });
  }
  return points;
}

TrainingRun llamaRun(const Moment& moment) {
  const std::vector<TrainingMetric> history = llamaHistory(moment);
  const std::vector<CheckpointSummary> checkpoints = llamaCheckpoints(moment);
  const std::vector<RecorderLogPoint> points = llamaRecorderPoints(moment);
  const TrainingMetric& last = history.back();
  const RecorderLogPoint& lastPoint = points.back();
  const GPUShare share = shareOf(gpusAt(moment.t(), kGPUsOfA));
  return {
      .id = StableID::uuid("sample-run:llama-7b-sft-run-042"),
      .name = kLlamaRun,
      .serverName = kServerA.name,
      .framework = "PyTorch + Accelerate",
      .status = moment.isStalled() ? RunStatus::stalled : RunStatus::running,
      .health = moment.isStalled() ? RunHealth::stalled : RunHealth::healthy,
      .startedAt = moment.ago(18400),
      .etaSeconds = wave(12600, 300, moment.t() / 9),
      .currentLoss = last.loss,
      .throughput = last.throughput,
      .flopsTFLOPs = last.flopsTFLOPs,
      .gpuUtilization = share.utilization,
      .vramUsedGB = gibibytesOf(share.memoryUsedMB),
      .vramTotalGB = gibibytesOf(share.memoryTotalMB),
      .powerDrawW = share.powerDrawW,
      .logTail = llamaLog(moment, last, checkpoints.back()),
      .metrics = history,
      .checkpoints = checkpoints,
      .hyperparameters = {{"batch_size", "32"},
                          {"epochs", "3"},
                          {"lr", "2e-5"},
                          {"optimizer", "adamw"},
                          {"scheduler", "cosine"},
                          {"seed", "42"},
                          {"seq_len", "4096"},
                          {"warmup_steps", "100"},
                          {"weight_decay", "0.1"}},
      .datasetName = "sft-v4",
      .modelName = "llama-7b",
      .checkpointPath = "/scratch/runs/llama-7b-sft-run-042/ckpts",
      .valMetrics = llamaValidation(history),
      .dcgmTFLOPsAchieved = lastPoint.dcgm->tflopsAchieved,
      .dcgmTFLOPsPeak = lastPoint.dcgm->tflopsPeak,
      .dcgmTensorActive = lastPoint.dcgm->tensorActive,
      .dcgmFP32Active = lastPoint.dcgm->fp32Active,
      .dcgmDRAMActive = lastPoint.dcgm->dramActive,
      .recorderLogPath = "/scratch/runs/llama-7b-sft-run-042/recorder.jsonl",
      .adoptedFromPath = {},
      .lastStackSample = lastPoint.pySpy->front(),
      .lastRecorderPointAt = lastPoint.t,
      .recorderPoints = points,
  };
}

// --- The run that warms up ---

// It shares the clock of the long run's history, of which it has seen the last part.
std::vector<TrainingMetric> visionHistory(const std::vector<TrainingMetric>& llama) {
  constexpr std::size_t kLength = 48;
  const std::size_t length = std::min(kLength, llama.size());
  std::vector<TrainingMetric> history;
  for (std::size_t i = 0; i < length; ++i) {
    const auto k = static_cast<double>(i);
    history.push_back({
        .step = static_cast<std::int64_t>(i),
        .timestamp = llama[llama.size() - length + i].timestamp,
        .loss = 1.5 - 0.002 * k,
        .throughput = wave(610, 35, 0.25 * k),
        .flopsTFLOPs = 240,
        .gpuUtilization = wave(54, 8, k / 5),
    });
  }
  return history;
}

TrainingRun visionRun(const Moment& moment, const std::vector<TrainingMetric>& llama) {
  const GPUShare share = shareOf(gpusAt(moment.t(), kGPUsOfB));
  return {
      .id = StableID::uuid("sample-run:vision-ablation-b32"),
      .name = kVisionRun,
      .serverName = kServerB.name,
      .framework = "PyTorch + Diffusers",
      .status = RunStatus::warmingUp,
      .health = RunHealth::warmingUp,
      .startedAt = moment.ago(2200),
      .etaSeconds = 19800,
      .currentLoss = 1.42,
      .throughput = 620,
      .flopsTFLOPs = 240,
      .gpuUtilization = share.utilization,
      .vramUsedGB = gibibytesOf(share.memoryUsedMB - kNotebookGPUMemoryMB),
      .vramTotalGB = gibibytesOf(share.memoryTotalMB),
      .powerDrawW = share.powerDrawW,
      .logTail = "warmup epoch 0 loss=1.420 throughput=620 samples/s",
      .metrics = visionHistory(llama),
      .checkpoints = {},  // none before the warm-up is over
      .hyperparameters = {{"batch_size", "32"},
                          {"epochs", "40"},
                          {"lr", "1e-4"},
                          {"optimizer", "adamw"},
                          {"seed", "7"},
                          {"warmup_steps", "500"}},
      .datasetName = "video-frames-v2",
      .modelName = "dit-b-32",
      .checkpointPath = "/scratch/runs/vision-ablation-b32/ckpts",
      .valMetrics = {},
      .dcgmTFLOPsAchieved = {},
      .dcgmTFLOPsPeak = {},
      .dcgmTensorActive = {},
      .dcgmFP32Active = {},
      .dcgmDRAMActive = {},
      .recorderLogPath = {},
      .adoptedFromPath = {},
      .lastStackSample = {},
      .lastRecorderPointAt = {},
      .recorderPoints = {},
  };
}

}  // namespace

std::vector<TrainingRun> sampleRuns(const Moment& moment) {
  TrainingRun llama = llamaRun(moment);
  TrainingRun vision = visionRun(moment, llama.metrics);
  return {std::move(llama), std::move(vision)};
}

}  // namespace tavrine::SampleData
