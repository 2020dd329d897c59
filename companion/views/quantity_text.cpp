#include "companion/views/quantity_text.h"

#include "companion/views/number_text.h"
#include "companion/views/table_layout.h"

#include <array>
#include <cmath>

namespace tavrine {

namespace {

struct Unit {
  std::string_view name;
  std::int64_t seconds;
};

constexpr auto kUnits = std::to_array<Unit>({
    {"d", 86400},
    {"h", 3600},
    {"min", 60},
    {"s", 1},
});

constexpr double kMostSeconds = 1e12;  // whatever is longer is no duration but a mistake

// Whole seconds in the largest unit that fits and, with two units, the next smaller one.
std::string inUnits(std::int64_t seconds, std::size_t most) {
  std::string text;
  for (std::size_t i = 0, shown = 0; i < kUnits.size() && shown < most; ++i) {
    const auto& [name, length] = kUnits[i];
    if (text.empty() && seconds < length && length > 1) continue;
    const std::int64_t count = seconds / length;
    seconds %= length;
    ++shown;
    if (count == 0 && !text.empty()) continue;
    if (!text.empty()) text += ' ';
    text.append(std::to_string(count)).append(" ").append(name);
  }
  return text;
}

}  // namespace

std::string withUnit(const std::optional<double>& value, std::string_view unit) {
  return value ? upToOneDecimal(*value).append(unit) : std::string(kAbsent);
}

double gibibytesIn(double mebibytes) {
  constexpr double kMBPerGB = 1024;
  return mebibytes / kMBPerGB;
}

std::string gibibytesOfMB(const std::optional<double>& mebibytes) {
  return mebibytes ? gibibytes(gibibytesIn(*mebibytes)) : std::string(kAbsent);
}

std::string gibibytes(const std::optional<double>& gibibytes) {
  return gibibytes ? oneDecimal(*gibibytes) + " GiB" : std::string(kAbsent);
}

std::string gibibytesUsed(double used, double total) {
  return oneDecimal(used) + " / " + gibibytes(total);
}

std::string lossText(const std::optional<double>& loss) {
  constexpr int kDigits = 4;
  return loss ? significantDigits(*loss, kDigits) : std::string(kAbsent);
}

std::string watts(const std::optional<double>& value) {
  return value ? oneDecimal(*value) + " W" : std::string(kAbsent);
}

std::string countText(const std::optional<std::int64_t>& value) {
  return value ? std::to_string(*value) : std::string(kAbsent);
}

std::string orAbsent(const std::optional<std::string>& value) {
  return value.value_or(std::string(kAbsent));
}

std::string counted(std::size_t count, std::string_view one, std::string_view many) {
  return std::to_string(count).append(" ").append(count == 1 ? one : many);
}

std::string timeText(Timestamp time) {
  std::optional<std::string> text = iso8601Text(time);
  if (!text) return std::string(kAbsent);
  constexpr std::size_t kDateLength = 10;
  (*text)[kDateLength] = ' ';
  text->back() = ' ';
  return text->append("UTC");
}

std::string durationText(double seconds) {
  if (!(seconds >= 0 && seconds < kMostSeconds)) return std::string(kAbsent);
  return inUnits(std::llround(seconds), 2);
}

std::string agoText(Timestamp time, Timestamp now) {
  const double seconds = (now - time).count();
  if (!(std::abs(seconds) < kMostSeconds)) return std::string(kAbsent);
  const std::int64_t whole = std::llround(std::abs(seconds));
  if (whole < 1) return "now";
  return seconds > 0 ? inUnits(whole, 1) + " ago" : "in " + inUnits(whole, 1);
}

}  // namespace tavrine
