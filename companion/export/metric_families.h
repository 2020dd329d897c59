// A snapshot as families of metrics, in base units (bytes, seconds, watts, degrees Celsius, hertz,
// ratios of 0 to 1), for the formats that monitoring systems read.
#pragma once

#include <TavrineShared/model/app_snapshot.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

enum class MetricType : std::uint8_t { gauge, counter, info, stateSet };

struct MetricSample {
  /// Such as `server="gpu-01",gpu="0"`, escaped as all formats want it. Empty values are left out:
  /// to those who read them, they are the same as none.
  std::string labels;
  double value;  ///< of counters never negative, of infos 1, of states 0 or 1
};

struct MetricFamily {
  /// Without what a format adds for its type, but with its unit: `tavrine_gpu_power_watts`.
  std::string name;
  std::string_view help;
  std::string_view unit;  ///< the last word of the name; empty for what only counts
  MetricType type;
  std::vector<MetricSample> samples;  ///< of different labels
};

struct MetricOptions {
  bool processes = false;  ///< also one series and more for each process
};

struct MetricExport {
  std::vector<MetricFamily> families;  ///< each with a sample
  /// What had the labels of another, in words; it is in no family.
  std::vector<std::string> leftOut;
};

/// In an order that only the snapshot decides. What is absent has no sample.
MetricExport metricFamilies(const AppSnapshot& snapshot, const MetricOptions& options);

}  // namespace tavrine
