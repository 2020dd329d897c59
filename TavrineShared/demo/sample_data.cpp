#include <TavrineShared/demo/sample_data.h>

#include <TavrineShared/demo/sample_lab.h>
#include <TavrineShared/demo/sample_network.h>
#include <TavrineShared/demo/sample_people.h>
#include <TavrineShared/demo/sample_runs.h>
#include <TavrineShared/foundation/precondition.h>
#include <TavrineShared/model/stable_id.h>

#include <string>
#include <vector>

namespace tavrine::SampleData {

namespace {

ServerSummary server(const SampleServer& facts, std::int64_t gpuCount, double diskFreeGB,
                     const Moment& moment) {
  return {.id = StableID::uuid(std::string("sample-server:") + facts.name),
          .name = facts.name,
          .host = facts.address,
          .state = ServerConnectionState::demo,
          .gpus = gpusAt(moment.t(), gpuCount),
          .activeRuns = 1,
          .diskFreeGB = diskFreeGB,
          .lastSeen = moment.now};
}

// --- What happened ---

TavrineAlert alert(const Moment& moment) {
  if (moment.isStalled()) {
    return {.id = StableID::uuid("sample-alert:throughput-dip"),
            .severity = AlertSeverity::warning,
            .title = "Throughput dip",
            .message = "Training throughput is down 18 percent over the last window.",
            .serverName = kServerA.name,
            .runName = kLlamaRun,
            .timestamp = moment.now};
  }
  return {.id = StableID::uuid("sample-alert:checkpoint-saved"),
          .severity = AlertSeverity::info,
          .title = "Checkpoint saved",
          .message = "A new best checkpoint was written 7 minutes ago.",
          .serverName = kServerA.name,
          .runName = kLlamaRun,
          .timestamp = moment.ago(kBestCheckpointAge)};
}

std::vector<LabEvent> labEvents(const Moment& moment) {
  return {{.id = "sample-lab-event:gpu-memory",
           .timestamp = moment.ago(240),
           .severity = AlertSeverity::warning,
           .category = "notebook",
           .title = "Notebook holding GPU memory",
           .message = "vemra has a notebook process holding 6.1 GB of GPU memory on gpu-lab-b.",
           .serverName = kServerB.name,
           .username = kNotebook.owner,
           .processPID = kNotebook.pid,
           .command = kNotebook.command},
          {.id = "sample-lab-event:checkpoint",
           .timestamp = moment.ago(kBestCheckpointAge),
           .severity = AlertSeverity::info,
           .category = "training",
           .title = "New best checkpoint",
           .message = "tulo wrote a new best checkpoint for llama-7b-sft-run-042.",
           .serverName = kServerA.name,
           .username = kTraining.owner,
           .processPID = kTraining.pid,
           .command = kTraining.command}};
}

// --- The machines ---

AgentStatus agentStatus(const Moment& moment) {
  return {.serverName = kLab,
          .ok = true,
          .version = "0.5.0",
          .startedAt = moment.ago(791010),  // just after the servers
          .generatedAt = moment.now,
          .cacheGeneratedAt = moment.ago(2),
          .intervalSeconds = 5,
          .processLimit = 40};
}

SystemSensors sensorsOfA(const Moment& moment) {
  const double t = moment.t();
  return {.serverName = kServerA.name,
          .capturedAt = moment.now,
          .cpuTemperatures = {{.label = "x86_pkg_temp", .celsius = wave(64, 4, t / 5)},
                              {.label = "Core 0", .celsius = wave(61, 3, 0.25 * (t + 1))},
                              {.label = "Core 1", .celsius = wave(63, 3, 0.25 * (t + 2))},
                              {.label = "NVMe Composite", .celsius = 46.85}},
          .diskIO = {{.device = "nvme0n1",
                      .readKBps = wave(280000, 80000, t / 3),
                      .writeKBps = wave(42000, 12000, t / 3),
                      .utilizationPercent = wave(38, 11, t / 3)},
                     {.device = "nvme1n1",
                      .readKBps = 1240,
                      .writeKBps = 8600,
                      .utilizationPercent = 2.4}},
          .loadAverage = {12.4 + std::sin(t / 7), 11.86, 10.92}};
}

SystemSensors sensorsOfB(const Moment& moment) {
  return {.serverName = kServerB.name,
          .capturedAt = moment.now,
          .cpuTemperatures = {{.label = "x86_pkg_temp", .celsius = 52},
                              {.label = "Core 0", .celsius = 50},
                              {.label = "Core 1", .celsius = 51},
                              {.label = "NVMe Composite", .celsius = 41.85}},
          .diskIO = {{.device = "nvme0n1",
                      .readKBps = 36400,
                      .writeKBps = 5200,
                      .utilizationPercent = 7.8}},
          .loadAverage = {3.12, 2.87, 2.44}};
}

}  // namespace

std::vector<GPUStat> gpusAt(double t, std::int64_t count) {
  std::vector<GPUStat> gpus;
  for (std::int64_t i = 0; i < count; ++i) {
    const auto index = static_cast<double>(i);
    const double x = t + index;
    gpus.push_back({
        .index = i,
        .name = "NVIDIA H100",
        .utilizationPercent = wave(72, 18, 0.25 * x),
        // All GPUs swing together: they hold parts of one model.
        .memoryUsedMB = wave(52000 + 1200 * index, 2800, t / 5),
        .memoryTotalMB = 80000,
        .temperatureC = wave(64, 5, x / 6),
        .powerDrawW = wave(510, 45, x / 3),
        .powerLimitW = 700,
        .fanSpeedPercent = wave(60, 10, x / 5),
        .smClockMHz = wave(1830, 60, x / 3),
        .memClockMHz = 1593,
        .eccErrorsTotal = 0,
        .pcieLinkGen = 5,
        .pcieLinkWidth = 16,
        .pstate = "P0",
    });
  }
  return gpus;
}

AppSnapshot snapshot(std::int64_t tick) { return detail::snapshot(tick, currentTime()); }

AppSnapshot detail::snapshot(std::int64_t tick, Timestamp now) {
  if (tick < kSmallestTick || tick > kLargestTick) {
    preconditionFailure("SampleData::snapshot: the steps of tick " + std::to_string(tick) +
                        " are beyond 64 bits");
  }
  const Moment moment{.tick = tick, .now = now};
  const std::vector<ProcessStat> processes = sampleProcesses(moment);
  return {
      .timestamp = now,
      .servers = {server(kServerA, kGPUsOfA, 1220, moment),
                  server(kServerB, kGPUsOfB, 680, moment)},
      .runs = sampleRuns(moment),
      .alerts = {alert(moment)},
      .processes = processes,
      .usageSummaries = {sampleUsage(moment, processes)},
      .networkSummaries = {sampleNetwork(moment)},
      .agentStatuses = {agentStatus(moment)},
      .labEvents = labEvents(moment),
      .labEventStores = {},
      .sensors = {sensorsOfA(moment), sensorsOfB(moment)},
      .recorderHealth = {},
      .modelManagers = {},
  };
}

}  // namespace tavrine::SampleData
