#include <TavrineShared/model/app_snapshot.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "tests/support/documents.h"
#include "tests/support/record_checks.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// --- one small record for each list ---

constexpr std::string_view kGPU =
    R"({"index":0,"memoryTotalMB":15360,"memoryUsedMB":0,"name":"Tesla T4","powerDrawW":8.5,)"
    R"("powerLimitW":70,"temperatureC":31,"utilizationPercent":12.5})";
constexpr std::string_view kServer =
    R"({"activeRuns":1,"gpus":[],"host":"h","id":"0F8FAD5B-D9CB-469F-A165-70867728950E",)"
    R"("lastSeen":"2026-11-15T17:48:25Z","name":"gpu-01","state":"connected"})";
constexpr std::string_view kRun =
    R"({"flopsTFLOPs":0,"framework":"","gpuUtilization":0,"health":"healthy",)"
    R"("id":"6BA7B810-9DAD-11D1-80B4-00C04FD430C8","logTail":"","name":"a","powerDrawW":0,)"
    R"("serverName":"gpu-01","startedAt":"2023-11-14T22:13:20Z","status":"running",)"
    R"("throughput":0,"vramTotalGB":0,"vramUsedGB":0,"recorderPoints":[{"t":1700000000}]})";
constexpr std::string_view kAlert =
    R"({"id":"6BA7B811-9DAD-11D1-80B4-00C04FD430C8","message":"","severity":"info",)"
    R"("timestamp":"2026-11-15T17:48:25Z","title":"t"})";
constexpr std::string_view kProcess =
    R"({"capturedAt":"2026-11-15T17:48:25Z","command":"c","cpuPercent":0,"elapsed":"",)"
    R"("executable":"e","kind":"training","memoryPercent":0,"owner":"","parentPID":1,"pid":2,)"
    R"("residentMemoryKB":3,"serverName":"gpu-01","state":"S"})";
constexpr std::string_view kUsage =
    R"({"days":7,"generatedAt":"2026-11-15T17:48:25Z","serverName":"gpu-01","students":[],)"
    R"("summary":"","summarySource":""})";
constexpr std::string_view kNetwork =
    R"({"aiSummary":"","generatedAt":"2026-11-15T17:48:25Z","serverName":"gpu-01",)"
    R"("summarySource":"","totalRxBytes":0,"totalTxBytes":0})";
constexpr std::string_view kAgent =
    R"({"generatedAt":"2026-11-15T17:48:25Z","ok":true,"serverName":"gpu-01","version":"1"})";
constexpr std::string_view kEvent =
    R"({"category":"c","id":"e","message":"","serverName":"gpu-01","severity":"critical",)"
    R"("timestamp":"2026-11-15T17:48:25Z","title":""})";
constexpr std::string_view kStore = R"({"serverName":"gpu-01"})";
constexpr std::string_view kSensors =
    R"({"capturedAt":"2026-11-15T17:48:25Z","cpuTemperatures":[],"diskIO":[],)"
    R"("loadAverage":[0.5],"serverName":"gpu-01"})";
constexpr std::string_view kHealth = R"({"serverName":"gpu-01"})";
constexpr std::string_view kManager = R"({"serverName":"gpu-01"})";

AppSnapshot example() {
  return {.timestamp = at(1794764905),
          .servers = {decode<ServerSummary>(kServer)},
          .runs = {decode<TrainingRun>(kRun)},
          .alerts = {decode<TavrineAlert>(kAlert)},
          .processes = {decode<ProcessStat>(kProcess)},
          .usageSummaries = {decode<UsageSummary>(kUsage)},
          .networkSummaries = {decode<NetworkSummary>(kNetwork)},
          .agentStatuses = {decode<AgentStatus>(kAgent)},
          .labEvents = {decode<LabEvent>(kEvent)},
          .labEventStores = {decode<LabEventStoreSummary>(kStore)},
          .sensors = {decode<SystemSensors>(kSensors)},
          .recorderHealth = {decode<RecorderHealth>(kHealth)},
          .modelManagers = {decode<ModelManager>(kManager)}};
}

constexpr std::string_view kOnlyATime = R"({"timestamp":"2026-11-15T17:48:25Z"})";
constexpr std::string_view kEmptyLists =
    R"({"agentStatuses":[],"alerts":[],"labEventStores":[],"labEvents":[],"modelManagers":[],)"
    R"("networkSummaries":[],"processes":[],"recorderHealth":[],"runs":[],"sensors":[],)"
    R"("servers":[],"timestamp":"2026-11-15T17:48:25Z","usageSummaries":[]})";

