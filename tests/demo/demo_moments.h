// The demo lab at moments of a time that stands still.
#pragma once

#include <TavrineShared/demo/sample_data.h>

#include <chrono>
#include <cstdint>
#include <vector>

#include "tests/support/documents.h"

namespace tavrine {

inline constexpr Timestamp kNow = at(1794764905);  // 2026-11-15T17:48:25Z
inline constexpr std::int64_t kLargest = SampleData::kLargestTick;
inline constexpr std::int64_t kSmallest = SampleData::kSmallestTick;

inline AppSnapshot lab(std::int64_t tick) { return SampleData::detail::snapshot(tick, kNow); }

inline Timestamp ago(double seconds) { return kNow - std::chrono::duration<double>(seconds); }

inline const std::vector<std::int64_t>& someTicks() {
  static const std::vector<std::int64_t> ticks = [] {
    std::vector<std::int64_t> all{kSmallest, kSmallest + 1, -1000000007, 1000000007, kLargest};
    for (std::int64_t tick = -50; tick <= 250; ++tick) all.push_back(tick);
    return all;
  }();
  return ticks;
}

}  // namespace tavrine
