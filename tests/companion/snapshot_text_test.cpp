#include "companion/views/snapshot_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tavrine {
namespace {

constexpr Timestamp kTime{std::chrono::duration<double>(1794764905)};

AppSnapshot nothing() {
  AppSnapshot snapshot = AppSnapshot::empty();
  snapshot.timestamp = kTime;
  return snapshot;
}

ProcessStat process(std::int64_t pid, std::optional<double> gpuMemoryMB, double cpuPercent) {
  return {.serverName = "gpu-01",
          .pid = pid,
          .parentPID = 1,
          .owner = "tulo",
          .state = "R",
          .cpuPercent = cpuPercent,
          .memoryPercent = 0,
          .residentMemoryKB = 0,
          .gpuMemoryMB = gpuMemoryMB,
          .gpuBusID = {},
          .elapsed = "01:00",
          .executable = "python",
          .command = "pid-" + std::to_string(pid),
          .kind = ProcessKind::training,
          .capturedAt = kTime};
}

TavrineAlert alert(AlertSeverity severity, double secondsAgo, const std::string& title) {
  return {.id = {},
          .severity = severity,
          .title = title,
          .message = {},
          .serverName = {},
          .runName = {},
          .timestamp = kTime - std::chrono::duration<double>(secondsAgo)};
}

std::string shown(const AppSnapshot& snapshot, std::size_t processes = 10) {
  SnapshotView view;
  view.now = kTime + std::chrono::minutes(3);
  view.processes = processes;
  return snapshotText(snapshot, view);
}

/// Where the words begin in the text: -1 for those that do not stand there.
std::vector<int> places(const std::string& text, const std::vector<std::string>& words) {
  std::vector<int> places;
  for (const std::string& word : words) {
    const std::size_t at = text.find(word);
    places.push_back(at == std::string::npos ? -1 : static_cast<int>(at));
  }
  return places;
}

TEST(SnapshotText, ofNothingIsItsHead) {
  EXPECT_EQ(shown(nothing()),
            "Snapshot of 2026-11-15 17:48:25 UTC, taken 3 min ago\n"
            "0 servers, 0 GPUs; 0 active runs, 0 processes (0 training)\n");
}

TEST(SnapshotText, showsTheGravestAlertsFirstAndOfTheseTheNewest) {
  AppSnapshot snapshot = nothing();
  snapshot.alerts = {alert(AlertSeverity::info, 1, "D"),
                     alert(AlertSeverity::critical, 99, "B"),
                     alert(AlertSeverity::warning, 5, "C"),
                     alert(AlertSeverity::critical, 7, "A")};
  const std::vector<int> order =
      places(shown(snapshot), {"7 s ago", "1 min ago", "5 s ago", "1 s ago"});
  EXPECT_THAT(order, testing::Each(testing::Gt(0)));
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end())) << shown(snapshot);
}

TEST(SnapshotText, showsTheProcessesThatHoldMost) {
  AppSnapshot snapshot = nothing();
  snapshot.processes = {process(1, {}, 5),
                        process(2, 100, 0),
                        process(3, {}, 900),
                        process(4, 2000, 1),
                        process(5, 2000, 2)};
  const std::string text = shown(snapshot, 4);
  const std::vector<int> order = places(text, {"pid-5", "pid-4", "pid-2", "pid-3"});
  EXPECT_THAT(order, testing::Each(testing::Gt(0)));
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end())) << text;
  EXPECT_THAT(text, testing::HasSubstr("\nTop processes, 4 of 5\n"));
  EXPECT_THAT(text, testing::Not(testing::HasSubstr("pid-1")));
  EXPECT_THAT(shown(snapshot, 5), testing::HasSubstr("\nProcesses\n"));
}

TEST(SnapshotText, showsNoProcessesWhenNoneAreWanted) {
  AppSnapshot snapshot = nothing();
  snapshot.processes = {process(1, {}, 5)};
  EXPECT_THAT(shown(snapshot, 0), testing::Not(testing::HasSubstr("rocesses\n")));
}

TEST(SnapshotText, colours) {
  AppSnapshot snapshot = nothing();
  snapshot.alerts = {alert(AlertSeverity::critical, 1, "A")};
  SnapshotView view;
  view.style.paint = Paint::on;
  EXPECT_THAT(snapshotText(snapshot, view), testing::HasSubstr("\x1B[31mCritical\x1B[0m"));
  EXPECT_THAT(snapshotText(snapshot, view), testing::HasSubstr("\x1B[1mAlerts\x1B[0m\n"));
}

}  // namespace
}  // namespace tavrine
