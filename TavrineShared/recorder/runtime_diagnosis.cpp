#include <TavrineShared/recorder/runtime_diagnosis.h>

#include <TavrineShared/foundation/keyword_table.h>
#include <TavrineShared/model/json_values.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace tavrine {

namespace {

struct PhaseKeyword {
  std::string_view text;
  RuntimePhase::Case phase;
};

// In the order in which they decide.
constexpr auto kPhaseKeywords = std::to_array<PhaseKeyword>({
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
    {"select.select", RuntimePhase::idle},
});

const KeywordTable& phaseTable() {
  static const KeywordTable table([] {
    std::array<Keyword, kPhaseKeywords.size()> keywords{};
    for (std::size_t i = 0; i < keywords.size(); ++i) keywords[i] = {kPhaseKeywords[i].text, i};
    return keywords;
  }());
  return table;
}

// How many stacks are in each phase.
struct Histogram {
  std::array<std::size_t, RuntimePhase::kEntries.size()> counts{};
  std::size_t total = 0;

  explicit Histogram(std::span<const RecorderLogPoint> points) {
    for (const RecorderLogPoint& point : points) {
      if (!point.pySpy) continue;
      for (const StackFrame& stack : *point.pySpy) {
        ++counts[static_cast<std::size_t>(
            static_cast<RuntimePhase::Case>(RuntimePhase::classify(stack)))];
        ++total;
      }
    }
  }

  double shareOf(RuntimePhase phase) const {
    const std::size_t count =
        counts[static_cast<std::size_t>(static_cast<RuntimePhase::Case>(phase))];
    return static_cast<double>(count) / static_cast<double>(total);
  }

  // Of equally frequent phases the one declared first.
  RuntimePhase dominant() const {
    const auto* const most = std::max_element(counts.begin(), counts.end());
    return RuntimePhase::allCases()[static_cast<std::size_t>(most - counts.begin())];
  }
};

bool isComputeBound(const DCGMSample& dcgm) {
  constexpr double kSaturated = 0.5;
  return dcgm.tensorActive > kSaturated;
}

bool isMemoryBound(const DCGMSample& dcgm) {
  constexpr double kQuietTensors = 0.3;
  constexpr double kBusyMemory = 0.7;
  return dcgm.tensorActive < kQuietTensors && dcgm.dramActive > kBusyMemory;
}

// A sample that measured no utilisation counts as a low one.
bool isLow(const RecorderLogPoint& point) {
  constexpr double kLowPercent = 30;
  return !point.gpuUtil || *point.gpuUtil < kLowPercent;
}

bool isStalled(std::span<const RecorderLogPoint> recent) {
  constexpr std::size_t kSamples = 3;
  if (recent.size() < kSamples) return false;
  const auto last = recent.last(kSamples);
  return std::all_of(last.begin(), last.end(), isLow);
}

}  // namespace

RuntimePhase RuntimePhase::classify(const StackFrame& frame) {
  // No keyword spans two frames, so they need not be joined.
  const std::vector<std::string_view> texts(frame.frames.begin(), frame.frames.end());
  const std::optional<std::size_t> rank = phaseTable().lowestRank(texts);
  return rank ? kPhaseKeywords[*rank].phase : unknown;
}

RuntimeDiagnosis RuntimeDiagnosis::mixedWith(RuntimePhase dominant) {
  RuntimeDiagnosis diagnosis(mixed);
  diagnosis.payload_ = dominant.rawValue();
  return diagnosis;
}

std::string RuntimeDiagnosis::label() const {
  switch (value_) {
    case mixed:
      return "Mixed workload \u00B7 " + payload_;
    case computeBound:
      return "Compute bound \u00B7 tensor cores saturated";
    case memoryBound:
      return "Memory bound";
    case communicationBound:
      return "Communication bound (NCCL)";
    case dataloaderStall:
      return "Underutilized \u2014 likely DataLoader stall";
    case unknown:
      break;
  }
  return "Insufficient data";
}

RuntimeDiagnosis RuntimeDiagnosis::derive(const std::optional<RecorderLogPoint>& latest,
                                          std::span<const RecorderLogPoint> recent) {
  if (!latest) return unknown;
  if (latest->dcgm && isComputeBound(*latest->dcgm)) return computeBound;
  if (latest->dcgm && isMemoryBound(*latest->dcgm)) return memoryBound;

  constexpr double kMostlyCollective = 0.6;
  const Histogram stacks(recent);
  if (stacks.total > 0 && stacks.shareOf(RuntimePhase::collective) > kMostlyCollective) {
    return communicationBound;
  }
  if (isStalled(recent)) return dataloaderStall;
  if (stacks.total == 0) return unknown;
  const RuntimePhase dominant = stacks.dominant();
  return dominant == RuntimePhase::unknown ? RuntimeDiagnosis(unknown) : mixedWith(dominant);
}

}  // namespace tavrine

std::size_t std::hash<tavrine::RuntimeDiagnosis>::operator()(
    const tavrine::RuntimeDiagnosis& diagnosis) const noexcept {
  return tavrine::combineHashes(std::hash<int>()(diagnosis),
                                std::hash<std::string>()(diagnosis.payload()));
}
