// Points of a recorder's log as tests need them: by hand, and as if by chance.
#pragma once

#include <TavrineShared/recorder/recorder_records.h>

#include <cstddef>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace tavrine {

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

using Stacks = std::vector<StackFrame>;

inline StackFrame stack(std::vector<std::string> frames) {
  return {.thread = "MainThread", .frames = std::move(frames)};
}

inline RecorderLogPoint point(std::optional<double> gpuUtil = {}, std::optional<Stacks> pySpy = {},
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

inline DCGMSample counters(double tensorActive, double dramActive) {
  return {.fp32Active = 0,
          .tensorActive = tensorActive,
          .dramActive = dramActive,
          .tflopsAchieved = {},
          .tflopsPeak = 1,
          .reason = {}};
}

/// So many stacks of each of the given frames.
inline Stacks stacks(const std::vector<std::pair<int, std::string>>& counts) {
  Stacks all;
  for (const auto& [count, frame] : counts) {
    all.insert(all.end(), static_cast<std::size_t>(count), stack({frame}));
  }
  return all;
}

inline RecorderLogPoint withStacks(const std::vector<std::pair<int, std::string>>& counts) {
  return point(95, stacks(counts));
}

inline RecorderLogPoint withCounters(double tensorActive, double dramActive) {
  return point(95, {}, counters(tensorActive, dramActive));
}

/// What a diagnosis is made from, with values at and around every threshold.
class RandomSamples {
 public:
  struct Samples {
    std::optional<RecorderLogPoint> latest;
    std::vector<RecorderLogPoint> recent;
  };

  explicit RandomSamples(unsigned seed) : random_(seed) {}

  Samples next() {
    Samples samples;
    if (random_() % 10 != 0) samples.latest = anyPoint();
    for (std::size_t i = random_() % 6; i > 0; --i) samples.recent.push_back(anyPoint());
    return samples;
  }

 private:
  template <class Values>
  auto among(const Values& values) {
    return values[random_() % values.size()];
  }

  RecorderLogPoint anyPoint() {
    static const std::vector<std::string> kFrames = {"nccl",
                                                     "torch/distributed",
                                                     "torch/distributed/run",
                                                     "a:forward:1",
                                                     "a:backward:1",
                                                     "Optimizer",
                                                     "DataLoader",
                                                     "time.sleep",
                                                     "x",
                                                     ""};
    static const std::vector<double> kShares =
        {0, 0.2, 0.29, 0.3, 0.31, 0.5, 0.51, 0.7, 0.71, 1, kNaN};
    static const std::vector<double> kPercents = {0, 29.9, 30, 30.1, 95, kNaN};
    RecorderLogPoint made = point();
    made.t = Timestamp(std::chrono::duration<double>(static_cast<double>(random_() % 8)));
    if (random_() % 3 != 0) made.gpuUtil = among(kPercents);
    if (random_() % 3 == 0) made.dcgm = counters(among(kShares), among(kShares));
    if (random_() % 2 == 0) {
      Stacks dump;
      for (std::size_t i = random_() % 4; i > 0; --i) {
        dump.push_back(stack({among(kFrames), among(kFrames)}));
      }
      made.pySpy = dump;
    }
    return made;
  }

  std::mt19937 random_;
};

}  // namespace tavrine
