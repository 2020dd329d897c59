// Any text as a list of processes on GPUs. What must hold: the records are what the naive twin
// gives, with and without findings, which account for every line and every zero; finite records
// decode to themselves.
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/parsers/gpu_process_stat_parser.h>

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

  Findings findings(size);
  const auto records = GPUProcessStatParser::parse(text, &findings);
  require(naive::areSameBits(records, GPUProcessStatParser::parse(text)),
          "the same comes with findings");
  naive::ProcessLosses losses;
  require(naive::areSameBits(records, naive::parseGPUProcesses(text, &losses)),
          "the naive twin gives the same");

  requireTellLines(text, findings);
  requireInOrder(findings);
  requireEveryLine(text, records.size(), findings);
  require(findings.count(FindingOutcome::headerSkipped) == losses.headers, "headers are told");
  require(findings.count(FindingOutcome::lineDropped) == losses.lines, "dropped lines are told");
  require(findings.count(FindingOutcome::readAsZero) == losses.readAsZero, "zeros are told");
  require(findings.count(FindingOutcome::ignored) == losses.columns, "further columns are told");

  for (const GPUProcessStat& record : records) {
    if (!std::isfinite(record.usedMemoryMB)) continue;
    require(decode<GPUProcessStat>(encode(record)) == record, "a record decodes to itself");
  }
  return 0;
}
