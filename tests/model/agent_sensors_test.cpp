#include <TavrineShared/model/agent_sensors.h>

#include <gtest/gtest.h>

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

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

AgentStatus exampleAgent() {
  return {.serverName = "gpu-01",
          .ok = true,
          .version = "2.4.1",
          .startedAt = at(1700000000),
          .generatedAt = at(1794764905),
          .cacheGeneratedAt = at(1794764900),
          .intervalSeconds = 2.5,
          .processLimit = 200};
}

SystemSensors exampleSensors() {
  return {.serverName = "gpu-01",
          .capturedAt = at(1794764905),
          .cpuTemperatures = {{"Package 0", 61.5}, {"Package 1", 58}},
          .diskIO = {{"nvme0n1", 1024.5, 512.25, 37.5}, {"sda", 0, 8, {}}},
          .loadAverage = {12.5, 10, 8.75}};
}

ModelManager::Available exampleProfile() {
  return {.profile = 3,
          .label = "Large",
          .model = "lab/large-70b",
          .precision = "fp8",
          .gpus = 4,
          .downloaded = true};
}

ModelManager exampleManager() {
  return {.serverName = "gpu-01",
          .running = true,
          .model = "lab/large-70b",
          .configuredModel = "lab/small-8b",
          .tier = 2,
          .tierReason = "four GPUs",
          .selectedProfile = 3,
          .available = {exampleProfile()}};
}

/// What `{}` reads as, written.
constexpr std::string_view kNoManager = R"({"available":[],"running":false,"serverName":""})";

// --- the agent ---

TEST(AgentStatus, followsTheConventions) {
  checkRecord(exampleAgent(),
              R"({"cacheGeneratedAt":"2026-11-15T17:48:20Z",)"
              R"("generatedAt":"2026-11-15T17:48:25Z","intervalSeconds":2.5,"ok":true,)"
              R"("processLimit":200,"serverName":"gpu-01","startedAt":"2023-11-14T22:13:20Z",)"
              R"("version":"2.4.1"})");
}

TEST(AgentStatus, keepsAllButItsServerNameUnderAnother) {
  const AgentStatus renamed = exampleAgent().withServerName("gpu-99");
  EXPECT_EQ(renamed.serverName, "gpu-99");
  EXPECT_EQ(renamed,
            decode<AgentStatus>(withMember(encode(exampleAgent()), "serverName", R"("gpu-99")")));
  EXPECT_EQ(renamed.withServerName("gpu-01"), exampleAgent());
}

// --- sensors ---

TEST(CPUTemperature, followsTheConventions) {
  checkRecord(CPUTemperature{"Package 0", 61.5}, R"({"celsius":61.5,"label":"Package 0"})");
}

TEST(DiskIORate, followsTheConventions) {
  checkRecord(
      DiskIORate{"nvme0n1", 1024.5, 512.25, 37.5},
      R"({"device":"nvme0n1","readKBps":1024.5,"utilizationPercent":37.5,"writeKBps":512.25})");
}

TEST(DiskIORate, isIdentifiedByItsDevice) {
  EXPECT_EQ((DiskIORate{"sda", 0, 8, {}}).id(), "sda");
  EXPECT_EQ(encode(DiskIORate{"sda", 0, 8, {}}), R"({"device":"sda","readKBps":0,"writeKBps":8})");
}

TEST(SystemSensors, followsTheConventions) {
  checkRecord(exampleSensors(),
              R"({"capturedAt":"2026-11-15T17:48:25Z",)"
              R"("cpuTemperatures":[{"celsius":61.5,"label":"Package 0"},)"
              R"({"celsius":58,"label":"Package 1"}],)"
              R"("diskIO":[{"device":"nvme0n1","readKBps":1024.5,"utilizationPercent":37.5,)"
              R"("writeKBps":512.25},{"device":"sda","readKBps":0,"writeKBps":8}],)"
              R"("loadAverage":[12.5,10,8.75],"serverName":"gpu-01"})");
}

struct BadReadingRow {
  const char* name;
  std::string_view key;
  std::string_view list;
  std::string_view place;
};
void PrintTo(const BadReadingRow& row, std::ostream* out) { *out << row.list; }

class BadReading : public testing::TestWithParam<BadReadingRow> {};

TEST_P(BadReading, failsTheSensors) {
  EXPECT_EQ(placeOfFailure<SystemSensors>(
                withMember(encode(exampleSensors()), GetParam().key, GetParam().list)),
            GetParam().place);
}

