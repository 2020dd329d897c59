#include <TavrineShared/parsers/cpu_thermal_parser.h>

#include <TavrineShared/foundation/byte_scan.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/line_teller.h>
#include <TavrineShared/parsers/text_rules.h>

#include <array>
#include <cstddef>
#include <optional>

namespace tavrine::CPUThermalParser {

namespace {

constexpr double kColdest = -50;
constexpr double kHottest = 200;

void parseLine(const LineTeller& line, std::vector<CPUTemperature>& readings) {
  std::array<std::string_view, 3> pieces;
  const std::size_t count = byte_scan::split(line.line(), '\t', pieces);
  if (count < 2) return line.tellLine(FindingOutcome::lineDropped, "no tab");
  const std::optional<double> reading = readFloat(trimmed(pieces[1]));
  if (!reading) return line.tellLine(FindingOutcome::lineDropped, "the reading is not a number");
  const std::string_view label = trimmed(pieces[0]);
  if (label.empty()) return line.tellLine(FindingOutcome::lineDropped, "no label");
  const double celsius = *reading / 1000;
  // A NaN passes neither test.
  if (!(celsius > kColdest && celsius < kHottest)) {
    return line.tellLine(FindingOutcome::lineDropped, "not between -50 and 200 degrees");
  }
  readings.push_back({line.text(label, kFieldName<&CPUTemperature::label>), celsius});
  if (count > 2) {
    line.tell(FindingOutcome::ignored, pieces[2], "", "more columns than label and reading");
  }
}

}  // namespace

std::vector<CPUTemperature> parse(std::string_view text, Findings* findings) {
  std::vector<CPUTemperature> readings;
  for (LineCursor lines(text); lines.next();) {
    parseLine(LineTeller(lines.line(), lines.lineNumber(), findings), readings);
  }
  return readings;
}

}  // namespace tavrine::CPUThermalParser
