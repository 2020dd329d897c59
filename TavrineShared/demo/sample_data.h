// A made-up lab, complete and in motion, to try things out without any server.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/app_snapshot.h>

#include <cstdint>
#include <limits>

namespace tavrine::SampleData {

/// One tick is so many training steps.
inline constexpr std::int64_t kStepsPerTick = 20;
/// The points in the long run's history, one step and one minute apart; its log is one step ahead.
inline constexpr std::int64_t kHistoryLength = 96;

/// Between these two, both included, all steps are 64-bit numbers.
inline constexpr std::int64_t kSmallestTick =
    std::numeric_limits<std::int64_t>::min() / kStepsPerTick;
inline constexpr std::int64_t kLargestTick =
    (std::numeric_limits<std::int64_t>::max() - kHistoryLength) / kStepsPerTick;

/// The lab at one tick: two servers, a long training run, one that warms up, and the people, the
/// processes and the network around them. All that varies follows `tick` smoothly, so counting it
/// up makes the lab move; but when it is a multiple of 21, the long run has stalled. Apart from
/// times, which all lie at fixed distances from the current one, the same tick gives the same
/// snapshot. Steps do not go below 0 where ticks do.
///
/// A tick below `kSmallestTick` or above `kLargestTick` stops the process.
AppSnapshot snapshot(std::int64_t tick);

namespace detail {
/// `snapshot` at a given time.
AppSnapshot snapshot(std::int64_t tick, Timestamp now);
}  // namespace detail

}  // namespace tavrine::SampleData