INSTANTIATE_TEST_SUITE_P(
    Elements, BadReading,
    rows<BadReadingRow>({
        {"diskWithoutWrites",
         "diskIO",
         R"([{"device":"a","readKBps":1,"writeKBps":2},{"device":"b","readKBps":1}])",
         "diskIO[1].writeKBps"},
        {"diskIsANumber", "diskIO", "[7]", "diskIO[0]"},
        {"temperatureWithoutLabel",
         "cpuTemperatures",
         R"([{"celsius":40}])",
         "cpuTemperatures[0].label"},
        {"temperatureIsAText",
         "cpuTemperatures",
         R"([{"celsius":"40","label":"a"}])",
         "cpuTemperatures[0].celsius"},
        {"loadIsAText", "loadAverage", R"([1,2,"3"])", "loadAverage[2]"},
        {"loadIsNull", "loadAverage", "[null,2,3]", "loadAverage[0]"},
        {"loadTooHigh", "loadAverage", "[1,1e999]", "loadAverage[1]"},
    }),
    rowName);

TEST(SystemSensors, mayHaveNothingToRead) {
  SystemSensors sensors = exampleSensors();
  sensors.cpuTemperatures = {};
  sensors.diskIO = {};
  sensors.loadAverage = {};
  EXPECT_EQ(decode<SystemSensors>(encode(sensors)), sensors);
  EXPECT_EQ(sensors.peakCPUTempC(), std::nullopt);
  EXPECT_EQ(sensors.totalDiskReadKBps(), 0.0);
  EXPECT_EQ(sensors.totalDiskWriteKBps(), 0.0);
}

TEST(SystemSensors, hashEquallyWhateverTheSignOfAZero) {
  SystemSensors plus = exampleSensors();
  plus.cpuTemperatures[0].celsius = 0.0;
  plus.diskIO[0].utilizationPercent = 0.0;
  plus.loadAverage[0] = 0.0;
  SystemSensors minus = plus;
  minus.cpuTemperatures[0].celsius = -0.0;
  minus.diskIO[0].utilizationPercent = -0.0;
  minus.loadAverage[0] = -0.0;
  EXPECT_EQ(plus, minus);
  EXPECT_EQ(std::hash<SystemSensors>()(plus), std::hash<SystemSensors>()(minus));
}

struct PeakRow {
  const char* name;
  std::vector<double> readings;
  std::optional<double> peak;
};
void PrintTo(const PeakRow& row, std::ostream* out) { *out << row.name; }

class PeakCPUTempC : public testing::TestWithParam<PeakRow> {};

TEST_P(PeakCPUTempC, isReplacedOnlyByWhatIsGreater) {
  SystemSensors sensors = exampleSensors();
  sensors.cpuTemperatures.clear();
  for (const double celsius : GetParam().readings) sensors.cpuTemperatures.push_back({"", celsius});
  const std::optional<double> peak = sensors.peakCPUTempC();
  ASSERT_EQ(peak.has_value(), GetParam().peak.has_value());
  if (!peak) return;
  if (std::isnan(*GetParam().peak)) {
    EXPECT_TRUE(std::isnan(*peak)) << *peak;
  } else {
    EXPECT_EQ(*peak, *GetParam().peak);
    EXPECT_EQ(std::signbit(*peak), std::signbit(*GetParam().peak));
  }
}

INSTANTIATE_TEST_SUITE_P(Readings, PeakCPUTempC,
                         rows<PeakRow>({
                             {"several", {41, 67.5, 67.5, 50}, 67.5},
                             {"none", {}, {}},
                             {"one", {36.6}, 36.6},
                             {"highestFirst", {80, 41, 50}, 80.0},
                             {"highestLast", {41, 50, 80}, 80.0},
                             {"allBelowZero", {-20, -5, -10}, -5.0},
                             {"zeros", {-0.0, 0.0}, -0.0},
                             {"infinite", {41, kInfinity, 50}, kInfinity},
                             {"notANumberFirst", {kNaN, 41, 50}, kNaN},
                             {"notANumberBetween", {41, kNaN, 50}, 50.0},
                             {"notANumberLast", {41, 50, kNaN}, 50.0},
                             {"onlyNotANumber", {kNaN}, kNaN},
                         }),
                         rowName);

struct RateSumRow {
  const char* name;
  std::vector<double> rates;
  double sum;
};
void PrintTo(const RateSumRow& row, std::ostream* out) { *out << row.name; }

