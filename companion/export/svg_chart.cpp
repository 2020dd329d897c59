#include "companion/export/svg_chart.h"

#include "companion/views/chart.h"
#include "companion/views/number_text.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tavrine {

namespace {

constexpr double kWidth = 300;
constexpr double kHeight = 100;
constexpr double kMargin = 4;          // for the line at the edge to be seen in its full width
constexpr std::size_t kColumns = 240;  // more points than that would stand on one another

struct Range {
  double lowest;
  double highest;

  // In halves, for the largest numbers there are to have a difference.
  double share(double value) const {
    const double whole = highest / 2 - lowest / 2;
    return whole > 0 ? (value / 2 - lowest / 2) / whole : 0.5;
  }
};

std::string coordinate(double value) { return upToOneDecimal(value); }

std::vector<ChartPoint> drawnPoints(const std::vector<ChartPoint>& points) {
  std::vector<TimedValue> known;
  for (const auto& [x, y] : points) {
    if (std::isfinite(x) && std::isfinite(y)) known.push_back({x, y});
  }
  std::stable_sort(known.begin(), known.end(), [](const TimedValue& a, const TimedValue& b) {
    return a.time < b.time;
  });
  std::vector<ChartPoint> drawn;
  if (known.size() <= kColumns) {
    for (const auto& [x, y] : known) drawn.push_back({x, y});
    return drawn;
  }
  // The first and the last stand where the points begin and end.
  const double first = known.front().time;
  const double step = (known.back().time - first) / static_cast<double>(kColumns - 1);
  const auto means = meansOverTime(known, kColumns);
  for (std::size_t i = 0; i < means.size(); ++i) {
    if (!means[i] || !std::isfinite(*means[i])) continue;
    drawn.push_back({first + static_cast<double>(i) * step, *means[i]});
  }
  return drawn;
}

template <class Get>
Range rangeOf(const std::vector<ChartCurve>& curves, Get get) {
  Range range{HUGE_VAL, -HUGE_VAL};
  for (const ChartCurve& curve : curves) {
    for (const ChartPoint& point : curve.points) {
      range.lowest = std::min(range.lowest, get(point));
      range.highest = std::max(range.highest, get(point));
    }
  }
  return range;
}

std::string pathOf(const ChartCurve& curve, const Range& across, const Range& up) {
  const auto height = [&up](double value) {
    return coordinate(kHeight - kMargin - up.share(value) * (kHeight - 2 * kMargin));
  };
  // A single point is drawn as a level.
  if (curve.points.size() == 1) {
    return "M0 " + height(curve.points.front().y) + "H" + coordinate(kWidth);
  }
  std::string path;
  for (const auto& [x, y] : curve.points) {
    path.append(path.empty() ? "M" : "L").append(coordinate(across.share(x) * kWidth));
    path.append(" ").append(height(y));
  }
  return path;
}

void addPath(Markup& content, std::string_view style, std::string_view path) {
  content += element("path", Markup{}, attribute("class", style) + attribute("d", path));
}

Markup drawing(const std::vector<ChartCurve>& curves, const Range& across, const Range& up,
               std::string_view title) {
  Markup content;
  for (const double share : {0.25, 0.5, 0.75}) {
    addPath(content, "grid", "M0 " + coordinate(share * kHeight) + "H" + coordinate(kWidth));
  }
  for (const ChartCurve& curve : curves) {
    if (curve.points.empty()) continue;
    addPath(content, std::string("curve ").append(curve.style), pathOf(curve, across, up));
  }
  const std::string box = "0 0 " + coordinate(kWidth) + " " + coordinate(kHeight);
  return element("svg",
                 content,
                 attribute("viewBox", box) + R"( preserveAspectRatio="none" role="img")" +
                     attribute("aria-label", title));
}

// Four digits, but as many as there are in front of the point.
std::string figure(double value) {
  constexpr int kDigits = 4;
  constexpr double kMost = 1e9;
  const double size = std::abs(value);
  return size >= 1e3 && size < kMost ? upToOneDecimal(value) : significantDigits(value, kDigits);
}

std::string count(double value) {
  constexpr int kDigits = 16;
  return significantDigits(value, kDigits);
}

}  // namespace

Markup curveChart(const Markup& caption, std::string_view title, std::string_view unit,
                  std::span<const ChartCurve> curves) {
  std::vector<ChartCurve> drawn(curves.begin(), curves.end());
  for (ChartCurve& curve : drawn) curve.points = drawnPoints(curve.points);
  const Range across = rangeOf(drawn, [](const ChartPoint& point) { return point.x; });
  const Range up = rangeOf(drawn, [](const ChartPoint& point) { return point.y; });
  if (across.lowest > across.highest) return {};

  const std::string from = std::string(unit).append(" ").append(count(across.lowest));
  const std::string to = std::string(unit).append(" ").append(count(across.highest));
  const std::string spoken = std::string(title) + " between " + figure(up.lowest) + " and " +
                             figure(up.highest) + ", " + from + " to " + to;
  Markup levels = element("span", figure(up.highest));
  levels += element("span", figure(up.lowest));
  Markup ends = element("span", from);
  ends += element("span", to);

  Markup content = element("figcaption", caption);
  content += element("div", levels, "class=\"levels\"");
  content += drawing(drawn, across, up, spoken);
  content += element("div", ends, "class=\"ends\"");
  return element("figure", content);
}

Markup shareBar(double share, std::string_view style) {
  const auto rect = [](std::string_view part, double width) {
    return element(
        "rect",
        Markup{},
        attribute("class", part) + attribute("width", coordinate(width)) + R"( height="8" rx="2")");
  };
  const double filled = share > 0 ? std::min(share, 1.0) : 0;
  Markup content = rect("rail", 100);
  content += rect("fill", 100 * filled);
  return element("svg",
                 content,
                 R"(viewBox="0 0 100 8" preserveAspectRatio="none" aria-hidden="true")" +
                     attribute("class", std::string("bar ").append(style)));
}

}  // namespace tavrine
