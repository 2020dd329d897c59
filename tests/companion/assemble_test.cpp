#include "companion/assemble/assemble.h"

#include <gmock/gmock.h>

#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/model/stable_id.h>

#include <chrono>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/support/captures.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> namesOf(const AppSnapshot& snapshot) {
  std::vector<std::string> names;
  for (const ServerSummary& each : snapshot.servers) names.push_back(each.name);
  return names;
}

Capture offlineCapture(double secondsLater) {
  Capture capture{};
  capture.info = healthyCapture().info;
  capture.info.takenAt += std::chrono::duration<double>(secondsLater);
  capture.info.commands.clear();
  capture.info.problem = "no answer within 30 s";
  return capture;
}

TEST(Assemble, givesTheSameForTheSame) {
  Capture capture = healthyCapture();
  capture.texts["runs/a/train.log"] = "loss: 1\nval_loss=0.7 at step 200\n";
  const std::vector<Capture> captures = {capture, healthyCapture("gpu-02")};
  const AppSnapshot first = assemble(captures, nullptr).snapshot;
  EXPECT_EQ(encode(assemble(captures, nullptr).snapshot), encode(first));
  EXPECT_EQ(encode(assemble(captures, &first).snapshot), encode(first));
  EXPECT_EQ(assemble(captures, nullptr).findings.lossCount(), 0U);
}

TEST(Assemble, makesASummaryOfAServer) {
  Capture capture = healthyCapture();
  capture.texts["runs/a/train.log"] = "loss: 1\n";
  const AppSnapshot snapshot = assemble({&capture, 1}, nullptr).snapshot;
  EXPECT_EQ(snapshot.timestamp, kCaptureTime);
  ASSERT_EQ(snapshot.servers.size(), 1U);
  const ServerSummary& server = snapshot.servers.front();
  EXPECT_EQ(server.id, StableID::uuid("server:gpu-01"));
  EXPECT_EQ(server.host, "gpu-01.lab");
  EXPECT_EQ(server.gpus.size(), 1U);
  EXPECT_EQ(server.activeRuns, 1);
  EXPECT_EQ(server.diskFreeGB, 50.0 / (1024 * 1024));
  EXPECT_EQ(server.lastSeen, kCaptureTime);
  EXPECT_EQ(snapshot.runs.size(), 1U);
  EXPECT_EQ(snapshot.processes.size(), 1U);
  EXPECT_EQ(snapshot.sensors.size(), 1U);
}

TEST(Assemble, makesNothingOfNothing) {
  const AppSnapshot snapshot = assemble({}, nullptr).snapshot;
  EXPECT_EQ(snapshot.timestamp, Timestamp{});
  EXPECT_THAT(snapshot.servers, IsEmpty());
}

TEST(Assemble, keepsTheOrderOfTheCaptures) {
  const std::vector<Capture> captures = {healthyCapture("b"),
                                         healthyCapture("c"),
                                         healthyCapture("a")};
  EXPECT_THAT(namesOf(assemble(captures, nullptr).snapshot), ElementsAre("b", "c", "a"));
}

TEST(Assemble, takesTheNewerOfTwoCaptures) {
  Capture newer = healthyCapture();
  newer.info.takenAt += std::chrono::seconds(1);
  newer.info.host = "newer";
  for (const bool newerIsFirst : {false, true}) {
    std::vector<Capture> captures = {healthyCapture(), healthyCapture("other"), newer};
    if (newerIsFirst) std::swap(captures.front(), captures.back());
    const Assembly assembly = assemble(captures, nullptr);
    EXPECT_THAT(namesOf(assembly.snapshot), ElementsAre("gpu-01", "other"));
    EXPECT_EQ(assembly.snapshot.servers.front().host, "newer");
    EXPECT_EQ(assembly.findings.lossCount(), 1U);
  }
}

TEST(Assemble, remembersWhenAServerWasLastSeen) {
  const Capture gone = offlineCapture(60);
  EXPECT_EQ(assemble({&gone, 1}, nullptr).snapshot.servers.front().lastSeen, Timestamp{});
  const Capture there = healthyCapture();
  AppSnapshot previous = assemble({&there, 1}, nullptr).snapshot;
  for (int round = 1; round <= 3; ++round) {
    const Capture later = offlineCapture(60.0 * round);
    previous = assemble({&later, 1}, &previous).snapshot;
    ASSERT_EQ(previous.servers.size(), 1U);
    EXPECT_EQ(previous.servers.front().state, ServerConnectionState::offline);
    EXPECT_EQ(previous.servers.front().lastSeen, kCaptureTime);
    ASSERT_EQ(previous.alerts.size(), 1U);
    EXPECT_EQ(previous.alerts.front().timestamp, kCaptureTime + std::chrono::seconds(60));
  }
}

