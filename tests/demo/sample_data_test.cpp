#include <TavrineShared/demo/sample_data.h>

#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/model/stable_id.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/demo/demo_moments.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

// --- All that moves ---

/// What some of the moving figures are, worked out by another program.
struct Figures {
  const char* name;
  std::int64_t tick;
  std::vector<double> gpu3;         ///< utilisation, memory used, temperature, power, fan, SM clock
  std::vector<double> firstMetric;  ///< step, loss, throughput, TFLOPs, utilisation
  std::vector<double> lastMetric;
  std::vector<double> cpu;      ///< of the three training processes
  std::vector<double> sensors;  ///< three temperatures, the disk's reading rate, the load
  const char* firstLogLine;
};

void PrintTo(const Figures& row, std::ostream* out) { *out << "tick " << row.tick; }

class SampleDataFigures : public testing::TestWithParam<Figures> {};

// Not equal, for compilers may round once where the text of a formula rounds twice.
void expectNear(const std::vector<double>& got, const std::vector<double>& want,
                double relativeError = 1e-14) {
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t i = 0; i < got.size(); ++i) {
    EXPECT_NEAR(got[i], want[i], relativeError * std::max(1.0, std::abs(want[i])))
        << "number " << i;
  }
}

constexpr double kAsPrinted = 1e-9;  // for numbers of eleven digits

std::vector<double> figures(const GPUStat& gpu) {
  return {gpu.utilizationPercent,
          gpu.memoryUsedMB,
          gpu.temperatureC,
          gpu.powerDrawW,
          gpu.fanSpeedPercent.value(),
          gpu.smClockMHz.value()};
}

std::vector<double> figures(const TrainingMetric& metric) {
  return {static_cast<double>(metric.step),
          metric.loss,
          metric.throughput,
          metric.flopsTFLOPs,
          metric.gpuUtilization};
}

TEST_P(SampleDataFigures, areTheFormulas) {
  const AppSnapshot snapshot = lab(GetParam().tick);
  const TrainingRun& run = snapshot.runs[0];
  expectNear(figures(snapshot.servers[0].gpus.at(3)), GetParam().gpu3, kAsPrinted);
  expectNear(figures(run.metrics.front()), GetParam().firstMetric, kAsPrinted);
  expectNear(figures(run.metrics.back()), GetParam().lastMetric, kAsPrinted);
  const auto& processes = snapshot.processes;
  expectNear({processes[0].cpuPercent, processes[1].cpuPercent, processes[2].cpuPercent},
             GetParam().cpu,
             kAsPrinted);
  const SystemSensors& sensors = snapshot.sensors[0];
  expectNear({sensors.cpuTemperatures[0].celsius,
              sensors.cpuTemperatures[1].celsius,
              sensors.cpuTemperatures[2].celsius,
              sensors.diskIO[0].readKBps,
              sensors.loadAverage[0]},
             GetParam().sensors,
             kAsPrinted);
  EXPECT_THAT(snapshot.runs[0].logTail, StartsWith(GetParam().firstLogLine));
}

