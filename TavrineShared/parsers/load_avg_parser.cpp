#include <TavrineShared/parsers/load_avg_parser.h>

#include <TavrineShared/foundation/text_position.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/agent_sensors.h>
#include <TavrineShared/model/line_teller.h>
#include <TavrineShared/parsers/text_rules.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace tavrine::LoadAvgParser {

namespace {

constexpr int kAverages = 3;

// The next piece between blanks; empty when there is none.
std::string_view takePiece(std::string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
  const std::string_view piece = rest.substr(0, rest.find(' '));
  rest.remove_prefix(piece.size());
  return piece;
}

Finding notANumber(std::string_view text, std::string_view piece) {
  const TextPosition place =
      textPosition(text, static_cast<std::size_t>(piece.data() - text.data()));
  Finding finding{};
  finding.line = static_cast<std::int64_t>(place.line);
  finding.column = static_cast<std::int64_t>(place.column);
  finding.path = kFieldName<&SystemSensors::loadAverage>;
  finding.found = excerpt(piece);
  finding.reason = "not a number";
  return finding;
}

}  // namespace

std::vector<double> parse(std::string_view text, Findings* findings) {
  std::vector<double> averages;
  std::string_view rest = trimmed(text);
  for (int i = 0; i < kAverages; ++i) {
    const std::string_view piece = takePiece(rest);
    if (piece.empty()) break;
    if (const std::optional<double> average = readFloat(piece)) {
      averages.push_back(*average);
    } else if (findings != nullptr) {
      findings->add(FindingOutcome::readAsAbsent, [&] { return notANumber(text, piece); });
    }
  }
  return averages;
}

}  // namespace tavrine::LoadAvgParser
