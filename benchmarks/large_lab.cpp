#include "benchmarks/large_lab.h"

#include "benchmarks/lab/lab.h"

#include <chrono>
#include <cstddef>

namespace tavrine::benchmarks {

namespace {

constexpr std::size_t kRuns = 400;
constexpr std::size_t kProcesses = 60'000;

}  // namespace

std::vector<ServerSummary> largeServerList(std::size_t count) {
  Lab lab(42);
  std::vector<ServerSummary> servers;
  for (std::size_t i = 0; i < count; ++i) servers.push_back(lab.server(i));
  return servers;
}

AppSnapshot largeLab() {
  Lab lab(42);
  AppSnapshot snapshot{};
  snapshot.timestamp = Timestamp(std::chrono::seconds(Lab::kNow));
  for (std::size_t i = 0; i < kServers; ++i) {
    snapshot.servers.push_back(lab.server(i));
    snapshot.usageSummaries.push_back(lab.usage(i));
    snapshot.networkSummaries.push_back(lab.network(i));
    snapshot.agentStatuses.push_back(lab.agentStatus(i));
    snapshot.labEventStores.push_back(lab.labEventStore(i));
    snapshot.sensors.push_back(lab.sensors(i));
    snapshot.recorderHealth.push_back(lab.recorderHealth(i));
    snapshot.modelManagers.push_back(lab.modelManager(i));
  }
  for (std::size_t i = 0; i < kRuns; ++i) snapshot.runs.push_back(lab.run(i));
  for (std::size_t i = 0; i < kProcesses; ++i) snapshot.processes.push_back(lab.process(i));
  for (std::size_t i = 0; i < 1'000; ++i) {
    snapshot.alerts.push_back(lab.alert(i));
    snapshot.labEvents.push_back(lab.labEvent(i));
  }
  return snapshot;
}

}  // namespace tavrine::benchmarks
