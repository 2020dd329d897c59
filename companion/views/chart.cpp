#include "companion/views/chart.h"

#include "companion/views/display_width.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tavrine {

namespace {

constexpr std::size_t kEighths = 8;

// Parts of a block, from the bottom up and from the left.
constexpr std::array<std::string_view, kEighths + 1> kRising = {
    " ", "\u2581", "\u2582", "\u2583", "\u2584", "\u2585", "\u2586", "\u2587", "\u2588"};
constexpr std::array<std::string_view, kEighths + 1> kGrowing = {
    "", "\u258F", "\u258E", "\u258D", "\u258C", "\u258B", "\u258A", "\u2589", "\u2588"};

// For one line, where two heights would say too little.
constexpr std::array<std::string_view, kEighths + 1> kRisingASCII = {
    " ", "_", ".", ",", "-", "=", "+", "*", "#"};

// A share of `whole`; of what is more than nothing at least one, if there is one.
std::size_t partOf(double share, std::size_t whole) {
  if (!(share > 0)) return 0;
  const double part = std::round(std::min(share, 1.0) * static_cast<double>(whole));
  return std::clamp<std::size_t>(static_cast<std::size_t>(part),
                                 std::min<std::size_t>(whole, 1),
                                 whole);
}

// What one cell shows of a column that is `height` eighths high. The bottom row shows even nothing,
// or it would look like a gap.
std::string_view cell(std::size_t height, std::size_t rowsBelow, Glyphs glyphs) {
  const std::size_t below = rowsBelow * kEighths;
  std::size_t here = height <= below ? 0 : std::min(height - below, kEighths);
  if (rowsBelow == 0) here = std::max<std::size_t>(here, 1);
  if (glyphs == Glyphs::blocks) return kRising[here];
  if (here == 0) return " ";
  return here * 2 > kEighths ? "#" : ".";
}

}  // namespace

std::string bar(double share, std::size_t width, Glyphs glyphs) {
  std::string text;
  if (glyphs == Glyphs::ascii) return text.append(partOf(share, width), '#');
  const std::size_t eighths = partOf(share, width * kEighths);
  for (std::size_t i = 0; i < eighths / kEighths; ++i) text.append(kGrowing[kEighths]);
  return text.append(kGrowing[eighths % kEighths]);
}

std::string sparkline(std::span<const std::optional<double>> values, double lowest, double highest,
                      Glyphs glyphs) {
  std::string text;
  for (const std::optional<double>& value : values) {
    const double share = value ? (*value - lowest) / (highest - lowest) : 0;
    const std::size_t height = value ? std::max<std::size_t>(partOf(share, kEighths), 1) : 0;
    text.append(glyphs == Glyphs::blocks ? kRising[height] : kRisingASCII[height]);
  }
  return text;
}

std::vector<std::optional<double>> meansOverTime(std::span<const TimedValue> values,
                                                 std::size_t columns) {
  std::vector<std::optional<double>> means(columns);
  if (values.empty() || columns == 0) return means;
  // Halves, since the difference of two finite times may be beyond any double.
  const double earliest = values.front().time / 2;
  const double span = values.back().time / 2 - earliest;
  std::vector<double> counts(columns);
  for (const TimedValue& each : values) {
    const double place = span > 0 ? (each.time / 2 - earliest) / span : 0;
    const auto column =
        std::min(static_cast<std::size_t>(place * static_cast<double>(columns)), columns - 1);
    // The mean of what came so far, which no sum can take out of range.
    const double count = ++counts[column];
    const double mean = means[column].value_or(0);
    means[column] = mean - mean / count + each.value / count;
  }
  return means;
}

std::string chart(std::span<const std::optional<double>> columns, const ChartStyle& style) {
  const std::string top = style.label(style.highest) + std::string(style.unit);
  const std::string bottom = style.label(style.lowest) + std::string(style.unit);
  const std::size_t axis = std::max(displayWidth(top), displayWidth(bottom));
  std::string text;
  for (std::size_t row = 0; row < style.rows; ++row) {
    const std::string& label = row == 0 ? top : row + 1 == style.rows ? bottom : std::string();
    std::string line = std::string(axis - displayWidth(label), ' ') + label + " |";
    for (const std::optional<double>& value : columns) {
      const double share = value ? (*value - style.lowest) / (style.highest - style.lowest) : 0;
      line += value ? cell(partOf(share, style.rows * kEighths), style.rows - 1 - row, style.glyphs)
                    : " ";
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text.append(line).append("\n");
  }
  return text;
}

}  // namespace tavrine