const std::vector<Figures> kFiguresRows = {
    {"zero",
     0,
     {84.26949768, 55600, 66.397127693, 547.86619432, 65.646424734, 1880.4882591},
     {0, 2.8, 1550, 820, 78},
     {95, 2.640114362, 1651.3031642, 816.99395518, 76.499497166},
     {388.4, 176.1, 142.8},
     {64, 61.742211878, 64.438276616, 280000, 12.4},
     "step=96 loss=2.6401 throughput=1651 samples/s\n"},
    {"one",
     1,
     {87.146477727, 56156.274126, 67.091849015, 553.73720556, 67.173560909, 1888.3162741},
     {20, 2.76906109, 1573.8403197, 820, 78},
     {115, 2.6107659971, 1662.0631935, 816.99395518, 76.499497166},
     {392.85327127, 178.48403197, 144.78669331},
     {64.794677323, 62.438276616, 65.04491628, 306175.57574, 12.54237173},
     "step=116 loss=2.6108 throughput=1662 samples/s\n"},
    {"seven",
     7,
     {82.772498594, 58359.259244, 68.977039789, 501.42444167, 69.092974268, 1818.5659222},
     {140, 2.5904759917, 1668.2539676, 820, 78},
     {235, 2.4413618181, 1630.6069821, 816.99395518, 76.499497166},
     {406.11174704, 187.92539676, 152.6544973},
     {67.94179892, 63.72789228, 65.334219591, 337846.87054, 13.241470985},
     "step=236 loss=2.4414 throughput=1631 samples/s\n"},
    {"twenty",
     20,
     {62.850976605, 53480.953013, 60.810606452, 554.21285041, 50.063089964, 1888.9504672},
     {400, 2.2420647282, 1459.1837006, 820, 78},
     {495, 2.1108621034, 1435.1027284, 816.99395518, 76.499497166},
     {371.13936306, 167.01837006, 135.23197505},
     {60.972790019, 58.42319652, 60.883379023, 309932.09845, 12.6806294},
     "step=496 loss=2.1109 throughput=1435 samples/s\n"},
    {"twentyOne",
     21,
     {66.970521032, 53159.587837, 60.215987523, 554.5211211, 50.038353912, 1889.3614948},
     {420, 2.2172907857, 1445.4109073, 820, 78},
     {515, 2.0873617699, 1444.2711646, 816.99395518, 76.499497166},
     {372.93917912, 165.64109073, 134.08424228},
     {60.51369691, 58.883379023, 61.475162768, 332558.9279, 12.541120008},
     "step=516 loss=2.0874 throughput=1444 samples/s\n"},
    {"fortyTwo",
     42,
     {54.579456045, 57992.876943, 68.689999884, 539.26295281, 64.121184852, 1869.0172704},
     {840, 1.7558494388, 1652.551869, 820, 78},
     {935, 1.6496427594, 1552.3662471, 816.99395518, 76.499497166},
     {372.56547632, 186.3551869, 151.34598908},
     {67.418395632, 58.090006396, 60.00002938, 359248.58846, 12.120584502},
     "step=936 loss=1.6496 throughput=1552 samples/s\n"},
    {"minusOne",
     -1,
     {80.629659695, 55043.725874, 65.635973484, 537.82664114, 63.894183423, 1867.1021882},
     {0, 2.8, 1526.1596803, 820, 78},
     {75, 2.6697906383, 1636.5044975, 816.99395518, 76.499497166},
     {383.94672873, 173.71596803, 140.81330669},
     {63.205322677, 61, 63.742211878, 253824.42426, 12.25762827},
     "step=76 loss=2.6698 throughput=1637 samples/s\n"},
    {"minusFive",
     -5,
     {63.370340305, 53243.881243, 62.364026516, 482.17335886, 56.105816577, 1792.8978118},
     {0, 2.8, 1449.0234818, 820, 78},
     {0, 2.7840601584, 1550.6069523, 816.99395518, 76.499497166},
     {371.31827685, 166.00234818, 134.38529015},
     {60.634116061, 58.475587046, 60.95508372, 200367.36338, 11.744922103},
     "step=-4 loss=2.7841 throughput=1551 samples/s\n"},
    {"minusTwentyOne",
     -21,
     {89.595542118, 58040.412163, 63.29439996, 522.57369742, 64.425204433, 1846.7649299},
     {0, 2.8, 1654.5890927, 820, 78},
     {0, 2.7840601584, 1556.3988903, 816.99395518, 76.499497166},
     {403.86082088, 186.55890927, 151.51575772},
     {67.48630309, 63.876772824, 65.997878367, 227441.0721, 12.258879992},
     "step=-324 loss=2.7841 throughput=1556 samples/s\n"},
    {"large",
     1000000007,
     {87.820211172, 53247.222745, 67.280735506, 554.56352365, 56.12613507, 1889.4180315},
     {20000000140, 0.08, 1449.1666891, 820, 78},
     {20000000235, 0.064060158379, 1550.8715428, 816.99395518, 76.499497166},
     {394.12286159, 166.01666891, 134.39722409},
     {60.638889636, 62.627858545, 65.200694465, 313451.68214, 11.807880766},
     "step=20000000236 loss=0.0641 throughput=1551 samples/s\n"},
};
INSTANTIATE_TEST_SUITE_P(, SampleDataFigures, rows(kFiguresRows), rowName);

