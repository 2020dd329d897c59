// The stacks of one dump are told their phases, and a day of a recorder's log its diagnosis, beside
// what one would write first: join the frames, lower-case them with ICU, search for each keyword.

#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/recorder/diagnosis_evidence.h>
#include <TavrineShared/recorder/runtime_diagnosis.h>

#include "benchmarks/comparison.h"
#include "tests/support/naive_runtime_diagnosis.h"

#include <benchmark/benchmark.h>

#include <optional>
#include <string>
#include <vector>

namespace tavrine::benchmarks {

namespace {

// The main thread of a training process, its helpers, and what Python keeps around them. Most of
// the stacks hold no keyword until their last frame, or none at all.
StackFrame makeStack(unsigned i) {
  static const std::vector<std::vector<std::string>> kInner = {
      {"threading.py:wait:320", "queue.py:get:171", "torch/utils/data/_utils/pin_memory.py:run:52"},
      {"torch/nn/modules/linear.py:forward:114", "torch/nn/modules/module.py:_call_impl:1527"},
      {"torch/autograd/graph.py:_engine_run_backward:825", "torch/_tensor.py:backward:581"},
      {"concurrent/futures/thread.py:_worker:81", "threading.py:run:982"},
      {"tqdm/_monitor.py:run:60", "threading.py:_bootstrap_inner:1045"},
      {"selectors.py:select:415", "asyncio/base_events.py:_run_once:1871"},
      {"torch/utils/data/dataloader.py:_try_get_data:1133", "train.py:next_batch:77"},
      {"torch/distributed/distributed_c10d.py:all_reduce:2219", "train.py:sync:99"},
  };
  StackFrame stack{.thread = std::to_string(4711 + i) + " (active)", .frames = {}};
  stack.frames = kInner[i % kInner.size()];
  for (unsigned depth = 0; depth < 14; ++depth) {
    stack.frames.push_back("megatron/model/transformer_layer_" + std::to_string(depth) +
                           ".py:run_block_" + std::to_string(i % 9) + ":" +
                           std::to_string(100 + depth));
  }
  return stack;
}

std::vector<StackFrame> makeDump(unsigned threads) {
  std::vector<StackFrame> dump;
  for (unsigned i = 0; i < threads; ++i) dump.push_back(makeStack(i));
  return dump;
}

// A sample every ten seconds, with a dump of four threads once a minute.
std::vector<RecorderLogPoint> makeDay() {
  std::vector<RecorderLogPoint> points;
  for (unsigned i = 0; i < 8640; ++i) {
    RecorderLogPoint point{};
    point.t = Timestamp(std::chrono::duration<double>(1763142000.0 + 10 * i));
    point.phase = "snapshot";
    point.gpuUtil = 60 + i % 30;
    if (i % 6 == 0)
      point.pySpy = {makeStack(i), makeStack(i + 1), makeStack(i + 3), makeStack(i + 6)};
    points.push_back(std::move(point));
  }
  return points;
}

std::size_t bytesOf(const std::vector<StackFrame>& dump) {
  std::size_t bytes = 0;
  for (const StackFrame& stack : dump) {
    for (const std::string& frame : stack.frames) bytes += frame.size() + 1;
  }
  return bytes;
}

int run(int argc, char** argv) {
  constexpr unsigned kThreads = 64;
  constexpr int kTimes = 100;  // one dump is too short to be measured
  const std::vector<StackFrame> dump = makeDump(kThreads);
  const std::size_t bytes = bytesOf(dump) * kTimes;
  const auto classified = [&dump](auto phaseOf) {
    for (int i = 0; i < kTimes; ++i) {
      for (const StackFrame& stack : dump) benchmark::DoNotOptimize(phaseOf(stack));
    }
  };
  const std::vector<RecorderLogPoint> day = makeDay();
  std::size_t dayBytes = 0;
  for (const RecorderLogPoint& point : day) dayBytes += point.pySpy ? bytesOf(*point.pySpy) : 0;

  Comparison table("Phases of stacks, and diagnoses");
  table.task("phases of 64 stacks", bytes, [&] { classified(&RuntimePhase::classify); });
  table.task("evidence of 64 stacks", bytes, [&] { classified(&PhaseEvidence::of); });
  table.task("lower-case and find, 64 stacks", bytes, [&] { classified(&naive::phaseOf); });
  table.task("diagnosis of a day", dayBytes, [&] {
    benchmark::DoNotOptimize(RuntimeDiagnosis::derive(day.back(), day));
  });
  table.task("evidence of a day", dayBytes, [&] {
    benchmark::DoNotOptimize(DiagnosisEvidence::of(day.back(), day));
  });
  table.task("lower-case and find, a day", dayBytes, [&] {
    benchmark::DoNotOptimize(naive::diagnosisOf(day.back(), day));
  });
  table.row("phases of 64 stacks", "lower-case and find, 64 stacks", 4);
  table.row("evidence of 64 stacks", "lower-case and find, 64 stacks");
  table.row("diagnosis of a day", "lower-case and find, a day", 4);
  table.row("evidence of a day", "lower-case and find, a day");
  table.figure("phases of 64 stacks",
               1e6 / kTimes * bestSeconds(9, [&] { classified(&RuntimePhase::classify); }),
               "us",
               100);
  return table.run(argc, argv);
}

}  // namespace

}  // namespace tavrine::benchmarks

int main(int argc, char** argv) { return tavrine::benchmarks::run(argc, argv); }