AppSnapshot nothing() { return decode<AppSnapshot>(kOnlyATime); }

/// A server with GPUs of which only one figure is of interest.
ServerSummary serverWith(double GPUStat::*figure, const std::vector<double>& values,
                         ServerConnectionState state = ServerConnectionState::connected) {
  ServerSummary server = decode<ServerSummary>(kServer);
  server.state = state;
  for (const double value : values) {
    server.gpus.push_back(decode<GPUStat>(kGPU));
    server.gpus.back().*figure = value;
  }
  return server;
}

// --- JSON ---

TEST(AppSnapshot, followsTheConventions) {
  const auto listOf = [](const std::string& element) { return "[" + element + "]"; };
  checkRecord(example(),
              R"({"agentStatuses":)" + listOf(std::string(kAgent)) + R"(,"alerts":)" +
                  listOf(std::string(kAlert)) + R"(,"labEventStores":)" +
                  listOf(rewritten<LabEventStoreSummary>(kStore)) + R"(,"labEvents":)" +
                  listOf(std::string(kEvent)) + R"(,"modelManagers":)" +
                  listOf(rewritten<ModelManager>(kManager)) + R"(,"networkSummaries":)" +
                  listOf(rewritten<NetworkSummary>(kNetwork)) + R"(,"processes":)" +
                  listOf(std::string(kProcess)) + R"(,"recorderHealth":)" +
                  listOf(rewritten<RecorderHealth>(kHealth)) + R"(,"runs":)" +
                  listOf(rewritten<TrainingRun>(kRun)) + R"(,"sensors":)" +
                  listOf(std::string(kSensors)) + R"(,"servers":)" + listOf(std::string(kServer)) +
                  R"(,"timestamp":"2026-11-15T17:48:25Z","usageSummaries":)" +
                  listOf(std::string(kUsage)) + "}",
              {{"servers", dropsBadElements()},
               {"runs", dropsBadElements()},
               {"alerts", dropsBadElements()},
               {"processes", dropsBadElements()},
               {"usageSummaries", dropsBadElements()},
               {"networkSummaries", dropsBadElements()},
               {"agentStatuses", dropsBadElements()},
               {"labEvents", dropsBadElements()},
               {"labEventStores", dropsBadElements()},
               {"sensors", dropsBadElements()},
               {"recorderHealth", dropsBadElements()},
               {"modelManagers", dropsBadElements()}});
}

TEST(AppSnapshot, isWrittenAsItWasRead) {
  for (const JSONStyle style : {JSONStyle::compact, JSONStyle::pretty}) {
    const std::string once = encode(example(), style);
    const AppSnapshot read = decode<AppSnapshot>(once);
    EXPECT_EQ(read, example());
    EXPECT_EQ(encode(read, style), once);
  }
}

TEST(AppSnapshot, needsOnlyATime) {
  const AppSnapshot snapshot = decode<AppSnapshot>(kOnlyATime);
  EXPECT_EQ(snapshot.timestamp, at(1794764905));
  EXPECT_EQ(encode(snapshot), kEmptyLists) << "empty lists are written";
  EXPECT_EQ(decode<AppSnapshot>(kEmptyLists), snapshot);
}

struct TimeRow {
  const char* name;
  std::string_view document;
};
void PrintTo(const TimeRow& row, std::ostream* out) { *out << row.document; }

class BadTimestamp : public testing::TestWithParam<TimeRow> {};

TEST_P(BadTimestamp, failsTheSnapshot) {
  EXPECT_EQ(placeOfFailure<AppSnapshot>(GetParam().document), "timestamp");
}

INSTANTIATE_TEST_SUITE_P(Values, BadTimestamp,
                         rows<TimeRow>({
                             {"missing", "{}"},
                             {"missingAmongOthers", R"({"servers":[],"runs":[]})"},
                             {"null", R"({"timestamp":null})"},
                             {"number", R"({"timestamp":1794764905})"},
                             {"noTime", R"({"timestamp":"today"})"},
                             {"fractionOfASecond", R"({"timestamp":"2026-11-15T17:48:25.5Z"})"},
                             {"noZone", R"({"timestamp":"2026-11-15T17:48:25"})"},
                         }),
                         rowName);