class TotalDiskKBps : public testing::TestWithParam<RateSumRow> {};

TEST_P(TotalDiskKBps, addsInOrder) {
  SystemSensors reading = exampleSensors();
  SystemSensors writing = exampleSensors();
  reading.diskIO.clear();
  writing.diskIO.clear();
  for (const double rate : GetParam().rates) {
    reading.diskIO.push_back({"disk", rate, 3, 99});
    writing.diskIO.push_back({"disk", 3, rate, 99});
  }
  EXPECT_EQ(reading.totalDiskReadKBps(), GetParam().sum);
  EXPECT_EQ(writing.totalDiskWriteKBps(), GetParam().sum);
  const double others = 3 * static_cast<double>(GetParam().rates.size());
  EXPECT_EQ(reading.totalDiskWriteKBps(), others);
  EXPECT_EQ(writing.totalDiskReadKBps(), others);
}

INSTANTIATE_TEST_SUITE_P(Rates, TotalDiskKBps,
                         rows<RateSumRow>({
                             {"none", {}, 0},
                             {"one", {1024.5}, 1024.5},
                             {"several", {1, 2.5, 4}, 7.5},
                             {"negative", {1, -2.5}, -1.5},
                             // From the other end these would make 2 more.
                             {"smallOnesAfterALargeOne", {1e16, 1, 1}, 1e16},
                             {"smallOnesFirst", {1, 1, 1e16}, 1e16 + 2},
                             {"infinite", {1, kInfinity}, kInfinity},
                         }),
                         rowName);

TEST(TotalDiskKBps, startsFromZero) {
  SystemSensors sensors = exampleSensors();
  sensors.diskIO = {{"a", -0.0, -0.0, {}}};
  EXPECT_FALSE(std::signbit(sensors.totalDiskReadKBps()));
  EXPECT_FALSE(std::signbit(sensors.totalDiskWriteKBps()));
}

TEST(SystemSensors, keepAllButTheirServerNameUnderAnother) {
  const SystemSensors renamed = exampleSensors().withServerName("gpu-99");
  EXPECT_EQ(renamed.serverName, "gpu-99");
  EXPECT_EQ(
      renamed,
      decode<SystemSensors>(withMember(encode(exampleSensors()), "serverName", R"("gpu-99")")));
  EXPECT_EQ(renamed.withServerName("gpu-01"), exampleSensors());
}

TEST(SystemSensors, writeNothingDerived) {
  for (const std::string_view key : {"\"id\"", "peakCPUTempC", "totalDisk"}) {
    EXPECT_EQ(encode(exampleSensors()).find(key), std::string::npos) << key;
  }
}

// --- the inference service ---

TEST(ModelManagerAvailable, followsTheConventions) {
  checkRecord(exampleProfile(),
              R"({"downloaded":true,"gpus":4,"label":"Large","model":"lab/large-70b",)"
              R"("precision":"fp8","profile":3})");
}

TEST(ModelManager, followsTheConventions) {
  checkRecord(exampleManager(),
              R"({"available":[)" + encode(exampleProfile()) +
                  R"(],"configuredModel":"lab/small-8b","model":"lab/large-70b",)"
                  R"("running":true,"selectedProfile":3,"serverName":"gpu-01","tier":2,)"
                  R"("tierReason":"four GPUs"})",
              {{"serverName", defaultsTo(R"("")")},
               {"running", forgives("false")},
               {"tier", forgives(kNoValue)},
               {"selectedProfile", forgives(kNoValue)},
               {"available", dropsBadElements()}});
}

TEST(ModelManager, isOffWhenNothingIsSaid) {
  EXPECT_EQ(rewritten<ModelManager>("{}"), kNoManager);
  EXPECT_EQ(decode<ModelManager>("{}"), decode<ModelManager>(kNoManager));
}

TEST(ModelManager, isOffWhenRunningIsAText) {
  const ModelManager manager = decode<ModelManager>(R"({"running":"yes"})");
  EXPECT_EQ(manager.serverName, "");
  EXPECT_FALSE(manager.running);
  EXPECT_EQ(manager.tier, std::nullopt);
  EXPECT_EQ(manager.selectedProfile, std::nullopt);
  EXPECT_TRUE(manager.available.empty());
}

struct NonsenseRow {
  const char* name;
  std::string_view json;
};
void PrintTo(const NonsenseRow& row, std::ostream* out) { *out << row.json; }

class Nonsense : public testing::TestWithParam<NonsenseRow> {};

