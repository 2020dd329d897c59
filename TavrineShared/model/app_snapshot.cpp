#include <TavrineShared/model/app_snapshot.h>

#include <TavrineShared/model/field_table.h>

#include <algorithm>

namespace tavrine {

namespace {

bool servesTraining(const ProcessStat& process) {
  switch (process.kind) {
    case ProcessKind::training:
    case ProcessKind::scheduler:
    case ProcessKind::notebook:
      return true;
    case ProcessKind::gpu:
    case ProcessKind::system:
    case ProcessKind::other:
      return false;
  }
  return false;
}

}  // namespace

const RecordTable& AppSnapshot::table() {
  using R = AppSnapshot;
  static constexpr auto fields = fieldsOf<R>(field<&R::timestamp>(),
                                             lossyList<&R::servers>(),
                                             lossyList<&R::runs>(),
                                             lossyList<&R::alerts>(),
                                             lossyList<&R::processes>(),
                                             lossyList<&R::usageSummaries>(),
                                             lossyList<&R::networkSummaries>(),
                                             lossyList<&R::agentStatuses>(),
                                             lossyList<&R::labEvents>(),
                                             lossyList<&R::labEventStores>(),
                                             lossyList<&R::sensors>(),
                                             lossyList<&R::recorderHealth>(),
                                             lossyList<&R::modelManagers>());
  static constexpr RecordTable table{"AppSnapshot", fields};
  return table;
}

const AppSnapshot& AppSnapshot::empty() {
  static const AppSnapshot snapshot{.timestamp = currentTime(),
                                    .servers = {},
                                    .runs = {},
                                    .alerts = {},
                                    .processes = {},
                                    .usageSummaries = {},
                                    .networkSummaries = {},
                                    .agentStatuses = {},
                                    .labEvents = {},
                                    .labEventStores = {},
                                    .sensors = {},
                                    .recorderHealth = {},
                                    .modelManagers = {}};
  return snapshot;
}

double AppSnapshot::averageGPUUtilization() const {
  double sum = 0;
  std::size_t count = 0;
  for (const ServerSummary& server : servers) {
    for (const GPUStat& gpu : server.gpus) sum += gpu.utilizationPercent;
    count += server.gpus.size();
  }
  return count == 0 ? 0 : sum / static_cast<double>(count);
}

double AppSnapshot::totalPowerDrawW() const {
  double sum = 0;
  for (const ServerSummary& server : servers) {
    for (const GPUStat& gpu : server.gpus) sum += gpu.powerDrawW;
  }
  return sum;
}

std::int64_t AppSnapshot::activeRunCount() const {
  return std::count_if(runs.begin(), runs.end(), [](const TrainingRun& run) {
    return run.status.isActive();
  });
}

std::int64_t AppSnapshot::activeProcessCount() const {
  return static_cast<std::int64_t>(processes.size());
}

std::int64_t AppSnapshot::trainingProcessCount() const {
  return std::count_if(processes.begin(), processes.end(), servesTraining);
}

std::optional<ModelManager> AppSnapshot::modelManager(std::string_view forServer) const {
  for (const ModelManager& manager : modelManagers) {
    if (manager.serverName == forServer) return manager;
  }
  return std::nullopt;
}

}  // namespace tavrine
