#include "tests/support/naive_runtime_diagnosis.h"

#include <TavrineShared/foundation/unicode_text.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tavrine::naive {

RuntimePhase phaseOf(const StackFrame& stack) {
  static const std::vector<std::pair<std::string, RuntimePhase>> kOrder = {
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
      {"select.select", RuntimePhase::idle}};
  std::string joined;
  for (const std::string& text : stack.frames) {
    joined.append(joined.empty() ? "" : "\n").append(text);
  }
  const std::string lower = lowercased(joined);
  for (const auto& [keyword, phase] : kOrder) {
    if (lower.find(keyword) != std::string::npos) return phase;
  }
  return RuntimePhase::unknown;
}

RuntimeDiagnosis diagnosisOf(const std::optional<RecorderLogPoint>& latest,
                             std::span<const RecorderLogPoint> recent) {
  if (!latest) return RuntimeDiagnosis::unknown;
  if (latest->dcgm && latest->dcgm->tensorActive > 0.5) return RuntimeDiagnosis::computeBound;
  if (latest->dcgm && latest->dcgm->tensorActive < 0.3 && latest->dcgm->dramActive > 0.7) {
    return RuntimeDiagnosis::memoryBound;
  }
  std::vector<RuntimePhase> phases;
  for (const RecorderLogPoint& each : recent) {
    if (!each.pySpy) continue;
    for (const StackFrame& stack : *each.pySpy) phases.push_back(phaseOf(stack));
  }
  const auto collective = std::count(phases.begin(), phases.end(), RuntimePhase::collective);
  if (!phases.empty() &&
      static_cast<double>(collective) / static_cast<double>(phases.size()) > 0.6) {
    return RuntimeDiagnosis::communicationBound;
  }
  int low = 0;
  for (std::size_t i = recent.size() < 3 ? 0 : recent.size() - 3; i < recent.size(); ++i) {
    if (!recent[i].gpuUtil || *recent[i].gpuUtil < 30.0) ++low;
  }
  if (low == 3) return RuntimeDiagnosis::dataloaderStall;
  std::map<RuntimePhase::Case, int> histogram;
  for (const RuntimePhase phase : phases) ++histogram[phase];
  if (histogram.empty()) return RuntimeDiagnosis::unknown;
  auto picked = histogram.begin();
  for (auto entry = histogram.begin(); entry != histogram.end(); ++entry) {
    if (entry->second > picked->second) picked = entry;
  }
  if (picked->first == RuntimePhase::unknown) return RuntimeDiagnosis::unknown;
  return RuntimeDiagnosis::mixedWith(picked->first);
}

}  // namespace tavrine::naive
