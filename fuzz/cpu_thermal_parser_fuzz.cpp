// Any text as temperatures. What must hold: the same comes with and without findings, which account
// for every line; readings lie within their bounds and have a label.
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/parsers/cpu_thermal_parser.h>
#include <TavrineShared/parsers/text_rules.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "fuzz/line_findings.h"
#include "fuzz/require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine;
  using namespace tavrine::fuzz;
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  Findings findings(size);
  const std::vector<CPUTemperature> readings = CPUThermalParser::parse(text, &findings);
  require(CPUThermalParser::parse(text) == readings, "the same comes with findings");
  requireTellLines(text, findings);
  requireEveryLine(text, readings.size(), findings);
  for (const CPUTemperature& reading : readings) {
    require(reading.celsius > -50 && reading.celsius < 200, "a reading lies within its bounds");
    require(!reading.label.empty() && trimmed(reading.label) == reading.label &&
                isWellFormedUTF8(reading.label),
            "a label is a trimmed text");
  }
  return 0;
}
