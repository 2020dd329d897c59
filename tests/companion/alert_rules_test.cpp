#include "companion/assemble/alert_rules.h"

#include <gmock/gmock.h>

#include <TavrineShared/model/stable_id.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/captures.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

GPUStat gpu(std::int64_t index, double temperature) {
  GPUStat gpu{};
  gpu.index = index;
  gpu.name = "NVIDIA L40S";
  gpu.temperatureC = temperature;
  return gpu;
}

ServerState server() {
  ServerState server{};
  server.name = "gpu-01";
  server.takenAt = kCaptureTime;
  server.connection = ServerConnectionState::connected;
  server.gpusAreKnown = true;
  return server;
}

TrainingRun run(RunStatus status) {
  TrainingRun run{};
  run.name = "llama";
  run.status = status;
  return run;
}

// Such as "warning GPU hot".
std::vector<std::string> titles(const std::vector<TavrineAlert>& alerts) {
  std::vector<std::string> titles;
  for (const TavrineAlert& each : alerts) {
    titles.push_back(std::string(each.severity.rawValue()) + " " + each.title);
  }
  return titles;
}

using Titles = std::vector<std::string>;

TEST(AlertsOf, findsNothingInAHealthyServer) {
  EXPECT_THAT(alertsOf(server(), {}, nullptr), IsEmpty());
}

struct HeatRow {
  const char* name;
  double temperature;
  Titles titles;
};
void PrintTo(const HeatRow& row, std::ostream* out) { *out << row.temperature; }

class Heat : public testing::TestWithParam<HeatRow> {};

TEST_P(Heat, isToldFrom85DegreesOn) {
  ServerState hot = server();
  hot.gpus = {gpu(0, 40), gpu(3, GetParam().temperature)};
  EXPECT_EQ(titles(alertsOf(hot, {}, nullptr)), GetParam().titles);
}

INSTANTIATE_TEST_SUITE_P(Temperatures, Heat,
                         rows<HeatRow>({{"below", 84.9, {}},
                                        {"at", 85, {"warning GPU hot"}},
                                        {"belowScorching", 94.9, {"warning GPU hot"}},
                                        {"scorching", 95, {"critical GPU hot"}}}),
                         rowName);

struct DiskRow {
  const char* name;
  double free;
  Titles titles;
};
void PrintTo(const DiskRow& row, std::ostream* out) { *out << row.free; }

class Disk : public testing::TestWithParam<DiskRow> {};

TEST_P(Disk, isToldWhenLittleIsLeft) {
  ServerState full = server();
  full.disk = DiskSpace{.totalKB = 1000, .freeKB = GetParam().free};
  EXPECT_EQ(titles(alertsOf(full, {}, nullptr)), GetParam().titles);
}

INSTANTIATE_TEST_SUITE_P(Parts, Disk,
                         rows<DiskRow>({{"fivePerCent", 50, {}},
                                        {"less", 49.9, {"warning Disk nearly full"}},
                                        {"onePerCent", 10, {"warning Disk nearly full"}},
                                        {"lessThanOne", 9.9, {"critical Disk full"}},
                                        {"nothing", 0, {"critical Disk full"}}}),
                         rowName);

TEST(AlertsOf, doNotTellOfADiskOfNoSize) {
  ServerState odd = server();
  odd.disk = DiskSpace{.totalKB = 0, .freeKB = 0};
  EXPECT_THAT(alertsOf(odd, {}, nullptr), IsEmpty());
}

struct RunRow {
  const char* name;
  RunStatus status;
  Titles titles;
};
void PrintTo(const RunRow& row, std::ostream* out) { *out << row.name; }

class Run : public testing::TestWithParam<RunRow> {};

TEST_P(Run, isToldWhenItStopped) {
  const std::vector<TrainingRun> runs = {run(GetParam().status)};
  const std::vector<TavrineAlert> alerts = alertsOf(server(), runs, nullptr);
  EXPECT_EQ(titles(alerts), GetParam().titles);
  for (const TavrineAlert& each : alerts) EXPECT_EQ(each.runName, "llama");
}

INSTANTIATE_TEST_SUITE_P(Statuses, Run,
                         rows<RunRow>({{"queued", RunStatus::queued, {}},
                                       {"warmingUp", RunStatus::warmingUp, {}},
                                       {"running", RunStatus::running, {}},
                                       {"stalled", RunStatus::stalled, {"warning Run stalled"}},
                                       {"failed", RunStatus::failed, {"critical Run failed"}},
                                       {"completed", RunStatus::completed, {}},
                                       {"idle", RunStatus::idle, {}}}),
                         rowName);

TEST(AlertsOf, tellsOfAServerThatIsOffline) {
  ServerState gone = server();
  gone.connection = ServerConnectionState::offline;
  EXPECT_THAT(titles(alertsOf(gone, {}, nullptr)), ElementsAre("critical Server offline"));
  EXPECT_EQ(alertsOf(gone, {}, nullptr).front().message, "gpu-01 did not answer.");
  gone.problem = "no answer within 30 s";
  EXPECT_EQ(alertsOf(gone, {}, nullptr).front().message, "No answer within 30 s.");
  gone.connection = ServerConnectionState::degraded;
  EXPECT_THAT(alertsOf(gone, {}, nullptr), IsEmpty());
}

