#include "companion/watch/demo_source.h"

#include <TavrineShared/demo/sample_data.h>

#include <algorithm>

namespace tavrine {

namespace {

constexpr double kSecondsPerTick = 1;
constexpr double kStaleSeconds = 10;

}  // namespace

SnapshotSource demoSource(std::int64_t tick) {
  return {.name = "demo lab",
          .poll = [tick, due = std::optional<Timestamp>()](
                      Timestamp now) mutable -> std::optional<SourceNews> {
            const auto next = now + std::chrono::duration<double>(kSecondsPerTick);
            // A clock that was set back would hold the lab still.
            if (due && now < *due && *due <= next) return std::nullopt;
            if (due) tick = std::min(tick + 1, SampleData::kLargestTick);
            due = next;
            return SourceNews{SampleData::snapshot(tick), {}};
          },
          .staleAfterSeconds = kStaleSeconds};
}

}  // namespace tavrine
