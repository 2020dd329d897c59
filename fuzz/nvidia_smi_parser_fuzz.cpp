// Any text as the output of the GPU query. What must hold:
//  - parseCSV gives what its naive twin gives, and stops the process where that would;
//  - it gives the same with findings, and these account for every line and every loss;
//  - records without NaNs and infinities encode, and decode to themselves.
#include <TavrineShared/foundation/precondition.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/parsers/nvidia_smi_parser.h>
#include <TavrineShared/parsers/text_rules.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

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
  std::size_t lines = 0;
  for (LineCursor cursor(text); cursor.next();) ++lines;
  require(records + findings.count(FindingOutcome::headerSkipped) +
                  findings.count(FindingOutcome::lineDropped) ==
              lines,
          "every line is a record or told of");
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
  require(findings.list().size() == findings.count(), "there is room for all findings");
}

void requireSense(std::string_view text, const Findings& findings) {
  std::set<std::string_view> fields;
  for (const Field& field : GPUStat::table().fields) fields.insert(field.key);
  std::vector<std::u32string> lines(1);  // by number
  for (const naive::Line& line : naive::linesOf(naive::decodedUTF8(text))) {
    lines.resize(line.number + 1);
    lines[line.number] = line.characters;
  }

  std::pair<std::int64_t, std::int64_t> last;
  for (const Finding& finding : findings.list()) {
    require(finding.line && *finding.line >= 1 && std::cmp_less(*finding.line, lines.size()),
            "a finding is about a line of the text");
    const std::u32string& line = lines[static_cast<std::size_t>(*finding.line)];
    require(!line.empty(), "a finding is about a line that is not empty");
    require(!finding.column ||
                (*finding.column >= 1 && std::cmp_less_equal(*finding.column, line.size() + 1)),
            "a finding is about a place in the line");
    const auto place = std::pair(*finding.line, finding.column.value_or(0));
    require(last < place, "findings come in the order of the text, one for each place");
    last = place;

    const std::u32string found = naive::decodedUTF8(finding.found);
    require(found.size() <= 80 && isWellFormedUTF8(finding.found), "what is shown is short");
    require(!finding.reason.empty(), "a finding has a reason");
    const bool isAboutLine = finding.outcome == FindingOutcome::headerSkipped ||
                             finding.outcome == FindingOutcome::lineDropped;
    require(isAboutLine == !finding.column, "a finding is about a line or a column of it");
    require(
        isAboutLine || finding.outcome == FindingOutcome::ignored || fields.contains(finding.path),
        "a finding about a column names its field");
    const std::size_t start = finding.column ? static_cast<std::size_t>(*finding.column) - 1 : 0;
    const bool isCut = found.ends_with(U'\u2026') && found.size() == 80;
    require(isCut || line.compare(start, found.size(), found) == 0,
            "what is shown stands where the finding says");
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
      require(naive::areSameBits(decode<Records>(encode(records, style), &findings), records),
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