TEST(AppSnapshot, losesOnlyARunOfUnknownStatus) {
  const std::string bad = withMember(kRun, "status", R"("paused")");
  const AppSnapshot snapshot = decode<AppSnapshot>(
      withNewMember(std::string(kOnlyATime), "runs", "[" + bad + "," + std::string(kRun) + "]"));
  EXPECT_EQ(snapshot.runs, example().runs);
}

struct ListRow {
  const char* name;
  std::string_view key;
  std::string_view good;
  std::string bad;
};
void PrintTo(const ListRow& row, std::ostream* out) { *out << row.bad; }

class ListOfASnapshot : public testing::TestWithParam<ListRow> {};

TEST_P(ListOfASnapshot, losesOnlyBadElements) {
  const std::string good(GetParam().good);
  const std::string list = "[7," + good + "," + GetParam().bad + ",null," + good + "]";
  EXPECT_EQ(
      decode<AppSnapshot>(withNewMember(std::string(kOnlyATime), GetParam().key, list)),
      decode<AppSnapshot>(
          withNewMember(std::string(kOnlyATime), GetParam().key, "[" + good + "," + good + "]")));
  EXPECT_NE(decode<AppSnapshot>(withNewMember(std::string(kOnlyATime), GetParam().key, list)),
            nothing());
}

