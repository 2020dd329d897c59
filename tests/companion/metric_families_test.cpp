#include "companion/export/metric_families.h"

#include "companion/views/number_text.h"

#include <TavrineShared/demo/sample_data.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "tests/support/documents.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

AppSnapshot nothing() {
  AppSnapshot snapshot = AppSnapshot::empty();
  snapshot.timestamp = at(1794764905);
  return snapshot;
}

GPUStat gpuOf(std::int64_t index) {
  return {.index = index,
          .name = "GPU A",
          .utilizationPercent = 7,
          .memoryUsedMB = 2,
          .memoryTotalMB = 4,
          .temperatureC = 30.5,
          .powerDrawW = 5,
          .powerLimitW = 6,
          .fanSpeedPercent = {},
          .smClockMHz = 1755,
          .memClockMHz = {},
          .eccErrorsTotal = {},
          .pcieLinkGen = {},
          .pcieLinkWidth = {},
          .pstate = {}};
}

ServerSummary serverOf(const std::string& name, std::vector<GPUStat> gpus = {}) {
  return {.id = {},
          .name = name,
          .host = "host",
          .state = ServerConnectionState::connected,
          .gpus = std::move(gpus),
          .activeRuns = 0,
          .diskFreeGB = {},
          .lastSeen = at(1)};
}

/// "labels value" of each sample; nothing for a family that is not there.
std::vector<std::string> samples(const MetricExport& made, const std::string& name) {
  std::vector<std::string> found;
  for (const MetricFamily& family : made.families) {
    if (family.name != "tavrine_" + name) continue;
    for (const auto& [labels, value] : family.samples) {
      found.push_back(labels + " " + significantDigits(value, 12));
    }
  }
  return found;
}

MetricExport exported(const AppSnapshot& snapshot, bool processes = false) {
  return metricFamilies(snapshot, {.processes = processes});
}

TEST(MetricFamilies, areInBaseUnits) {
  AppSnapshot snapshot = nothing();
  snapshot.servers = {serverOf("a", {gpuOf(0)})};
  snapshot.servers[0].diskFreeGB = 1.5;
  const MetricExport made = exported(snapshot);
  const std::string labels = R"(server="a",gpu="0")";
  EXPECT_THAT(samples(made, "gpu_utilization_ratio"), ElementsAre(labels + " 0.07"));
  EXPECT_THAT(samples(made, "gpu_memory_used_bytes"), ElementsAre(labels + " 2097152"));
  EXPECT_THAT(samples(made, "gpu_temperature_celsius"), ElementsAre(labels + " 30.5"));
  EXPECT_THAT(samples(made, "gpu_sm_clock_hertz"), ElementsAre(labels + " 1755000000"));
  EXPECT_THAT(samples(made, "server_disk_free_bytes"), ElementsAre("server=\"a\" 1610612736"));
  EXPECT_THAT(samples(made, "snapshot_timestamp_seconds"), ElementsAre(" 1794764905"));
}

TEST(MetricFamilies, haveNoSampleForWhatIsAbsent) {
  AppSnapshot snapshot = nothing();
  snapshot.servers = {serverOf("a", {gpuOf(0), gpuOf(1)})};
  snapshot.servers[0].gpus[1].fanSpeedPercent = 0;
  const MetricExport made = exported(snapshot);
  EXPECT_THAT(samples(made, "gpu_fan_speed_ratio"), ElementsAre(R"(server="a",gpu="1" 0)"));
  EXPECT_THAT(samples(made, "gpu_memory_clock_hertz"), IsEmpty());
  EXPECT_THAT(samples(made, "server_disk_free_bytes"), IsEmpty());
}

TEST(MetricFamilies, ofNothing) {
  std::vector<std::string> names;
  for (const MetricFamily& family : exported(nothing(), true).families)
    names.push_back(family.name);
  EXPECT_THAT(
      names,
      ElementsAre("tavrine_snapshot_timestamp_seconds", "tavrine_active_runs", "tavrine_alerts"));
}

TEST(MetricFamilies, escapeLabels) {
  AppSnapshot snapshot = nothing();
  snapshot.servers = {serverOf("a\"b\\c\nd\r\x1B")};
  EXPECT_THAT(samples(exported(snapshot), "server_up"),
              ElementsAre("server=\"a\\\"b\\\\c\\nd\r\x1B\" 1"));
}

TEST(MetricFamilies, leaveEmptyLabelsOut) {
  AppSnapshot snapshot = nothing();
  snapshot.servers = {serverOf("", {gpuOf(0)})};
  const MetricExport made = exported(snapshot);
  EXPECT_THAT(samples(made, "server_up"), ElementsAre(" 1"));
  EXPECT_THAT(samples(made, "gpu_power_watts"), ElementsAre("gpu=\"0\" 5"));
}

TEST(MetricFamilies, keepTheFirstOfThoseWithTheSameLabels) {
  AppSnapshot snapshot = nothing();
  GPUStat other = gpuOf(0);
  other.powerDrawW = 99;
  other.name = "GPU B";
  snapshot.servers = {serverOf("a", {gpuOf(0), other, other}), serverOf("b"), serverOf("a")};
  const MetricExport made = exported(snapshot);
  EXPECT_THAT(samples(made, "gpu_power_watts"), ElementsAre(R"(server="a",gpu="0" 5)"));
  EXPECT_THAT(samples(made, "gpu"), ElementsAre(R"(server="a",gpu="0",name="GPU A" 1)"));
  EXPECT_THAT(samples(made, "server_up"), ElementsAre("server=\"a\" 1", "server=\"b\" 1"));
  EXPECT_THAT(
      made.leftOut,
      ElementsAre("1 of the servers left out, for another has the same labels: {server=\"a\"}",
                  "2 of the GPUs left out, for another has the same labels: "
                  "{server=\"a\",gpu=\"0\"} and others"));
}

