#include "benchmarks/lab/lab.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tavrine::benchmarks {

namespace {

constexpr std::string_view kFrameworks[] = {"PyTorch", "JAX", "TensorFlow"};

}  // namespace

std::string Lab::logTail(std::uint64_t step) {
  std::string text;
  for (std::uint64_t line = 0; line < 8; ++line) {
    text += joined({"2026-11-13 02:",
                    padded(below(60), 2),
                    ":",
                    padded(below(60), 2),
                    " INFO step ",
                    number(step + line),
                    " | loss ",
                    number(1 + below(4)),
                    ".",
                    padded(below(10'000), 4),
                    " | grad norm 0.",
                    padded(below(1'000), 3),
                    " | ",
                    number(10'000 + below(9'000)),
                    " tokens/s\n"});
  }
  return text;
}

TrainingMetric Lab::metric(std::uint64_t step, std::uint64_t last) {
  return {
      .step = static_cast<std::int64_t>(step),
      .timestamp = secondsAgo((last - step) / 2),
      .loss = reading(1, 4, 1'000'000),
      .throughput = reading(9'000, 19'000, 100),
      .flopsTFLOPs = reading(200, 420, 1'000),
      .gpuUtilization = reading(70, 100, 10),
  };
}

StackFrame Lab::stack(std::string thread, std::size_t depth) {
  constexpr std::string_view kFrames[] = {
      "forward (torch/nn/modules/linear.py:125)",
      "_call_impl (torch/nn/modules/module.py:1562)",
      "scaled_dot_product_attention (model/attention.py:88)",
      "backward (torch/autograd/__init__.py:289)",
      "all_reduce (torch/distributed/distributed_c10d.py:2501)",
      "_next_data (torch/utils/data/dataloader.py:1448)",
      "step (torch/optim/adamw.py:220)",
      "train_one_epoch (train.py:412)",
      "<module> (train.py:688)",
  };
  StackFrame stack{.thread = std::move(thread), .frames = {}};
  for (std::size_t i = 0; i < depth; ++i) stack.frames.push_back(pick(kFrames));
  return stack;
}

RecorderLogPoint Lab::recorderPoint(std::size_t i, const std::string& command) {
  RecorderLogPoint point{
      .t = secondsAgo((64 - i) * 30),
      .phase = i == 0 ? "start" : "snapshot",
      .gpuUtil = reading(60, 100, 1),
      .vramMB = reading(20'000, 81'000, 1),
      .powerW = reading(200, 700, 100),
      .dcgm = std::nullopt,
      .pySpy = std::nullopt,
      .text = std::nullopt,
      .cmdline = std::nullopt,
  };
  if (i == 0) {
    point.text = "attached to a running process";
    point.cmdline = command;
  }
  if (i % 2 == 0) {
    point.dcgm = DCGMSample{
        .fp32Active = reading(0, 1, 10'000),
        .tensorActive = reading(0, 1, 10'000),
        .dramActive = reading(0, 1, 10'000),
        .tflopsAchieved = mostly(8, reading(100, 800, 100)),
        .tflopsPeak = 989.4,
        .reason = seldom<std::string>(8, "profiling counters are shared with another client"),
    };
  }
  if (i % 8 == 4) {
    point.pySpy = {stack("MainThread", 8),
                   stack("Thread-1 (_pin_memory_loop)", 4),
                   stack("QueueFeederThread", 3)};
  }
  return point;
}

TrainingRun Lab::run(std::size_t i) {
  constexpr std::uint64_t kMetrics = 96;
  constexpr std::uint64_t kValMetrics = 12;
  constexpr std::uint64_t kRecorderPoints = 64;
  const std::string owner = user();
  const std::string command = commandLine(owner);
  const std::string name = joined({model(), "-", owner, "-", number(i)});
  const std::uint64_t start = 1'000 * below(200);
  const std::uint64_t last = start + 10 * kMetrics;
  const double vramTotal = 81559.0 / 1024;
  TrainingRun run{
      .id = uuid(),
      .name = name,
      .serverName = serverName(i % kServers),
      .framework = pick(kFrameworks),
      .status = chance(80) ? RunStatus::running : oneOf<RunStatus>(),
      .health = chance(80) ? RunHealth::healthy : oneOf<RunHealth>(),
      .startedAt = secondsAgo(3'600 + below(500'000)),
      .etaSeconds = mostly(4, reading(600, 400'000, 1)),
      .currentLoss = mostly(20, reading(1, 4, 1'000'000)),
      .throughput = reading(9'000, 19'000, 100),
      .flopsTFLOPs = reading(200, 420, 1'000),
      .gpuUtilization = reading(70, 100, 10),
      .vramUsedGB = reading(20'000, 81'000, 1) / 1024,
      .vramTotalGB = vramTotal,
      .powerDrawW = reading(200, 700, 100),
      .logTail = logTail(last),
      .metrics = {},
      .checkpoints = {},
      .hyperparameters = {{"batch_size", number(8U << below(6))},
                          {"gradient_accumulation", number(1 + below(16))},
                          {"learning_rate", pick({"0.0003", "0.0001", "6e-05"})},
                          {"lr_schedule", "cosine"},
                          {"optimizer", "AdamW(betas=(0.9, 0.95), weight_decay=0.1)"},
                          {"precision", "bf16"},
                          {"seed", number(below(100'000))},
                          {"sequence_length", number(1024U << below(4))}},
      .datasetName = dataset(),
      .modelName = model(),
      .checkpointPath = joined({"/scratch/", owner, "/checkpoints/", name}),
      .valMetrics = {},
      .dcgmTFLOPsAchieved = mostly(8, reading(100, 800, 100)),
      .dcgmTFLOPsPeak = 989.4,
      .dcgmTensorActive = reading(0, 1, 10'000),
      .dcgmFP32Active = reading(0, 1, 10'000),
      .dcgmDRAMActive = reading(0, 1, 10'000),
      .recorderLogPath = joined({"/var/lib/tavrine/recorder/", name, ".jsonl"}),
      .adoptedFromPath = seldom(10, joined({"/tmp/recorder-", number(below(100'000)), ".jsonl"})),
      .lastStackSample = stack("MainThread", 8),
      .lastRecorderPointAt = secondsAgo(30),
      .recorderPoints = {},
  };
  for (std::uint64_t m = 0; m < kMetrics; ++m) run.metrics.push_back(metric(start + 10 * m, last));
  for (std::uint64_t c = 0; c < 6; ++c) {
    run.checkpoints.push_back({
        .id = uuid(),
        .name = joined({"step-", padded(start + 160 * c, 8), ".pt"}),
        .timestamp = secondsAgo((6 - c) * 80),
        .sizeGB = reading(2, 160, 100),
        .isBest = c == 4,
    });
  }
  for (std::uint64_t m = 0; m < kValMetrics; ++m) {
    run.valMetrics.push_back(metric(start + 80 * m, last));
  }
  for (std::size_t p = 0; p < kRecorderPoints; ++p) {
    run.recorderPoints.push_back(recorderPoint(p, command));
  }
  return run;
}

}  // namespace tavrine::benchmarks
