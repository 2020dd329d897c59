#include "companion/export/metric_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string_view>

namespace tavrine {

namespace {

struct TypeWords {
  std::string_view prometheus;
  std::string_view openMetrics;
  std::string_view suffix;  // of a sample's name
};

// In the order of MetricType.
constexpr auto kTypes = std::to_array<TypeWords>({
    {"gauge", "gauge", ""},
    {"counter", "counter", "_total"},
    {"gauge", "info", "_info"},
    {"gauge", "stateset", ""},
});

const TypeWords& wordsOf(MetricType type) { return kTypes.at(static_cast<std::size_t>(type)); }

std::string numberText(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "+Inf" : "-Inf";
  std::array<char, 32> buffer;
  const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  return {buffer.data(), written.ptr};
}

void addLine(std::string& text, std::string_view word, std::string_view name,
             std::string_view rest) {
  text.append("# ").append(word).append(" ").append(name).append(" ").append(rest).append("\n");
}

void addSamples(std::string& text, const std::string& name, const MetricFamily& family) {
  for (const MetricSample& sample : family.samples) {
    text.append(name);
    if (!sample.labels.empty()) text.append("{").append(sample.labels).append("}");
    text.append(" ").append(numberText(sample.value)).append("\n");
  }
}

}  // namespace

std::string prometheusText(std::span<const MetricFamily> families) {
  std::string text;
  for (const MetricFamily& family : families) {
    const TypeWords& words = wordsOf(family.type);
    const std::string name = family.name + std::string(words.suffix);
    addLine(text, "HELP", name, family.help);
    addLine(text, "TYPE", name, words.prometheus);
    addSamples(text, name, family);
  }
  return text;
}

std::string openMetricsText(std::span<const MetricFamily> families) {
  std::string text;
  for (const MetricFamily& family : families) {
    const TypeWords& words = wordsOf(family.type);
    addLine(text, "TYPE", family.name, words.openMetrics);
    if (!family.unit.empty()) addLine(text, "UNIT", family.name, family.unit);
    addLine(text, "HELP", family.name, family.help);
    addSamples(text, family.name + std::string(words.suffix), family);
  }
  return text.append("# EOF\n");
}

}  // namespace tavrine
