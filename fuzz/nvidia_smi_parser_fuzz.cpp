// Any text as the output of the GPU query. What must hold:
//  - parseCSV gives what its naive twin gives, and stops the process where that would;
//  - it gives the same with findings, and these account for every line and every loss;
//  - records without NaNs and infinities encode, and decode to themselves.
#include <TavrineShared/foundation/precondition.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/parsers/nvidia_smi_parser.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "fuzz/line_findings.h"
#include "fuzz/require.h"
#include "tests/support/naive_nvidia_smi_parser.h"
#include "tests/support/naive_text.h"

namespace tavrine::fuzz {
namespace {

using Records = std::vector<GPUStat>;

/// No value where the process would have been stopped.
std::optional<Records> parse(std::string_view text, Findings* findings) {
  try {
    return NVIDIASMIParser::parseCSV(text, findings);
  } catch (const PreconditionFailure&) {
    return std::nullopt;
  }
}

bool areSame(const std::optional<Records>& a, const std::optional<Records>& b) {
  return a.has_value() == b.has_value() && (!a || naive::areSameBits(*a, *b));
}

void requireCounts(std::string_view text, std::size_t records, const Findings& findings,
                   const naive::Losses& losses) {
  requireEveryLine(text, records, findings);
  require(findings.count(FindingOutcome::headerSkipped) == losses.headers, "headers are told");
  require(findings.count(FindingOutcome::lineDropped) == losses.lines, "dropped lines are told");
  require(findings.count(FindingOutcome::readAsZero) == losses.readAsZero, "zeros are told");
  require(findings.count(FindingOutcome::readAsAbsent) == losses.readAsAbsent,
          "absent numbers are told");
  require(findings.count(FindingOutcome::truncated) == losses.truncated, "cut numbers are told");
  require(findings.count(FindingOutcome::ignored) == losses.columns, "further columns are told");
  require(findings.count(FindingOutcome::repaired) == 0 || !isWellFormedUTF8(text),
          "what is well-formed needs no repair");
  require(findings.count() == findings.lossCount() + losses.headers, "headers alone are no loss");
}

void requireSense(std::string_view text, const Findings& findings) {
  requireTellLines(text, findings);
  requireInOrder(findings);
  std::set<std::string_view> fields;
  for (const Field& field : GPUStat::table().fields) fields.insert(field.key);
  for (const Finding& finding : findings.list()) {
    const bool isAboutLine = finding.outcome == FindingOutcome::headerSkipped ||
                             finding.outcome == FindingOutcome::lineDropped;
    require(isAboutLine == !finding.column, "a finding is about a line or a column of it");
    require(
        isAboutLine || finding.outcome == FindingOutcome::ignored || fields.contains(finding.path),
        "a finding about a column names its field");
  }
}

bool isFinite(const std::optional<double>& number) { return !number || std::isfinite(*number); }

bool isFinite(const GPUStat& gpu) {
  return std::isfinite(gpu.utilizationPercent) && std::isfinite(gpu.memoryUsedMB) &&
         std::isfinite(gpu.memoryTotalMB) && std::isfinite(gpu.temperatureC) &&
         std::isfinite(gpu.powerDrawW) && std::isfinite(gpu.powerLimitW) &&
         isFinite(gpu.fanSpeedPercent) && isFinite(gpu.smClockMHz) && isFinite(gpu.memClockMHz);
}

void requireEncodes(const Records& records) {
  for (const JSONStyle style : {JSONStyle::compact, JSONStyle::pretty}) {
    bool isEncoded = true;
    try {
      Findings findings;
      require(decode<Records>(encode(records, style), &findings) == records,
              "records decode to themselves");
      require(findings.count() == 0, "nothing is lost in what was encoded");
    } catch (const EncodingError&) {
      isEncoded = false;
    }
    require(isEncoded == std::all_of(records.begin(),
                                     records.end(),
                                     [](const GPUStat& gpu) { return isFinite(gpu); }),
            "finite records encode, and no others");
  }
}

}  // namespace
}  // namespace tavrine::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine;
  using namespace tavrine::fuzz;
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  Findings findings(size);  // room for one finding per byte is more than enough
  const std::optional<Records> records = parse(text, nullptr);
  require(areSame(records, parse(text, &findings)), "the same comes with findings");
  naive::Losses losses;
  require(areSame(records, naive::parseCSV(text, &losses)), "the naive twin gives the same");
  requireSense(text, findings);
  if (!records) return 0;
  requireCounts(text, records->size(), findings, losses);
  requireEncodes(*records);
  return 0;
}
