// Points in time, and their text form 2026-11-15T17:48:25Z.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tavrine {

/// Seconds since 1970-01-01T00:00:00Z, leap seconds not counted. Holds any double: fractions,
/// times far beyond the calendar, and even NaN; arithmetic on it never overflows.
using Timestamp = std::chrono::sys_time<std::chrono::duration<double>>;

/// Reads exactly `YYYY-MM-DDTHH:MM:SS` followed by `Z` or by an offset `+HH:MM` or `-HH:MM` (hours
/// to 23, minutes to 59), of the proleptic Gregorian calendar with years 0000 to 9999. Everything
/// else gives no value: lower-case letters, blanks, `+0200`, fractions of a second, second 60,
/// hour 24, dates that do not exist. The offset may lead out of those years.
std::optional<Timestamp> timestampFromISO8601(std::string_view text);

/// The present moment, by the system's clock.
inline Timestamp currentTime() { return std::chrono::system_clock::now(); }

/// The length of the text form; it never varies.
inline constexpr std::size_t kISO8601Length = 20;

/// The text form in UTC, to whole seconds, fractions rounded down (before 1970 too). No value when
/// the time lies outside the years 0000 to 9999 or is NaN or infinite.
std::optional<std::string> iso8601Text(Timestamp time);

/// The same, written over the characters given, without allocating. False, and nothing written,
/// where `iso8601Text` has no value.
bool writeISO8601(Timestamp time, std::span<char, kISO8601Length> out);

/// Equal times hash equally, 0.0 and -0.0 included. (The standard library has no std::hash for
/// times, and one may not be added from outside for a type that is wholly the standard's.)
inline std::size_t hashOf(Timestamp time) {
  return std::hash<double>{}(time.time_since_epoch().count());
}

}  // namespace tavrine