TEST(SampleDataGPUs, followTheirFormulas) {
  for (const std::int64_t tick : someTicks()) {
    const auto t = static_cast<double>(tick);
    const AppSnapshot snapshot = lab(tick);
    const std::vector<GPUStat>& gpus = snapshot.servers[0].gpus;
    ASSERT_EQ(gpus.size(), 4U);
    for (std::size_t i = 0; i < gpus.size(); ++i) {
      const auto index = static_cast<double>(i);
      const double x = t + index;
      SCOPED_TRACE(testing::Message() << "tick " << tick << ", GPU " << i);
      expectNear(figures(gpus[i]),
                 {72 + 18 * std::sin(0.25 * x),
                  52000 + 1200 * index + 2800 * std::sin(t / 5),
                  64 + 5 * std::sin(x / 6),
                  510 + 45 * std::sin(x / 3),
                  60 + 10 * std::sin(x / 5),
                  1830 + 60 * std::sin(x / 3)});
      EXPECT_EQ(gpus[i].index, static_cast<std::int64_t>(i));
      EXPECT_EQ(gpus[i].name, "NVIDIA H100");
      EXPECT_EQ(gpus[i].memoryTotalMB, 80000);
      EXPECT_EQ(gpus[i].powerLimitW, 700);
      EXPECT_EQ(gpus[i].memClockMHz, 1593);
      EXPECT_EQ(gpus[i].eccErrorsTotal, 0);
      EXPECT_EQ(gpus[i].pcieLinkText(), "PCIe Gen5 x16");
      EXPECT_EQ(gpus[i].pstate, "P0");
    }
  }
}

TEST(SampleDataHistory, followsItsFormulas) {
  for (const std::int64_t tick : someTicks()) {
    const auto t = static_cast<double>(tick);
    const AppSnapshot snapshot = lab(tick);
    const std::vector<TrainingMetric>& metrics = snapshot.runs[0].metrics;
    ASSERT_EQ(metrics.size(), 96U);
    for (std::size_t i = 0; i < metrics.size(); ++i) {
      const auto j = static_cast<double>(i);
      const std::int64_t s = std::max<std::int64_t>(20 * tick + static_cast<std::int64_t>(i), 0);
      const double decay = 2.8 * std::exp(-static_cast<double>(s) / 1800);
      SCOPED_TRACE(testing::Message() << "tick " << tick << ", point " << i);
      expectNear(figures(metrics[i]),
                 {static_cast<double>(s),
                  (decay > 0.08 ? decay : 0.08) + 0.025 * std::sin(0.125 * j),
                  1550 + 120 * std::sin(t / 5 + j / 7),
                  820 + 40 * std::sin(j / 10),
                  78 + 12 * std::sin(j / 6)});
      EXPECT_EQ(metrics[i].step, s);
      EXPECT_EQ(metrics[i].timestamp, kNow + std::chrono::duration<double>((j - 96) * 60));
    }
  }
}

TEST(SampleDataHistory, dipsBelowTheFloorOfTheLoss) {
  const AppSnapshot snapshot = lab(1000);
  const auto isBelow = [](const TrainingMetric& metric) { return metric.loss < 0.08; };
  EXPECT_TRUE(
      std::any_of(snapshot.runs[0].metrics.begin(), snapshot.runs[0].metrics.end(), isBelow));
}

TEST(SampleDataHistory, holdsStepsAtZeroWhereTicksAreNegative) {
  const AppSnapshot before = lab(-1);
  EXPECT_EQ(before.runs[0].metrics[20].step, 0);
  EXPECT_EQ(before.runs[0].metrics[21].step, 1);
  const AppSnapshot longBefore = lab(-5);
  for (const TrainingMetric& metric : longBefore.runs[0].metrics) EXPECT_EQ(metric.step, 0);
}

TEST(SampleDataHistory, ofTheSecondRunGoesByTheLastTimesOfTheFirst) {
  const AppSnapshot snapshot = lab(7);
  const std::vector<TrainingMetric>& metrics = snapshot.runs[1].metrics;
  ASSERT_EQ(metrics.size(), 48U);
  for (std::size_t i = 0; i < metrics.size(); ++i) {
    const auto k = static_cast<double>(i);
    SCOPED_TRACE(testing::Message() << "point " << i);
    expectNear(figures(metrics[i]),
               {k, 1.5 - 0.002 * k, 610 + 35 * std::sin(0.25 * k), 240, 54 + 8 * std::sin(k / 5)});
    EXPECT_EQ(metrics[i].timestamp, snapshot.runs[0].metrics[48 + i].timestamp);
  }
  EXPECT_EQ(metrics.front().timestamp, ago(48 * 60));
  EXPECT_EQ(metrics.back().timestamp, ago(60));
}

// --- Snapshot, servers ---

TEST(SampleData, isOfNow) {
  const Timestamp before = currentTime();
  const AppSnapshot snapshot = SampleData::snapshot(1);
  EXPECT_LE(before, snapshot.timestamp);
  EXPECT_GE(currentTime(), snapshot.timestamp);
  EXPECT_EQ(snapshot, SampleData::detail::snapshot(1, snapshot.timestamp));
}

TEST(SampleData, leavesThreeListsEmpty) {
  for (const std::int64_t tick : someTicks()) {
    const AppSnapshot snapshot = lab(tick);
    EXPECT_THAT(snapshot.labEventStores, IsEmpty());
    EXPECT_THAT(snapshot.recorderHealth, IsEmpty());
    EXPECT_THAT(snapshot.modelManagers, IsEmpty());
  }
}

