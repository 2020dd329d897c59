// Any text as a recorder's log. What must hold: the points are what the naive twin gives, with and
// without findings, which account for every line that is not blank; they are in the order of their
// times, and the latest are the last.
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/recorder/recorder_line_parser.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "fuzz/require.h"
#include "tests/support/naive_recorder_line_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine;
  using namespace tavrine::fuzz;
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  Findings findings(size);
  const std::vector<RecorderLogPoint> points = RecorderLineParser::parse(text, &findings);
  require(points == RecorderLineParser::parse(text), "the same comes with findings");
  std::size_t lines = 0;
  require(points == naive::parseRecorderLines(text, &lines), "the naive twin gives the same");
  require(points.size() + findings.count(FindingOutcome::lineDropped) == lines,
          "every line is a point or told of");
  for (const Finding& finding : findings.list()) {
    require(finding.line && *finding.line >= 1 && !finding.reason.empty() &&
                isWellFormedUTF8(finding.found),
            "a finding tells where and why");
  }
  require(std::is_sorted(points.begin(),
                         points.end(),
                         [](const auto& a, const auto& b) { return a.t < b.t; }),
          "points are in the order of their times");

  const auto snapshot = std::find_if(points.rbegin(), points.rend(), [](const auto& point) {
    return point.phase == "snapshot";
  });
  require(RecorderLineParser::latestSnapshot(text) ==
              (snapshot == points.rend() ? std::nullopt : std::optional(*snapshot)),
          "the latest snapshot is the last");
  const auto stack = std::find_if(points.rbegin(), points.rend(), [](const auto& point) {
    return point.pySpy && !point.pySpy->empty();
  });
  require(RecorderLineParser::latestStack(text) ==
              (stack == points.rend() ? std::nullopt : std::optional(stack->pySpy->front())),
          "the latest stack is the last");
  return 0;
}
