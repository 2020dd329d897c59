#include "companion/assemble/server_state.h"

#include <gmock/gmock.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/captures.h"
#include "tests/support/rows.h"
#include "tests/support/told.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

ServerState read(const Capture& capture) {
  FindingsBook book;
  return readServer(capture, book);
}

std::vector<std::string> lossesOf(const Capture& capture) {
  FindingsBook book;
  readServer(capture, book);
  std::vector<std::string> losses;
  for (const SourceFindings& each : book.sources()) {
    for (const Finding& finding : each.findings.list()) {
      if (finding.outcome.isLoss()) losses.push_back(each.source + ": " + finding.reason);
    }
  }
  return losses;
}

CommandResult& resultOf(Capture& capture, std::string_view command) {
  for (CommandResult& each : capture.info.commands) {
    if (each.command == command) return each;
  }
  ADD_FAILURE() << "no command " << command;
  return capture.info.commands.front();
}

// As if the host did not have the tool.
void lose(Capture& capture, std::string_view command, std::string_view file) {
  resultOf(capture, command).status = 127;
  capture.texts.erase(std::string(file));
}

// --- Does it answer? ---

struct StateRow {
  const char* name;
  std::function<void(Capture&)> change;
  ServerConnectionState state;
};
void PrintTo(const StateRow& row, std::ostream* out) { *out << row.name; }

class Connection : public testing::TestWithParam<StateRow> {};

TEST_P(Connection, followsFromWhatTheHostSaid) {
  Capture capture = healthyCapture();
  GetParam().change(capture);
  EXPECT_EQ(read(capture).connection, GetParam().state);
}

constexpr auto kConnected = ServerConnectionState::connected;
constexpr auto kDegraded = ServerConnectionState::degraded;
constexpr auto kOffline = ServerConnectionState::offline;

INSTANTIATE_TEST_SUITE_P(
    Captures, Connection,
    rows<StateRow>({
        {"whole", [](Capture&) {}, kConnected},
        {"nothing", [](Capture& c) { c.texts.clear(); }, kOffline},
        {"nothingAndAProblem",
         [](Capture& c) {
           c.texts.clear();
           c.info.commands.clear();
           c.info.problem = "no answer within 30 s";
         },
         kOffline},
        {"everyToolIsMissing",
         [](Capture& c) {
           c.texts.clear();
           for (CommandResult& each : c.info.commands) each.status = 127;
         },
         kDegraded},
        {"problem", [](Capture& c) { c.info.problem = "it ended too early"; }, kDegraded},
        {"toolIsMissing", [](Capture& c) { lose(c, "gpus", "gpus.csv"); }, kConnected},
        {"toolFails", [](Capture& c) { resultOf(c, "gpus").status = 9; }, kDegraded},
        {"toolTookTooLong", [](Capture& c) { resultOf(c, "gpus").status = 124; }, kDegraded},
        {"toolUnfinished", [](Capture& c) { resultOf(c, "gpus").status = -1; }, kDegraded},
        {"anotherToolFails", [](Capture& c) { resultOf(c, "load").status = 1; }, kDegraded},
        {"aFileIsGone", [](Capture& c) { c.texts.erase("loadavg.txt"); }, kDegraded},
        {"nobodyKnowsHowCommandsEnded", [](Capture& c) { c.info.commands.clear(); }, kConnected},
        {"onlyALog",
         [](Capture& c) {
           c.texts = {{"runs/a/train.log", "loss: 1"}};
         },
         kDegraded},
    }),
    rowName);

TEST(ReadServer, takesNamesAndTimeFromTheCapture) {
  const ServerState server = read(healthyCapture());
  EXPECT_EQ(server.name, "gpu-01");
  EXPECT_EQ(server.host, "gpu-01.lab");
  EXPECT_EQ(server.takenAt, kCaptureTime);
  EXPECT_EQ(server.disk->freeFraction(), 0.5);
  EXPECT_EQ(server.sensors->serverName, "gpu-01");
  EXPECT_THAT(server.sensors->loadAverage, ElementsAre(0.5, 0.25, 0.1));
  EXPECT_EQ(server.sensors->cpuTemperatures.size(), 1U);
  EXPECT_EQ(server.processes.size(), 1U);
  EXPECT_THAT(lossesOf(healthyCapture()), IsEmpty());
}

TEST(ReadServer, hasNoSensorsWhereNothingWasMeasured) {
  Capture capture = healthyCapture();
  for (const char* const file : {"loadavg.txt", "thermal.txt", "diskstats.txt"}) {
    capture.texts[file] = "";
  }
  EXPECT_EQ(read(capture).sensors, std::nullopt);
  capture.texts["loadavg.txt"] = "0.5";
  EXPECT_THAT(read(capture).sensors->loadAverage, ElementsAre(0.5));
}

// --- GPUs ---

TEST(ReadServer, knowsItsGPUsWhereTheToolAnswers) {
  Capture capture = healthyCapture();
  EXPECT_TRUE(read(capture).gpusAreKnown);
  capture.texts["gpus.csv"] = "";
  EXPECT_TRUE(read(capture).gpusAreKnown);
  resultOf(capture, "gpus").status = 9;
  EXPECT_FALSE(read(capture).gpusAreKnown);
  capture.info.commands.clear();
  EXPECT_TRUE(read(capture).gpusAreKnown);
  capture.texts.erase("gpus.csv");
  EXPECT_FALSE(read(capture).gpusAreKnown);
}