TEST(AlertsOf, tellsOfOrphans) {
  ServerState server_ = server();
  server_.orphans = {{.pid = 7, .processName = "x", .usedMemoryMB = 2048, .gpuBusID = {}}};
  const std::vector<TavrineAlert> alerts = alertsOf(server_, {}, nullptr);
  EXPECT_THAT(titles(alerts), ElementsAre("warning Orphaned GPU memory"));
  EXPECT_THAT(alerts[0].message, testing::HasSubstr("Process 7 holds 2.0 GiB"));
}

// --- GPUs that were there before ---

AppSnapshot snapshotWith(std::vector<GPUStat> gpus, std::string name = "gpu-01") {
  AppSnapshot snapshot{};
  ServerSummary summary{};
  summary.name = std::move(name);
  summary.gpus = std::move(gpus);
  snapshot.servers.push_back(summary);
  return snapshot;
}

TEST(AlertsOf, tellsOfAGPUThatIsLost) {
  ServerState left = server();
  left.gpus = {gpu(0, 40)};
  const AppSnapshot before = snapshotWith({gpu(0, 40), gpu(1, 40)});
  const std::vector<TavrineAlert> alerts = alertsOf(left, {}, &before);
  EXPECT_THAT(titles(alerts), ElementsAre("critical GPU lost"));
  EXPECT_EQ(alerts[0].message, "GPU 1 (NVIDIA L40S) is no longer there.");
}

TEST(AlertsOf, tellsOfALostGPUForADayOrUntilItIsBack) {
  ServerState left = server();
  left.gpus = {gpu(0, 40)};
  AppSnapshot before = snapshotWith({gpu(0, 40), gpu(1, 40)});
  const std::vector<TavrineAlert> first = alertsOf(left, {}, &before);
  before = snapshotWith({gpu(0, 40)});
  before.alerts = first;
  constexpr auto kDay = std::chrono::hours(24);
  left.takenAt += kDay;
  EXPECT_EQ(alertsOf(left, {}, &before), first);
  left.takenAt += std::chrono::seconds(1);
  EXPECT_THAT(alertsOf(left, {}, &before), IsEmpty());

  ServerState whole = server();
  whole.gpus = {gpu(0, 40), gpu(1, 40)};
  EXPECT_THAT(alertsOf(whole, {}, &before), IsEmpty());
  before.alerts.front().serverName = "gpu-02";
  left.takenAt = server().takenAt;
  EXPECT_THAT(alertsOf(left, {}, &before), IsEmpty());
}

TEST(AlertsOf, knowsOfNoLossWithoutAnAnswer) {
  ServerState silent = server();
  silent.gpusAreKnown = false;
  const AppSnapshot before = snapshotWith({gpu(0, 40)});
  EXPECT_THAT(alertsOf(silent, {}, &before), IsEmpty());
}

TEST(AlertsOf, doesNotMissTheGPUsOfOthers) {
  const AppSnapshot before = snapshotWith({gpu(0, 40)}, "gpu-02");
  EXPECT_THAT(alertsOf(server(), {}, &before), IsEmpty());
}

// --- Which alert, and since when ---

TEST(AlertsOf, keepsIdAndTimeOfTheSameCondition) {
  ServerState hot = server();
  hot.gpus = {gpu(0, 90), gpu(1, 90)};
  AppSnapshot before{};
  before.alerts = alertsOf(hot, {}, nullptr);
  hot.takenAt += std::chrono::seconds(60);
  hot.gpus[0].temperatureC = 99;
  hot.orphans = {{.pid = 7, .processName = "x", .usedMemoryMB = 2048, .gpuBusID = {}}};
  const std::vector<TavrineAlert> after = alertsOf(hot, {}, &before);
  ASSERT_EQ(after.size(), 3U);
  EXPECT_EQ(after[0].id, before.alerts[0].id);
  EXPECT_EQ(after[0].severity, AlertSeverity::critical);
  EXPECT_EQ(after[0].timestamp, kCaptureTime);
  EXPECT_EQ(after[1].timestamp, kCaptureTime);
  EXPECT_EQ(after[2].timestamp, hot.takenAt);
}

TEST(AlertsOf, givesEachConditionItsOwnId) {
  std::vector<UUID> ids;
  for (const char* const name : {"gpu-01", "gpu-02"}) {
    ServerState bad = server();
    bad.name = name;
    bad.connection = ServerConnectionState::offline;
    bad.gpus = {gpu(0, 90), gpu(1, 90)};
    bad.disk = DiskSpace{.totalKB = 1000, .freeKB = 1};
    bad.orphans = {{.pid = 0, .processName = "x", .usedMemoryMB = 99, .gpuBusID = {}},
                   {.pid = 1, .processName = "x", .usedMemoryMB = 99, .gpuBusID = {}}};
    std::vector<TrainingRun> runs = {run(RunStatus::failed), run(RunStatus::stalled)};
    for (const TavrineAlert& each : alertsOf(bad, runs, nullptr)) {
      EXPECT_EQ(each.serverName, name);
      EXPECT_EQ(std::count(ids.begin(), ids.end(), each.id), 0) << each.title;
      ids.push_back(each.id);
    }
  }
  EXPECT_EQ(ids.size(), 16U);
  // Other programs may have kept it.
  EXPECT_EQ(ids.front(), StableID::uuid("alert:offline:gpu-01\n"));
}

}  // namespace
}  // namespace tavrine