TEST(MetricFamilies, tellSensorsOfOneNameApart) {
  AppSnapshot snapshot = nothing();
  snapshot.sensors = {{.serverName = "a",
                       .capturedAt = at(1),
                       .cpuTemperatures = {{"Composite", 30}, {"Tctl", 40}, {"Composite", 50}},
                       .diskIO = {},
                       .loadAverage = {1, 2}}};
  const MetricExport made = exported(snapshot);
  EXPECT_THAT(samples(made, "sensor_temperature_celsius"),
              ElementsAre(R"(server="a",sensor="Composite",number="1" 30)",
                          R"(server="a",sensor="Tctl",number="1" 40)",
                          R"(server="a",sensor="Composite",number="2" 50)"));
  EXPECT_THAT(samples(made, "load5"), ElementsAre("server=\"a\" 2"));
  EXPECT_THAT(samples(made, "load15"), IsEmpty());
  EXPECT_THAT(made.leftOut, IsEmpty());
}

TEST(MetricFamilies, haveAStateForEachCase) {
  AppSnapshot snapshot = nothing();
  snapshot.servers = {serverOf("a")};
  snapshot.servers[0].state = ServerConnectionState::offline;
  const MetricExport made = exported(snapshot);
  EXPECT_THAT(samples(made, "server_state"),
              ElementsAre(R"(server="a",tavrine_server_state="connected" 0)",
                          R"(server="a",tavrine_server_state="degraded" 0)",
                          R"(server="a",tavrine_server_state="offline" 1)",
                          R"(server="a",tavrine_server_state="demo" 0)"));
  EXPECT_THAT(samples(made, "server_up"), ElementsAre("server=\"a\" 0"));
}

struct StateRow {
  const char* text;
  std::vector<std::string> samples;
};

TEST(MetricFamilies, readThePerformanceState) {
  const std::string labels = R"(server="a",gpu="0")";
  for (const auto& [text, expected] : std::vector<StateRow>{{"P0", {labels + " 0"}},
                                                            {"P12", {labels + " 12"}},
                                                            {"P", {}},
                                                            {"8", {}},
                                                            {"", {}},
                                                            {"Px", {}}}) {
    AppSnapshot snapshot = nothing();
    snapshot.servers = {serverOf("a", {gpuOf(0)})};
    snapshot.servers[0].gpus[0].pstate = text;
    EXPECT_EQ(samples(exported(snapshot), "gpu_performance_state"), expected) << text;
  }
}

TEST(MetricFamilies, haveNoCounterBelowZero) {
  AppSnapshot snapshot = nothing();
  snapshot.servers = {serverOf("a", {gpuOf(0), gpuOf(1)})};
  snapshot.servers[0].gpus[0].eccErrorsTotal = -1;
  snapshot.servers[0].gpus[1].eccErrorsTotal = 0;
  EXPECT_THAT(samples(exported(snapshot), "gpu_ecc_errors"),
              ElementsAre(R"(server="a",gpu="1" 0)"));
}

TEST(MetricFamilies, countProcessesAndShowThemWhenAsked) {
  const AppSnapshot snapshot = SampleData::snapshot(60);
  const MetricExport brief = exported(snapshot);
  EXPECT_THAT(samples(brief, "processes"),
              testing::Contains(R"(server="gpu-lab-a",kind="training" 2)"));
  EXPECT_THAT(samples(brief, "process_cpu_ratio"), IsEmpty());
  const auto shown = samples(exported(snapshot, true), "process_resident_memory_bytes");
  ASSERT_EQ(shown.size(), snapshot.processes.size());
  EXPECT_THAT(shown.front(), HasSubstr("pid=\"" + std::to_string(snapshot.processes[0].pid)));
  EXPECT_THAT(shown.front(), HasSubstr("command=\"" + snapshot.processes[0].command + "\""));
}

TEST(MetricFamilies, keepTheRulesOfNames) {
  std::set<std::string> names;
  for (const MetricFamily& family : exported(SampleData::snapshot(60), true).families) {
    EXPECT_TRUE(names.insert(family.name).second) << family.name;
    EXPECT_THAT(family.name, testing::MatchesRegex("tavrine_[a-z0-9_]+"));
    // A format adds that to a counter; on anything else it would lie.
    EXPECT_FALSE(family.name.ends_with("_total")) << family.name;
    EXPECT_TRUE(family.name.ends_with(family.unit)) << family.name;
    EXPECT_TRUE(family.help.ends_with(".")) << family.name;
    std::set<std::string> labels;
    for (const MetricSample& sample : family.samples) {
      EXPECT_TRUE(labels.insert(sample.labels).second) << family.name << sample.labels;
    }
    EXPECT_FALSE(labels.empty()) << family.name;
  }
  EXPECT_GT(names.size(), 50U);
}

}  // namespace
}  // namespace tavrine