TEST(Assemble, keepsTheRunsOfAServerThatDoesNotAnswer) {
  Capture there = healthyCapture();
  there.texts["runs/a/train.log"] = "loss: 1\n";
  there.texts["runs/b/train.log"] = "Traceback (most recent call last)\n";
  AppSnapshot previous = assemble({&there, 1}, nullptr).snapshot;
  ASSERT_EQ(previous.runs.size(), 2U);
  ASSERT_EQ(previous.runs[0].status, RunStatus::running);
  ASSERT_EQ(previous.runs[1].status, RunStatus::failed);
  const TrainingRun seen = previous.runs[0];
  for (int round = 1; round <= 2; ++round) {
    const Capture gone = offlineCapture(60.0 * round);
    previous = assemble({&gone, 1}, &previous).snapshot;
    ASSERT_EQ(previous.runs.size(), 2U);
    EXPECT_EQ(previous.runs[0].id, seen.id);
    EXPECT_EQ(previous.runs[0].status, RunStatus::idle);
    EXPECT_EQ(previous.runs[0].health, RunHealth::unknown);
    EXPECT_EQ(previous.runs[0].gpuUtilization, 0);
    EXPECT_EQ(previous.runs[0].metrics, seen.metrics);
    EXPECT_EQ(previous.runs[1].status, RunStatus::failed);
    EXPECT_EQ(previous.servers.front().activeRuns, 0);
  }
  there.info.takenAt += std::chrono::seconds(300);
  const AppSnapshot back = assemble({&there, 1}, &previous).snapshot;
  EXPECT_EQ(back.runs[0].status, RunStatus::running);
  EXPECT_EQ(back.runs[0].startedAt, seen.startedAt);
  EXPECT_EQ(back.runs[0].metrics.size(), 2U);
}

TEST(Assemble, dropsWhatAnEarlierSnapshotCannotGiveOn) {
  const Capture gone = offlineCapture(60);
  const Capture there = healthyCapture();
  AppSnapshot previous = assemble({&there, 1}, nullptr).snapshot;
  previous.servers.front().lastSeen = at(1e300);
  const Assembly assembly = assemble({&gone, 1}, &previous);
  EXPECT_NO_THROW(encode(assembly.snapshot));
  EXPECT_EQ(assembly.findings.lossCount(), 1U);
}

// --- Whatever a host prints ---

// Pieces that the parsers look for, and bytes that nobody expects.
std::string hostileText(std::mt19937& random) {
  static const std::vector<std::string> kParts = {
      "0, NVIDIA L40S, ",
      "nan",
      "inf",
      "-inf",
      "1e308",
      "1e999",
      "-1",
      ", ",
      " %",
      " MiB",
      "\n",
      "\r\n",
      "\t",
      "7 1 ada R ",
      "10:00 1024 python train.py",
      "---DPRE---\n",
      "---DMID---\n",
      "---DEND---\n",
      "   8       0 sda 1 2 3 4 5 6 7 8 9 10 11\n",
      "loss: ",
      "step ",
      "val_loss=nan at step 9223372036854775807\n",
      "{\"t\":",
      "1e300",
      "}\n",
      "\"gpu_util\":1e308,\"vram_mb\":",
      "/dev/sda ",
      "% /\n",
      "\xFF\xC3",
      std::string(1, '\0'),
      "9223372036854775808",
      "\xE2\x80\xA8",
      "[",
      "{",
      "\"",
      "]",
      "it/s ",
      "7, python, ",
  };
  std::string text;
  for (auto parts = random() % 40; parts > 0; --parts) text += kParts[random() % kParts.size()];
  return text;
}

TEST(Assemble, alwaysGivesASnapshotThatCanBeWritten) {
  std::mt19937 random(20261115);
  const std::vector<std::string> more = {"runs/a/train.log",
                                         "runs/a/recorder.jsonl",
                                         "runs/b/train.log",
                                         "agent/status.json",
                                         "agent/usage.json",
                                         "agent/reports.json",
                                         "agent/network.json"};
  AppSnapshot previous{};
  std::size_t losses = 0;
  for (int round = 0; round < 300; ++round) {
    Capture capture = healthyCapture();
    for (auto& [file, text] : capture.texts) text = hostileText(random);
    for (const std::string& file : more) capture.texts[file] = hostileText(random);
    capture.info.takenAt += std::chrono::seconds(round);
    const Assembly assembly = assemble({&capture, 1}, &previous);
    std::string document;
    ASSERT_NO_THROW(document = encode(assembly.snapshot)) << "round " << round;
    ASSERT_EQ(assembly.snapshot.servers.size(), 1U);
    Findings findings;
    previous = decode<AppSnapshot>(document, &findings);
    EXPECT_EQ(findings.lossCount(), 0U);
    EXPECT_EQ(encode(previous), document);
    losses += assembly.findings.lossCount();
  }
  EXPECT_GT(losses, 1000U);
}

}  // namespace
}  // namespace tavrine
