// Any text as a process table. What must hold: the records are what the naive twin gives, with and
// without findings, which account for every line and every zero; finite records decode to
// themselves.
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/parsers/process_stat_parser.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "fuzz/line_findings.h"
#include "fuzz/require.h"
#include "tests/support/naive_process_parsers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine;
  using namespace tavrine::fuzz;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const Timestamp time(std::chrono::duration<double>(1700000000));

  Findings findings(size);
  const auto records = ProcessStatParser::parse(text, "gpu-01", time, &findings);
  require(naive::areSameBits(records, ProcessStatParser::parse(text, "gpu-01", time)),
          "the same comes with findings");
  naive::ProcessLosses losses;
  require(naive::areSameBits(records, naive::parseProcesses(text, "gpu-01", time, &losses)),
          "the naive twin gives the same");

  requireTellLines(text, findings);
  requireInOrder(findings);
  requireEveryLine(text, records.size(), findings);
  require(findings.count(FindingOutcome::headerSkipped) == losses.headers, "headers are told");
  require(findings.count(FindingOutcome::lineDropped) == losses.lines, "dropped lines are told");
  require(findings.count(FindingOutcome::readAsZero) == losses.readAsZero, "zeros are told");
  require(findings.count(FindingOutcome::repaired) == 0 || !isWellFormedUTF8(text),
          "what is well-formed needs no repair");

  for (const ProcessStat& record : records) {
    if (!std::isfinite(record.cpuPercent) || !std::isfinite(record.memoryPercent)) continue;
    require(decode<ProcessStat>(encode(record)) == record, "a record decodes to itself");
  }
  return 0;
}
