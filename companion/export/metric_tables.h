// Which metrics there are that are one number of a record: a row for each, a table for each kind of
// record.
#pragma once

#include "companion/export/metric_families.h"

#include <optional>
#include <span>
#include <string_view>

namespace tavrine {

template <class R>
struct Metric {
  std::string_view name;  ///< without the program's name in front
  std::string_view unit;  ///< the last word of the name; empty for what only counts
  MetricType type;
  std::string_view help;
  std::optional<double> (*value)(const R& record);  ///< no value for what is absent
};

std::span<const Metric<AppSnapshot>> labMetrics();
std::span<const Metric<ServerSummary>> serverMetrics();
std::span<const Metric<GPUStat>> gpuMetrics();
std::span<const Metric<TrainingRun>> runMetrics();
std::span<const Metric<SystemSensors>> loadMetrics();
std::span<const Metric<CPUTemperature>> temperatureMetrics();
std::span<const Metric<DiskIORate>> diskMetrics();
std::span<const Metric<StudentUsage>> userMetrics();
std::span<const Metric<RecorderHealth>> recorderMetrics();
std::span<const Metric<AgentStatus>> agentMetrics();
std::span<const Metric<NetworkInterfaceStat>> interfaceMetrics();
std::span<const Metric<ProcessStat>> processMetrics();

}  // namespace tavrine
