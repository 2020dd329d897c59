// The whole monitored state of a lab at one moment.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/agent_sensors.h>
#include <TavrineShared/model/alert_event.h>
#include <TavrineShared/model/gpu_server.h>
#include <TavrineShared/model/network_security.h>
#include <TavrineShared/model/process.h>
#include <TavrineShared/model/record.h>
#include <TavrineShared/model/training_run.h>
#include <TavrineShared/model/usage.h>
#include <TavrineShared/recorder/recorder_records.h>

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tavrine {

/// Records of all servers side by side, told apart by the server names they carry. In JSON every
/// list is lenient, so that only a bad `timestamp` costs the whole snapshot.
struct AppSnapshot {
  Timestamp timestamp;  ///< when it was taken
  std::vector<ServerSummary> servers;
  std::vector<TrainingRun> runs;
  std::vector<TavrineAlert> alerts;
  std::vector<ProcessStat> processes;
  std::vector<UsageSummary> usageSummaries;
  std::vector<NetworkSummary> networkSummaries;
  std::vector<AgentStatus> agentStatuses;
  std::vector<LabEvent> labEvents;
  std::vector<LabEventStoreSummary> labEventStores;
  std::vector<SystemSensors> sensors;
  std::vector<RecorderHealth> recorderHealth;
  std::vector<ModelManager> modelManagers;

  /// One snapshot of nothing, of the moment at which it was first asked for.
  static const AppSnapshot& empty();

  /// Over all GPUs of all servers, whatever their state: percent, 0 without a GPU.
  double averageGPUUtilization() const;
  /// Over the same GPUs: watts.
  double totalPowerDrawW() const;
  /// Runs that hold their GPUs, as `RunStatus::isActive` tells them.
  std::int64_t activeRunCount() const;
  /// All processes of the snapshot, of whatever kind.
  std::int64_t activeProcessCount() const;
  /// Processes of the kinds training, scheduler and notebook: what people do to train, and not
  /// whatever else sits on a GPU.
  std::int64_t trainingProcessCount() const;
  /// The first of that very server name.
  std::optional<ModelManager> modelManager(std::string_view forServer) const;

  bool operator==(const AppSnapshot&) const = default;
  static const RecordTable& table();
};

}  // namespace tavrine
