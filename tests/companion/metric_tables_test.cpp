#include "companion/export/metric_tables.h"

#include <gmock/gmock.h>

#include <set>
#include <string>

namespace tavrine {
namespace {

// What holds for every row of every table.
class Names {
 public:
  template <class R>
  void add(std::span<const Metric<R>> metrics) {
    EXPECT_FALSE(metrics.empty());
    for (const Metric<R>& metric : metrics) {
      EXPECT_TRUE(known_.insert(metric.name).second) << metric.name;
      EXPECT_THAT(std::string(metric.name), testing::MatchesRegex("[a-z0-9_]+"));
      EXPECT_TRUE(metric.name.ends_with(metric.unit)) << metric.name;
      EXPECT_TRUE(metric.help.ends_with(".")) << metric.name;
      EXPECT_TRUE(metric.type == MetricType::gauge || metric.type == MetricType::counter)
          << metric.name;
      EXPECT_NE(metric.value, nullptr) << metric.name;
    }
  }

 private:
  std::set<std::string_view> known_;
};

TEST(MetricTables, haveRowsOfTheirOwnNames) {
  Names names;
  names.add(labMetrics());
  names.add(serverMetrics());
  names.add(gpuMetrics());
  names.add(runMetrics());
  names.add(loadMetrics());
  names.add(temperatureMetrics());
  names.add(diskMetrics());
  names.add(userMetrics());
  names.add(recorderMetrics());
  names.add(agentMetrics());
  names.add(interfaceMetrics());
  names.add(processMetrics());
}

TEST(MetricTables, haveNoValueForWhatIsAbsent) {
  const SystemSensors sensors{};
  for (const auto& metric : loadMetrics()) EXPECT_EQ(metric.value(sensors), std::nullopt);
  const TrainingRun run{};
  std::set<std::string_view> absent;
  for (const auto& metric : runMetrics()) {
    if (!metric.value(run)) absent.insert(metric.name);
  }
  EXPECT_THAT(absent,
              testing::ElementsAre("run_dram_active_ratio",
                                   "run_fp32_active_ratio",
                                   "run_last_step",
                                   "run_loss",
                                   "run_remaining_seconds",
                                   "run_tensor_active_ratio",
                                   "run_validation_loss"));
}

}  // namespace
}  // namespace tavrine
