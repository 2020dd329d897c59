#include <TavrineShared/model/status.h>

#include <TavrineShared/model/json_conventions.h>

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "tests/support/vocabulary_checks.h"

namespace tavrine {
namespace {

TEST(RunStatus, hasTheseCases) {
  expectTheTable<RunStatus>({{RunStatus::queued, "queued", "queued", "Queued"},
                             {RunStatus::warmingUp, "warmingUp", "warming_up", "Warming Up"},
                             {RunStatus::running, "running", "running", "Running"},
                             {RunStatus::stalled, "stalled", "stalled", "Stalled"},
                             {RunStatus::failed, "failed", "failed", "Failed"},
                             {RunStatus::completed, "completed", "completed", "Completed"},
                             {RunStatus::idle, "idle", "idle", "Idle"}});
}

TEST(RunStatus, isActiveWhileTheRunHoldsItsGPUs) {
  std::vector<std::string_view> active;
  for (const RunStatus status : RunStatus::allCases()) {
    if (status.isActive()) active.push_back(status.rawValue());
  }
  EXPECT_EQ(active, (std::vector<std::string_view>{"warming_up", "running", "stalled"}));
}

TEST(RunHealth, hasTheseCases) {
  expectTheTable<RunHealth>({{RunHealth::healthy, "healthy", "healthy", "Healthy"},
                             {RunHealth::warmingUp, "warmingUp", "warming_up", "Warming Up"},
                             {RunHealth::degraded, "degraded", "degraded", "Degraded"},
                             {RunHealth::stalled, "stalled", "stalled", "Stalled"},
                             {RunHealth::memoryRisk, "memoryRisk", "memory_risk", "Memory Risk"},
                             {RunHealth::overheating, "overheating", "overheating", "Overheating"},
                             {RunHealth::failed, "failed", "failed", "Failed"},
                             {RunHealth::unknown, "unknown", "unknown", "Unknown"}});
}

TEST(ServerConnectionState, hasTheseCases) {
  expectTheTable<ServerConnectionState>(
      {{ServerConnectionState::connected, "connected", "connected", "Connected"},
       {ServerConnectionState::degraded, "degraded", "degraded", "Degraded"},
       {ServerConnectionState::offline, "offline", "offline", "Offline"},
       {ServerConnectionState::demo, "demo", "demo", "Demo"}});
}

TEST(AlertSeverity, hasTheseCases) {
  expectTheTable<AlertSeverity>({{AlertSeverity::info, "info", "info", "Info"},
                                 {AlertSeverity::warning, "warning", "warning", "Warning"},
                                 {AlertSeverity::critical, "critical", "critical", "Critical"}});
}

// `unknown` is what an agent says when it does not know, and no refuge for texts we do not know.
TEST(RunHealth, takesNoUnknownTextForUnknown) {
  EXPECT_EQ(RunHealth::fromRawValue("unknown"), RunHealth::unknown);
  EXPECT_FALSE(RunHealth::fromRawValue("on_fire"));
}

TEST(RunStatus, sharesTextsWithRunHealthButNoCases) {
  EXPECT_EQ(decode<RunStatus>(R"("warming_up")"), RunStatus::warmingUp);
  EXPECT_EQ(decode<RunHealth>(R"("warming_up")"), RunHealth::warmingUp);
  EXPECT_FALSE(RunStatus::fromRawValue("memory_risk"));
  EXPECT_FALSE(RunHealth::fromRawValue("completed"));
}

}  // namespace
}  // namespace tavrine
