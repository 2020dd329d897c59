// Any text as each of the three readings of a host. What must hold: the same comes with and without
// findings; disk rates are what the naive twin gives, sorted, positive and told of; load averages
// and temperatures account for every piece and every line, and lie within their bounds.
#include <TavrineShared/parsers/cpu_thermal_parser.h>
#include <TavrineShared/parsers/disk_io_parser.h>
#include <TavrineShared/parsers/load_avg_parser.h>
#include <TavrineShared/parsers/text_rules.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "fuzz/line_findings.h"
#include "fuzz/require.h"
#include "tests/support/naive_disk_io_parser.h"

namespace tavrine::fuzz {
namespace {

void requireLoad(std::string_view text) {
  Findings findings;
  const std::vector<double> averages = LoadAvgParser::parse(text, &findings);
  std::vector<double> expected;
  std::size_t pieces = 0;
  std::u32string rest = naive::trimmed(naive::decodedUTF8(text)) + U' ';
  std::u32string piece;
  for (const char32_t c : rest) {
    if (c != U' ') {
      piece += c;
    } else if (!piece.empty() && pieces < 3) {
      ++pieces;
      if (const auto number = naive::readFloat(piece)) expected.push_back(*number);
      piece.clear();
    }
  }
  require(std::equal(averages.begin(),
                     averages.end(),
                     expected.begin(),
                     expected.end(),
                     [](double a, double b) { return naive::areSameBits(a, b); }),
          "the averages are the numbers among the first three pieces");
  require(findings.count(FindingOutcome::readAsAbsent) == pieces - averages.size(),
          "what is no number is told");
  require(LoadAvgParser::parse(text).size() == averages.size(), "the same comes with findings");
}

void requireThermal(std::string_view text) {
  Findings findings(text.size());
  const std::vector<CPUTemperature> readings = CPUThermalParser::parse(text, &findings);
  require(CPUThermalParser::parse(text) == readings, "the same comes with findings");
  requireTellLines(text, findings);
  std::size_t lines = 0;
  for (LineCursor cursor(text); cursor.next();) ++lines;
  require(readings.size() + findings.count(FindingOutcome::lineDropped) == lines,
          "every line is a reading or told of");
  for (const CPUTemperature& reading : readings) {
    require(reading.celsius > -50 && reading.celsius < 200, "a reading lies within its bounds");
    require(!reading.label.empty() && trimmed(reading.label) == reading.label &&
                isWellFormedUTF8(reading.label),
            "a label is a trimmed text");
  }
}

void requireDisks(std::string_view text, double sectorSizeBytes, double intervalSeconds) {
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
  requireLoad(text);
  requireThermal(text);
  requireDisks(text, 512, 2);
  requireDisks(text, -1e300, 0);
  return 0;
}
