#include "companion/shell/duration.h"

#include <TavrineShared/parsers/text_rules.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace tavrine {

namespace {

struct Unit {
  char letter;
  double seconds;
};

constexpr auto kUnits =
    std::to_array<Unit>({{'s', 1}, {'m', 60}, {'h', 60 * 60}, {'d', 24 * 60 * 60}});

}  // namespace

std::optional<double> secondsNamed(const std::string& text) {
  if (text.empty()) return std::nullopt;
  const auto* const unit = std::find_if(kUnits.begin(), kUnits.end(), [&](const Unit& each) {
    return each.letter == text.back();
  });
  if (unit == kUnits.end()) return std::nullopt;
  const std::optional<double> count = readFloat(text.substr(0, text.size() - 1));
  const double seconds = count.value_or(0) * unit->seconds;
  if (!std::isfinite(seconds) || seconds <= 0) return std::nullopt;
  return seconds;
}

}  // namespace tavrine
