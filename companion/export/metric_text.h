// Families of metrics in the two text formats of monitoring systems.
#pragma once

#include "companion/export/metric_families.h"

#include <span>
#include <string>

namespace tavrine {

/// The text format of Prometheus. It knows no infos and no sets of states: they are gauges, of
/// the same names and labels as in the other format.
std::string prometheusText(std::span<const MetricFamily> families);

/// OpenMetrics 1.0, with units.
std::string openMetricsText(std::span<const MetricFamily> families);

}  // namespace tavrine
