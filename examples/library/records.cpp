#include <TavrineShared/tavrine_shared.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <unordered_set>

using namespace tavrine;

// The made-up lab has records of nearly all kinds, at a tick always the same.
AppSnapshot lab() { return SampleData::snapshot(60); }

void values() {
  const CPUTemperature cool{.label = "nvme", .celsius = 41};
  CPUTemperature hot = cool;
  hot.celsius = 84;
  const std::unordered_set<CPUTemperature> sensors = {cool, hot, cool};
  std::cout << std::boolalpha << (cool == hot) << ", " << sensors.size() << " different ones\n";
}

void servers() {
  const AppSnapshot now = lab();
  for (const ServerSummary& server : now.servers) {
    std::cout << server.name << " (" << server.state.title() << "), " << server.gpus.size()
              << " GPUs, the first at " << 100 * server.gpus.front().powerFraction()
              << " % of its power limit\n";
  }
  std::cout << "all together: " << now.averageGPUUtilization() << " %, " << now.totalPowerDrawW()
            << " W, " << now.activeRunCount() << " active runs, " << now.trainingProcessCount()
            << " of " << now.activeProcessCount() << " processes for training\n";
}

void runs() {
  const AppSnapshot now = lab();
  for (const TrainingRun& run : now.runs) {
    std::cout << run.name << ": " << run.status.title() << ", " << run.health.title() << ", "
              << run.metrics.size() << " steps, " << run.checkpoints.size() << " checkpoints, "
              << run.recorderPoints.size() << " recorder points\n";
  }
}

void alerts() {
  const AppSnapshot now = lab();
  for (const TavrineAlert& alert : now.alerts) {
    std::cout << alert.severity.title() << ": " << alert.title << ", about "
              << alert.runName.value_or("no run") << '\n';
  }
  for (const LabEvent& event : now.labEvents) {
    std::cout << event.severity.title() << ": " << event.title << " (" << event.category << ")\n";
  }
}

void people() {
  const AppSnapshot now = lab();
  for (const UsageSummary& usage : now.usageSummaries) {
    const auto most = std::max_element(
        usage.students.begin(),
        usage.students.end(),
        [](const auto& a, const auto& b) { return a.gpuMemoryGB < b.gpuMemoryGB; });
    std::cout << usage.id() << ": of " << usage.students.size() << " users, " << most->username
              << " holds most GPU memory, and came from "
              << most->connectionSources.front().kind.title() << '\n';
  }
}

void network() {
  const AppSnapshot now = lab();
  for (const NetworkSummary& network : now.networkSummaries) {
    std::cout << network.interfaces.size() << " interfaces, " << network.connections.size()
              << " connections, " << network.sshEvents.size() << " SSH events\n";
    const NetworkConnectionStat& first = network.connections.front();
    std::cout << first.id() << (first.coordinate() ? " is on the map" : " is on no map") << '\n';
  }
}

void surroundings() {
  const AppSnapshot now = lab();
  const SystemSensors& sensors = now.sensors.front();
  std::cout << *sensors.peakCPUTempC() << " C at most, disks read " << sensors.totalDiskReadKBps()
            << " KiB/s\n";
  const AgentStatus& agent = now.agentStatuses.front();
  std::cout << "agent " << agent.version << (agent.ok ? " is well\n" : " is not well\n");

  // The list of an inference service's models, as a service would have sent it.
  const auto manager = decode<ModelManager>(
      R"({"running": "yes", "available": [{"profile": 1, "label": "small", "model": "llama-8b",
          "precision": "fp8", "gpus": 1, "downloaded": true}, null]})");
  std::cout << (manager.running ? "running" : "not running, as far as one can tell") << ", "
            << manager.available.size() << " model\n";

  // What the supervisor of the recorders reports; what it leaves out has a default.
  const auto recorders = decode<RecorderHealth>(R"({"serverName": "gpu-01", "diskUsageGB": 41.5})");
  std::cout << recorders.diskUsageGB << " GiB of logs, kept for " << recorders.retentionDays
            << " days\n";
}

void vocabularies() {
  const auto status = RunStatus::fromRawValue("warming_up");
  std::cout << status->title() << (*status == RunStatus::warmingUp ? " is" : " is not")
            << " warmingUp; \"paused\" is "
            << (RunStatus::fromRawValue("paused") ? "one" : "no status") << '\n';
  for (const AlertSeverity severity : AlertSeverity::allCases()) {
    std::cout << severity.rawValue() << ' ';
  }
  std::cout << '\n';
}

void identifiers() {
  std::cout << StableID::uuid("gpu-01").text() << '\n';
  std::cout << (UUID::fromText("{0F8FAD5B}") ? "a UUID" : "no UUID") << '\n';
  std::cout << *iso8601Text(*timestampFromISO8601("2026-11-15T19:48:25+02:00")) << '\n';
}

int main() {
  values();
  servers();
  runs();
  alerts();
  people();
  network();
  surroundings();
  vocabularies();
  identifiers();
}
