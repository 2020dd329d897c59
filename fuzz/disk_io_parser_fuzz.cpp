// Any text as two samples of disk statistics, with sectors and intervals of sense and of none. What
// must hold: the rates are what the naive twin gives, with and without findings, which tell of
// every line dropped, device left out and rate taken for 0.
#include <TavrineShared/parsers/disk_io_parser.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/line_findings.h"
#include "fuzz/require.h"
#include "tests/support/naive_disk_io_parser.h"

namespace tavrine::fuzz {
namespace {

void requireRates(std::string_view text, double sectorSizeBytes, double intervalSeconds) {
  Findings findings(2 * text.size());
  const auto rates = DiskIOParser::parse(text, sectorSizeBytes, intervalSeconds, &findings);
  require(naive::areSameBits(rates, DiskIOParser::parse(text, sectorSizeBytes, intervalSeconds)),
          "the same comes with findings");
  naive::DiskLosses losses;
  require(
      naive::areSameBits(rates, naive::parseDisks(text, sectorSizeBytes, intervalSeconds, &losses)),
      "the naive twin gives the same");
  requireTellLines(text, findings);
  require(findings.count(FindingOutcome::lineDropped) == losses.lines, "dropped lines are told");
  require(findings.count(FindingOutcome::leftOut) == losses.leftOut, "idle devices are told");
  require(findings.count(FindingOutcome::readAsZero) == losses.readAsZero, "zeros are told");
}

}  // namespace
}  // namespace tavrine::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine::fuzz;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  requireRates(text, 512, 2);
  requireRates(text, -1e300, 0);
  return 0;
}
