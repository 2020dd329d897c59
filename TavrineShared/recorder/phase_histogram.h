// How many stacks are in each phase. Private: no public header includes it.
#pragma once

#include <TavrineShared/recorder/runtime_diagnosis.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace tavrine {

class PhaseHistogram {
 public:
  void add(RuntimePhase phase) {
    ++counts_[phase.index()];
    ++total_;
  }

  std::size_t total() const { return total_; }
  std::size_t count(RuntimePhase phase) const { return counts_[phase.index()]; }

  /// NaN when there are no stacks.
  double shareOf(RuntimePhase phase) const {
    return static_cast<double>(count(phase)) / static_cast<double>(total_);
  }

  /// Of equally frequent phases the one declared first.
  RuntimePhase dominant() const {
    const auto* const most = std::max_element(counts_.begin(), counts_.end());
    return RuntimePhase::kEntries[static_cast<std::size_t>(most - counts_.begin())].value;
  }

 private:
  std::array<std::size_t, RuntimePhase::kEntries.size()> counts_{};
  std::size_t total_ = 0;
};

}  // namespace tavrine
