// Bars and charts made of characters.
#pragma once

#include "companion/views/number_text.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// What charts are made of: eighths of a block where the terminal can show them, else ASCII.
enum class Glyphs : std::uint8_t { ascii, blocks };

/// As much of `width` columns as `share` says, which counts as 0 below 0 and as no number, and as 1
/// above 1. Whatever is more than nothing shows.
std::string bar(double share, std::size_t width, Glyphs glyphs);

/// One line, a character per value, from `lowest` at the bottom to `highest`; what lies outside is
/// drawn at the edge. A missing value is a gap, and the lowest one still shows.
std::string sparkline(std::span<const std::optional<double>> values, double lowest, double highest,
                      Glyphs glyphs);

/// A value at a time, in seconds; both finite.
struct TimedValue {
  double time;
  double value;
};

/// The means of the values in each of `columns` equal spans of time, from the earliest value to the
/// latest; no value for a span without any. `values` are in the order of their times.
std::vector<std::optional<double>> meansOverTime(std::span<const TimedValue> values,
                                                 std::size_t columns);

struct ChartStyle {
  Glyphs glyphs = Glyphs::ascii;
  std::size_t rows = 4;
  double lowest = 0;     ///< value at the bottom
  double highest = 100;  ///< value at the top; what lies outside is drawn at the edge
  std::string_view unit = {};
  std::string (*label)(double value) = upToOneDecimal;  ///< of the axis
};

/// One column per value, in lines that each end with a line feed; the axis on the left names the
/// highest and the lowest value. A missing value is a gap, and the lowest one still shows.
std::string chart(std::span<const std::optional<double>> columns, const ChartStyle& style);

}  // namespace tavrine
