// Curves and bars as SVG within a page. Colours come from the page's style, by class.
#pragma once

#include "companion/export/html_text.h"

#include <span>
#include <string_view>
#include <vector>

namespace tavrine {

struct ChartPoint {
  double x;
  double y;
};

struct ChartCurve {
  std::string_view style;  ///< class of the curve
  std::vector<ChartPoint> points;
};

/// A figure of one or more curves over one axis, with the highest and the lowest value and both
/// ends of the axis, which counts `unit`. Points need no order. What is not finite is left out, and
/// of many points the means are drawn; without any point there is no figure.
Markup curveChart(const Markup& caption, std::string_view title, std::string_view unit,
                  std::span<const ChartCurve> curves);

/// A bar that is filled to `share`, 0 below 0 and as no number, 1 above 1.
Markup shareBar(double share, std::string_view style);

}  // namespace tavrine