TEST_P(Nonsense, readsAsOffOrAbsent) {
  for (const std::string_view key : {"running", "tier", "selectedProfile"}) {
    EXPECT_EQ(rewritten<ModelManager>(withNewMember("{}", key, GetParam().json)), kNoManager)
        << key;
    // What stands behind it is read as ever.
    EXPECT_EQ(decode<ModelManager>(
                  withNewMember(withNewMember("{}", key, GetParam().json), "model", R"("m")")),
              decode<ModelManager>(withNewMember(std::string(kNoManager), "model", R"("m")")))
        << key;
  }
}

TEST_P(Nonsense, isNoListOfProfiles) {
  EXPECT_EQ(rewritten<ModelManager>(withNewMember("{}", "available", GetParam().json)), kNoManager);
}

TEST_P(Nonsense, failsWhereATextShouldBe) {
  if (GetParam().json == "null" || GetParam().json.starts_with('"')) return;
  for (const std::string_view key : {"serverName", "model", "configuredModel", "tierReason"}) {
    EXPECT_EQ(placeOfFailure<ModelManager>(withNewMember("{}", key, GetParam().json)), key);
  }
}

INSTANTIATE_TEST_SUITE_P(Values, Nonsense,
                         rows<NonsenseRow>({
                             {"null", "null"},
                             {"text", R"("true")"},
                             {"emptyText", R"("")"},
                             {"fraction", "1.5"},
                             {"tooLarge", "1e300"},
                             {"farTooLarge", "1e999"},
                             {"emptyList", "[]"},
                             {"listOfLists", R"([[1],[{"a":[true]}]])"},
                             {"emptyObject", "{}"},
                             {"object", R"({"running":true,"tier":1,"model":"x"})"},
                         }),
                         rowName);

TEST(ModelManager, takesATierThatIsAnIntegerOnly) {
  EXPECT_EQ(decode<ModelManager>(R"({"tier":2})").tier, 2);
  EXPECT_EQ(decode<ModelManager>(R"({"tier":-1})").tier, -1);
  EXPECT_EQ(decode<ModelManager>(R"({"tier":"2"})").tier, std::nullopt);
  EXPECT_EQ(decode<ModelManager>(R"({"tier":true})").tier, std::nullopt);
  EXPECT_EQ(decode<ModelManager>(R"({"selectedProfile":0})").selectedProfile, 0);
  EXPECT_EQ(decode<ModelManager>(R"({"selectedProfile":null})").selectedProfile, std::nullopt);
  EXPECT_EQ(decode<ModelManager>(R"({"running":1})").running, false);
}

TEST(ModelManager, failsWithAModelThatIsANumber) {
  EXPECT_EQ(placeOfFailure<ModelManager>(R"({"model":3})"), "model");
}

TEST(ModelManager, losesOnlyProfilesThatAreIncomplete) {
  const std::string good = encode(exampleProfile());
  const ModelManager manager =
      decode<ModelManager>(R"({"available":[)" + withoutMember(good, "downloaded") + "," + good +
                           ",7," + withMember(good, "gpus", R"("4")") + "," + good + "]}");
  EXPECT_EQ(manager.available,
            (std::vector<ModelManager::Available>{exampleProfile(), exampleProfile()}));
}

TEST(ModelManager, isGivenItsServerNameInPlace) {
  ModelManager manager = exampleManager();
  manager.serverName = "gpu-99";
  EXPECT_EQ(
      manager,
      decode<ModelManager>(withMember(encode(exampleManager()), "serverName", R"("gpu-99")")));
}

TEST(InferenceControlResult, isComparedByBothParts) {
  const InferenceControlResult started = {true, "started"};
  EXPECT_EQ(started, (InferenceControlResult{true, "started"}));
  EXPECT_NE(started, (InferenceControlResult{false, "started"}));
  EXPECT_NE(started, (InferenceControlResult{true, "stopped"}));
}

TEST(InferenceControlResult, mayBeAKey) {
  const std::hash<InferenceControlResult> hash;
  EXPECT_EQ(hash({true, "started"}), hash({true, "started"}));
  EXPECT_NE(hash({true, "started"}), hash({false, "started"}));
  EXPECT_NE(hash({true, "started"}), hash({true, "stopped"}));
  const std::unordered_set<InferenceControlResult> results = {{true, "a"},
                                                              {false, "a"},
                                                              {true, "b"},
                                                              {true, "a"}};
  EXPECT_EQ(results.size(), 3U);
}

}  // namespace
}  // namespace tavrine
