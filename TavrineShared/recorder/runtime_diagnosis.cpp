#include <TavrineShared/recorder/runtime_diagnosis.h>

#include <TavrineShared/model/json_values.h>
#include <TavrineShared/recorder/diagnosis_thresholds.h>
#include <TavrineShared/recorder/phase_histogram.h>
#include <TavrineShared/recorder/phase_keywords.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace tavrine {

namespace {

using namespace diagnosis_thresholds;

PhaseHistogram phasesOf(std::span<const RecorderLogPoint> points) {
  PhaseHistogram phases;
  for (const RecorderLogPoint& point : points) {
    if (!point.pySpy) continue;
    for (const StackFrame& stack : *point.pySpy) phases.add(RuntimePhase::classify(stack));
  }
  return phases;
}

bool isComputeBound(const DCGMSample& dcgm) { return dcgm.tensorActive > kSaturatedTensors; }

bool isMemoryBound(const DCGMSample& dcgm) {
  return dcgm.tensorActive < kQuietTensors && dcgm.dramActive > kBusyMemory;
}

// A sample that measured no utilisation counts as a low one.
bool isLow(const RecorderLogPoint& point) {
  return !point.gpuUtil || *point.gpuUtil < kLowUtilization;
}

bool isStalled(std::span<const RecorderLogPoint> recent) {
  if (recent.size() < kStalledSamples) return false;
  const auto last = recent.last(kStalledSamples);
  return std::all_of(last.begin(), last.end(), isLow);
}

}  // namespace

RuntimePhase RuntimePhase::classify(const StackFrame& frame) {
  const std::vector<std::string_view> texts(frame.frames.begin(), frame.frames.end());
  const PhaseKeyword* const keyword = decidingKeyword(texts);
  return keyword == nullptr ? unknown : keyword->phase;
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

  const PhaseHistogram stacks = phasesOf(recent);
  if (stacks.total() > 0 && stacks.shareOf(RuntimePhase::collective) > kMostlyCollective) {
    return communicationBound;
  }
  if (isStalled(recent)) return dataloaderStall;
  if (stacks.total() == 0) return unknown;
  const RuntimePhase dominant = stacks.dominant();
  return dominant == RuntimePhase::unknown ? RuntimeDiagnosis(unknown) : mixedWith(dominant);
}

}  // namespace tavrine

std::size_t std::hash<tavrine::RuntimeDiagnosis>::operator()(
    const tavrine::RuntimeDiagnosis& diagnosis) const noexcept {
  return tavrine::combineHashes(std::hash<int>()(diagnosis),
                                std::hash<std::string>()(diagnosis.payload()));
}