TEST(SampleData, hasTwoServers) {
  const AppSnapshot snapshot = lab(9);
  ASSERT_THAT(snapshot.servers, SizeIs(2));
  const ServerSummary& a = snapshot.servers[0];
  const ServerSummary wantA{.id = StableID::uuid("sample-server:gpu-lab-a"),
                            .name = "gpu-lab-a",
                            .host = "10.0.1.42",
                            .state = ServerConnectionState::demo,
                            .gpus = a.gpus,
                            .activeRuns = 1,
                            .diskFreeGB = 1220,
                            .lastSeen = kNow};
  EXPECT_EQ(a, wantA);
  const ServerSummary wantB{.id = StableID::uuid("sample-server:gpu-lab-b"),
                            .name = "gpu-lab-b",
                            .host = "10.0.1.51",
                            .state = ServerConnectionState::demo,
                            .gpus = {a.gpus[0], a.gpus[1]},
                            .activeRuns = 1,
                            .diskFreeGB = 680,
                            .lastSeen = kNow};
  EXPECT_EQ(snapshot.servers[1], wantB);
}

// --- Agent and sensors ---

TEST(SampleDataAgent, isOneForTheLab) {
  const AppSnapshot snapshot = lab(1);
  ASSERT_THAT(snapshot.agentStatuses, SizeIs(1));
  EXPECT_EQ(snapshot.agentStatuses[0].version, "0.5.0");
  EXPECT_EQ(snapshot.agentStatuses[0].serverName, "KELO-LAB: TAMBE");
  EXPECT_EQ(snapshot.agentStatuses[0].generatedAt, kNow);
  EXPECT_TRUE(snapshot.agentStatuses[0].ok);
}

TEST(SampleDataSensors, followTheirFormulas) {
  for (const std::int64_t tick : someTicks()) {
    const auto t = static_cast<double>(tick);
    const AppSnapshot snapshot = lab(tick);
    ASSERT_THAT(snapshot.sensors, SizeIs(2));
    const SystemSensors& a = snapshot.sensors[0];
    EXPECT_EQ(a.serverName, "gpu-lab-a");
    EXPECT_EQ(a.capturedAt, kNow);
    ASSERT_THAT(a.cpuTemperatures, SizeIs(4));
    EXPECT_EQ(a.cpuTemperatures[0].label, "x86_pkg_temp");
    EXPECT_DOUBLE_EQ(a.cpuTemperatures[0].celsius, 64 + 4 * std::sin(t / 5));
    EXPECT_DOUBLE_EQ(a.cpuTemperatures[1].celsius, 61 + 3 * std::sin(0.25 * (t + 1)));
    EXPECT_DOUBLE_EQ(a.cpuTemperatures[2].celsius, 63 + 3 * std::sin(0.25 * (t + 2)));
    EXPECT_EQ(a.cpuTemperatures[3], lab(0).sensors[0].cpuTemperatures[3]);
    ASSERT_THAT(a.diskIO, SizeIs(2));
    EXPECT_EQ(a.diskIO[0].device, "nvme0n1");
    EXPECT_DOUBLE_EQ(a.diskIO[0].readKBps, 280000 + 80000 * std::sin(t / 3));
    EXPECT_EQ(a.diskIO[1].device, "nvme1n1");
    EXPECT_EQ(a.diskIO[1], lab(0).sensors[0].diskIO[1]);
    ASSERT_THAT(a.loadAverage, SizeIs(3));
    EXPECT_DOUBLE_EQ(a.loadAverage[0], 12.4 + std::sin(t / 7));
    EXPECT_EQ(snapshot.sensors[1].serverName, "gpu-lab-b");
    EXPECT_EQ(snapshot.sensors[1], lab(0).sensors[1]);
  }
}

// --- The whole ---

/// Its JSON with each time, within texts too, given as the seconds that it lies from `now`.
std::string withoutClock(const AppSnapshot& snapshot, Timestamp now) {
  const std::string document = encode(snapshot);
  std::string text;
  for (std::size_t i = 0; i < document.size();) {
    const auto time = timestampFromISO8601(std::string_view(document).substr(i, kISO8601Length));
    if (time) {
      text.append("now").append(std::to_string(std::llround((*time - now).count())));
      i += kISO8601Length;
    } else {
      text += document[i++];
    }
  }
  return text;
}