TEST_P(ListOfASnapshot, isEmptyWhenItIsNoList) {
  for (const std::string_view json : {"null", "5", "{}", R"("[]")", "true"}) {
    EXPECT_EQ(decode<AppSnapshot>(withNewMember(std::string(kOnlyATime), GetParam().key, json)),
              nothing())
        << json;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Lists, ListOfASnapshot,
    rows<ListRow>({
        {"servers", "servers", kServer, withoutMember(kServer, "name")},
        {"runs", "runs", kRun, withoutMember(kRun, "logTail")},
        {"alerts", "alerts", kAlert, withMember(kAlert, "severity", R"("fatal")")},
        {"processes", "processes", kProcess, withMember(kProcess, "kind", R"("daemon")")},
        {"usageSummaries", "usageSummaries", kUsage, withMember(kUsage, "students", "[{}]")},
        {"networkSummaries", "networkSummaries", kNetwork, withoutMember(kNetwork, "aiSummary")},
        {"agentStatuses", "agentStatuses", kAgent, withMember(kAgent, "ok", "1")},
        {"labEvents", "labEvents", kEvent, withoutMember(kEvent, "serverName")},
        {"labEventStores", "labEventStores", kStore, R"({"sizeBytes":"1"})"},
        {"sensors", "sensors", kSensors, withMember(kSensors, "diskIO", "[{}]")},
        {"recorderHealth", "recorderHealth", kHealth, R"({"retentionDays":"14"})"},
        {"modelManagers", "modelManagers", kManager, R"({"model":3})"},
    }),
    rowName);

TEST(AppSnapshot, losesABadGPUWithoutItsServer) {
  const std::string server = withMember(kServer, "gpus", "[{}," + std::string(kGPU) + "]");
  const AppSnapshot snapshot =
      decode<AppSnapshot>(withNewMember(std::string(kOnlyATime), "servers", "[" + server + "]"));
  ASSERT_EQ(snapshot.servers.size(), 1U);
  EXPECT_EQ(snapshot.servers[0].gpus, (std::vector<GPUStat>{decode<GPUStat>(kGPU)}));
}

TEST(AppSnapshot, writesNoFigures) {
  for (const std::string_view figure : {"averageGPUUtilization",
                                        "totalPowerDrawW",
                                        "activeRunCount",
                                        "activeProcessCount",
                                        "trainingProcessCount",
                                        "modelManager",
                                        "empty"}) {
    EXPECT_EQ(encode(example()).find(jsonText(figure)), std::string::npos) << figure;
  }
}

TEST(AppSnapshot, mayBeAKey) {
  AppSnapshot other = example();
  other.modelManagers[0].tier = 1;
  EXPECT_EQ((std::unordered_set<AppSnapshot>{example(), other, example()}).size(), 2U);
}

// --- the snapshot of nothing ---

TEST(EmptySnapshot, isMadeOnce) {
  const AppSnapshot& first = AppSnapshot::empty();
  const AppSnapshot second = AppSnapshot::empty();
  EXPECT_EQ(first.timestamp, second.timestamp);
  EXPECT_EQ(first, second);
}

TEST(EmptySnapshot, isOfNow) {
  const Timestamp timestamp = AppSnapshot::empty().timestamp;
  EXPECT_LE(timestamp, currentTime());
  // It was made at some time since this program started.
  EXPECT_LE(currentTime() - timestamp, std::chrono::hours(1));
}

TEST(EmptySnapshot, holdsNothing) {
  AppSnapshot snapshot = nothing();
  snapshot.timestamp = AppSnapshot::empty().timestamp;
  EXPECT_EQ(AppSnapshot::empty(), snapshot);
}

// --- figures of the GPUs ---

struct GPUsRow {
  const char* name;
  std::vector<std::vector<double>> servers;
  double average;
  double sum;
};
void PrintTo(const GPUsRow& row, std::ostream* out) { *out << row.name; }

class FigureOfAllGPUs : public testing::TestWithParam<GPUsRow> {};

TEST_P(FigureOfAllGPUs, goesThroughServersAndGPUsInOrder) {
  AppSnapshot busy = nothing();
  AppSnapshot hungry = nothing();
  for (const std::vector<double>& values : GetParam().servers) {
    busy.servers.push_back(serverWith(&GPUStat::utilizationPercent, values));
    hungry.servers.push_back(serverWith(&GPUStat::powerDrawW, values));
  }
  EXPECT_EQ(busy.averageGPUUtilization(), GetParam().average);
  EXPECT_EQ(hungry.totalPowerDrawW(), GetParam().sum);
}

INSTANTIATE_TEST_SUITE_P(Values, FigureOfAllGPUs,
                         rows<GPUsRow>({
                             {"noServers", {}, 0, 0},
                             {"serversWithoutGPUs", {{}, {}}, 0, 0},
                             {"oneGPU", {{97.5}}, 97.5, 97.5},
                             {"serverWithoutGPUsDoesNotWeighIn", {{100}, {0}, {}}, 50, 100},
                             {"eachGPUWeighsTheSame", {{100, 100, 100}, {0}}, 75, 300},
                             {"notRounded", {{1, 0}, {0}}, 1.0 / 3, 1},
                             {"negative", {{-1}, {-2}}, -1.5, -3},
                             // In any other order of adding, the one would count.
                             {"addedInOrder", {{1e16, 1}, {-1e16}}, 0, 0},
                         }),
                         rowName);

TEST(FigureOfAllGPUs, isNotANumberWhereOneIsNot) {
  AppSnapshot snapshot = nothing();
  snapshot.servers = {serverWith(&GPUStat::utilizationPercent, {50, kNaN}),
                      serverWith(&GPUStat::utilizationPercent, {50})};
  EXPECT_TRUE(std::isnan(snapshot.averageGPUUtilization()));
  snapshot.servers = {serverWith(&GPUStat::powerDrawW, {50, kNaN})};
  EXPECT_TRUE(std::isnan(snapshot.totalPowerDrawW()));
}

struct StateRow {
  const char* name;
  ServerConnectionState state;
};
void PrintTo(const StateRow& row, std::ostream* out) { *out << row.state.rawValue(); }

class GPUsOfAServerInAState : public testing::TestWithParam<StateRow> {};

TEST_P(GPUsOfAServerInAState, count) {
  AppSnapshot snapshot = nothing();
  snapshot.servers = {serverWith(&GPUStat::utilizationPercent, {100}),
                      serverWith(&GPUStat::utilizationPercent, {0, 0, 0}, GetParam().state)};
  EXPECT_EQ(snapshot.averageGPUUtilization(), 25);
  snapshot.servers = {serverWith(&GPUStat::powerDrawW, {100, 50.5}, GetParam().state)};
  EXPECT_EQ(snapshot.totalPowerDrawW(), 150.5);
}

INSTANTIATE_TEST_SUITE_P(States, GPUsOfAServerInAState,
                         rows<StateRow>({
                             {"connected", ServerConnectionState::connected},
                             {"degraded", ServerConnectionState::degraded},
                             {"offline", ServerConnectionState::offline},
                             {"demo", ServerConnectionState::demo},
                         }),
                         rowName);

// --- counts ---

struct RunRow {
  const char* name;
  RunStatus status;
  std::int64_t active;
};
void PrintTo(const RunRow& row, std::ostream* out) { *out << row.status.rawValue(); }

class ActiveRunCount : public testing::TestWithParam<RunRow> {};

TEST_P(ActiveRunCount, goesByStatus) {
  AppSnapshot snapshot = example();
  snapshot.runs[0].status = GetParam().status;
  EXPECT_EQ(snapshot.activeRunCount(), GetParam().active);
}

INSTANTIATE_TEST_SUITE_P(Statuses, ActiveRunCount,
                         rows<RunRow>({
                             {"queued", RunStatus::queued, 0},
                             {"warmingUp", RunStatus::warmingUp, 1},
                             {"running", RunStatus::running, 1},
                             {"stalled", RunStatus::stalled, 1},
                             {"failed", RunStatus::failed, 0},
                             {"completed", RunStatus::completed, 0},
                             {"idle", RunStatus::idle, 0},
                         }),
                         rowName);

TEST(ActiveRunCount, isThreeOfOneOfEach) {
  AppSnapshot snapshot = nothing();
  EXPECT_EQ(snapshot.activeRunCount(), 0);
  for (const RunStatus status : RunStatus::allCases()) {
    snapshot.runs.push_back(decode<TrainingRun>(kRun));
    snapshot.runs.back().status = status;
  }
  EXPECT_EQ(snapshot.runs.size(), 7U);
  EXPECT_EQ(snapshot.activeRunCount(), 3);
}

struct ProcessRow {
  const char* name;
  ProcessKind kind;
  std::int64_t training;
};
void PrintTo(const ProcessRow& row, std::ostream* out) { *out << row.kind.rawValue(); }

class TrainingProcessCount : public testing::TestWithParam<ProcessRow> {};

TEST_P(TrainingProcessCount, goesByKind) {
  AppSnapshot snapshot = example();
  snapshot.processes[0].kind = GetParam().kind;
  EXPECT_EQ(snapshot.trainingProcessCount(), GetParam().training);
  EXPECT_EQ(snapshot.activeProcessCount(), 1);
}

INSTANTIATE_TEST_SUITE_P(Kinds, TrainingProcessCount,
                         rows<ProcessRow>({
                             {"training", ProcessKind::training, 1},
                             {"gpu", ProcessKind::gpu, 0},
                             {"scheduler", ProcessKind::scheduler, 1},
                             {"notebook", ProcessKind::notebook, 1},
                             {"system", ProcessKind::system, 0},
                             {"other", ProcessKind::other, 0},
                         }),
                         rowName);

TEST(TrainingProcessCount, isThreeOfOneOfEach) {
  AppSnapshot snapshot = nothing();
  EXPECT_EQ(snapshot.trainingProcessCount(), 0);
  EXPECT_EQ(snapshot.activeProcessCount(), 0);
  for (const ProcessKind kind : ProcessKind::allCases()) {
    snapshot.processes.push_back(decode<ProcessStat>(kProcess));
    snapshot.processes.back().kind = kind;
  }
  EXPECT_EQ(snapshot.trainingProcessCount(), 3);
  EXPECT_EQ(snapshot.activeProcessCount(), 6);
}

// --- looking up ---

TEST(ModelManagerOfAServer, isTheFirstOfThatVeryName) {
  AppSnapshot snapshot = nothing();
  snapshot.modelManagers = {decode<ModelManager>(R"({"serverName":"gpu-02","tier":1})"),
                            decode<ModelManager>(R"({"serverName":"gpu-01","tier":2})"),
                            decode<ModelManager>(R"({"serverName":"gpu-01","tier":3})")};
  EXPECT_EQ(snapshot.modelManager("gpu-01"), snapshot.modelManagers[1]);
  EXPECT_EQ(snapshot.modelManager("gpu-02"), snapshot.modelManagers[0]);
  for (const std::string_view name : {"GPU-01", "gpu-0", "gpu-011", " gpu-01", "gpu-01 ", ""}) {
    EXPECT_EQ(snapshot.modelManager(name), std::nullopt) << name;
  }
}

TEST(ModelManagerOfAServer, mayHaveNoName) {
  AppSnapshot snapshot = nothing();
  EXPECT_EQ(snapshot.modelManager(""), std::nullopt);
  snapshot.modelManagers = {decode<ModelManager>("{}")};
  EXPECT_EQ(snapshot.modelManager(""), snapshot.modelManagers[0]);
}

}  // namespace
}  // namespace tavrine