TEST(ReadServer, isNotStoppedByWhatStopsTheParser) {
  Capture capture = healthyCapture();
  const std::string fatal = "1, B, 1 %, 2 MiB, 4 MiB, 30, 5 W, 6 W, 0, 0, 0, nan, 4, 16, P0\n";
  capture.texts["gpus.csv"] = gpuRow(0, 1, 1, 30) + fatal + gpuRow(2, 1, 1, 30) + "x\n";
  const ServerState server = read(capture);
  ASSERT_EQ(server.gpus.size(), 2U);
  EXPECT_EQ(server.gpus[0].index, 0);
  EXPECT_EQ(server.gpus[1].index, 2);
  EXPECT_EQ(server.connection, ServerConnectionState::connected);
  FindingsBook book;
  readServer(capture, book);
  const Findings& findings = book.sources().front().findings;
  EXPECT_EQ(findings.list().front().line, 2);
  EXPECT_EQ(findings.list().front().reason, "a counter that no counter can be");
  EXPECT_EQ(findings.list().back().line, 4);
}

TEST(ReadServer, isNotStoppedByNothingButSuchLines) {
  for (const char* const counter : {"nan", "inf", "-inf", "1e30"}) {
    Capture capture = healthyCapture();
    capture.texts["gpus.csv"] =
        std::string("1, B, 1 %, 2 MiB, 4 MiB, 30, 5 W, 6 W, 0, 0, 0, 0, 4, ") + counter;
    EXPECT_THAT(read(capture).gpus, IsEmpty()) << counter;
    EXPECT_EQ(lossesOf(capture).size(), 1U) << counter;
  }
}

TEST(ReadServer, dropsAGPUThatHasNoJSONForm) {
  Capture capture = healthyCapture();
  capture.texts["gpus.csv"] = gpuRow(0, 1, 1, 30) + "1, B, nan, 2 MiB, 4 MiB, 30, 5 W, 6 W\n" +
                              "2, B, inf, 2 MiB, 4 MiB, 30, 5 W, 6 W\n";
  EXPECT_EQ(read(capture).gpus.size(), 1U);
  EXPECT_EQ(lossesOf(capture).size(), 2U);
}

// --- Processes ---

Capture withProcesses(std::string_view rows, std::string_view holders) {
  Capture capture = healthyCapture();
  capture.texts["processes.txt"] = std::string(kProcessHeading).append(rows);
  capture.texts["gpu_processes.csv"] = std::string(holders);
  return capture;
}

TEST(ReadServer, pairsProcessesWithWhatTheyHold) {
  const ServerState server = read(withProcesses(processRow(7, "train.py") + processRow(8, "editor"),
                                                "7, python, 512 MiB, 00000000:17:00.0\n"));
  ASSERT_EQ(server.processes.size(), 2U);
  EXPECT_EQ(server.processes[0].gpuMemoryMB, 512);
  EXPECT_EQ(server.processes[0].gpuBusID, "00000000:17:00.0");
  EXPECT_EQ(server.processes[1].gpuMemoryMB, std::nullopt);
  EXPECT_THAT(server.orphans, IsEmpty());
}

TEST(ReadServer, addsUpWhatAProcessHoldsOnSeveralGPUs) {
  const ServerState server = read(withProcesses(processRow(7, "train.py"),
                                                "7, python, 512 MiB, 00000000:17:00.0\n"
                                                "7, python, 256 MiB, 00000000:65:00.0\n"));
  ASSERT_EQ(server.processes.size(), 1U);
  EXPECT_EQ(server.processes[0].gpuMemoryMB, 768);
  EXPECT_EQ(server.processes[0].gpuBusID, "00000000:17:00.0");
}

TEST(ReadServer, findsOrphansFrom64MebibytesOn) {
  const ServerState server = read(withProcesses(processRow(7, "train.py"),
                                                "7, python, 512 MiB, a\n"
                                                "8, [Not Found], 64 MiB, a\n"
                                                "9, [Not Found], 63.9 MiB, a\n"
                                                "10, [Not Found], 40 MiB, a\n"
                                                "10, [Not Found], 40 MiB, b\n"));
  ASSERT_EQ(server.orphans.size(), 2U);
  EXPECT_EQ(server.orphans[0].pid, 8);
  EXPECT_EQ(server.orphans[1].pid, 10);
  EXPECT_EQ(server.orphans[1].usedMemoryMB, 80);
}

TEST(ReadServer, findsNoOrphansWithoutAProcessTable) {
  Capture capture = withProcesses("", "8, [Not Found], 640 MiB, a\n");
  EXPECT_EQ(read(capture).orphans.size(), 1U);
  capture.texts.erase("processes.txt");
  EXPECT_THAT(read(capture).orphans, IsEmpty());
}

TEST(ReadServer, dropsAProcessThatHasNoJSONForm) {
  const Capture capture = withProcesses(
      "7 1 ada R nan 1.0 10:00 1024 python train.py\n" + processRow(8, "a") + processRow(9, "b"),
      "8, python, 1e308 MiB, a\n8, python, 1e308 MiB, b\n");
  const ServerState server = read(capture);
  ASSERT_EQ(server.processes.size(), 1U);
  EXPECT_EQ(server.processes[0].pid, 9);
  EXPECT_EQ(lossesOf(capture).size(), 2U);
}

}  // namespace
}  // namespace tavrine