TEST(SampleData, ofOneTickDiffersInTimesAlone) {
  const Timestamp later = kNow + std::chrono::hours(6);
  for (const std::int64_t tick : {0, 1, 60, -5}) {
    const AppSnapshot first = lab(tick);
    const AppSnapshot second = SampleData::detail::snapshot(tick, later);
    EXPECT_NE(first, second);
    EXPECT_EQ(withoutClock(first, kNow), withoutClock(second, later)) << "tick " << tick;
  }
}

TEST(SampleData, keepsItsIdentifiers) {
  const auto ids = [](const AppSnapshot& snapshot) {
    std::vector<std::string> list;
    for (const auto& server : snapshot.servers) list.push_back(server.id.text());
    for (const auto& run : snapshot.runs) {
      list.push_back(run.id.text());
      for (const auto& checkpoint : run.checkpoints) list.push_back(checkpoint.id.text());
    }
    for (const auto& process : snapshot.processes) list.push_back(process.id());
    for (const auto& event : snapshot.labEvents) list.push_back(event.id);
    for (const auto& usage : snapshot.usageSummaries) list.push_back(usage.id());
    for (const auto& connection : snapshot.networkSummaries[0].connections) {
      list.push_back(connection.id());
    }
    for (const auto& event : snapshot.networkSummaries[0].sshEvents) list.push_back(event.id);
    return list;
  };
  std::vector<std::string> first = ids(lab(0));
  for (const std::int64_t tick : someTicks()) EXPECT_EQ(ids(lab(tick)), first) << tick;
  EXPECT_EQ(ids(SampleData::snapshot(5)), first);
  std::sort(first.begin(), first.end());
  EXPECT_EQ(std::adjacent_find(first.begin(), first.end()), first.end());
}

TEST(SampleData, isReadBackWhole) {
  for (const std::int64_t tick : someTicks()) {
    const AppSnapshot snapshot = lab(tick);
    for (const JSONStyle style : {JSONStyle::compact, JSONStyle::pretty}) {
      Findings findings;
      EXPECT_EQ(decode<AppSnapshot>(encode(snapshot, style), &findings), snapshot) << tick;
      EXPECT_EQ(findings.count(), 0U) << tick;
    }
  }
}

TEST(SampleData, movesSmoothly) {
  for (std::int64_t tick = -30; tick < 200; ++tick) {
    const AppSnapshot a = lab(tick);
    const AppSnapshot b = lab(tick + 1);
    EXPECT_NEAR(a.averageGPUUtilization(), b.averageGPUUtilization(), 5);
    EXPECT_NEAR(a.runs[0].vramUsedGB, b.runs[0].vramUsedGB, 4);
    EXPECT_NEAR(*a.runs[0].currentLoss, *b.runs[0].currentLoss, 0.04);
  }
}

TEST(SampleData, countsAsALab) {
  const AppSnapshot snapshot = lab(21);
  EXPECT_EQ(snapshot.activeRunCount(), 2);  // one of them stalled
  EXPECT_EQ(snapshot.activeProcessCount(), 6);
  EXPECT_EQ(snapshot.trainingProcessCount(), 4);
}

// --- Where steps end ---

TEST(SampleDataSteps, goToTheEndOf64Bits) {
  EXPECT_EQ(kLargest, 461168601842738785);
  EXPECT_EQ(kSmallest, -461168601842738790);
  EXPECT_THAT(lab(kLargest).runs[0].logTail, StartsWith("step=9223372036854775796 loss=0."));
  EXPECT_EQ(lab(kLargest).runs[0].metrics.back().step, 9223372036854775795);
  EXPECT_THAT(lab(kSmallest).runs[0].logTail, StartsWith("step=-9223372036854775704 loss=2."));
  EXPECT_EQ(lab(kSmallest).runs[0].metrics.back().step, 0);
}

class SampleDataDeathTest : public testing::TestWithParam<std::int64_t> {};

TEST_P(SampleDataDeathTest, stopsWhereStepsAreBeyond64Bits) {
  EXPECT_DEATH(SampleData::snapshot(GetParam()),
               "SampleData::snapshot: the steps of tick " + std::to_string(GetParam()) +
                   " are beyond 64 bits");
}

INSTANTIATE_TEST_SUITE_P(, SampleDataDeathTest,
                         testing::Values(461168601842738786,   // 20 * tick fits, the log's does not
                                         461168601842738790,   // the last where it does
                                         461168601842738791,   // nor does 20 * tick
                                         -461168601842738791,  // just below
                                         std::numeric_limits<std::int64_t>::max(),
                                         std::numeric_limits<std::int64_t>::min()));

}  // namespace
}  // namespace tavrine
