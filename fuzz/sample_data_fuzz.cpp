// Any eight bytes as a tick of the demo lab. What must hold:
//  - the process is stopped exactly where a step of that tick is beyond 64 bits;
//  - every other lab encodes, and decodes to itself with nothing told;
//  - its processes are in order, and its steps neither negative nor in disorder.
#include <TavrineShared/demo/sample_data.h>

#include <TavrineShared/foundation/precondition.h>
#include <TavrineShared/model/json_conventions.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "fuzz/decoded.h"
#include "fuzz/require.h"

namespace tavrine::fuzz {
namespace {

constexpr Timestamp kNow{std::chrono::duration<double>(1794764905)};

/// No value where the process would have been stopped.
std::optional<AppSnapshot> labAt(std::int64_t tick) {
  try {
    return SampleData::detail::snapshot(tick, kNow);
  } catch (const PreconditionFailure&) {
    return std::nullopt;
  }
}

bool stepsFit(std::int64_t tick) {
  std::int64_t first = 0;
  std::int64_t last = 0;
  return !__builtin_mul_overflow(tick, 20, &first) && !__builtin_add_overflow(first, 96, &last);
}

void check(std::int64_t tick) {
  const std::optional<AppSnapshot> lab = labAt(tick);
  require(lab.has_value() == stepsFit(tick), "a lab is where its steps fit");
  if (!lab) return;

  for (const JSONStyle style : {JSONStyle::compact, JSONStyle::pretty}) {
    Findings findings;
    require(Decoded<AppSnapshot>(encode(*lab, style), &findings).value == lab,
            "a lab decodes to itself");
    require(findings.count() == 0, "nothing is told of it");
  }
  const std::vector<ProcessStat>& processes = lab->processes;
  require(processes.size() == 6, "a lab has six processes");
  require(std::is_sorted(processes.begin(),
                         processes.end(),
                         [](const ProcessStat& a, const ProcessStat& b) {
                           return a.cpuPercent > b.cpuPercent;
                         }),
          "the busiest comes first");
  for (const TrainingRun& run : lab->runs) {
    require(run.metrics.front().step >= 0, "no step is negative");
    require(std::is_sorted(
                run.metrics.begin(),
                run.metrics.end(),
                [](const TrainingMetric& a, const TrainingMetric& b) { return a.step < b.step; }),
            "steps go up");
  }
}

}  // namespace
}  // namespace tavrine::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::int64_t tick = 0;
  std::memcpy(&tick, data, std::min(size, sizeof tick));
  tavrine::fuzz::check(tick);
  return 0;
}
