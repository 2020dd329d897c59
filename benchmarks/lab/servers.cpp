#include "benchmarks/lab/lab.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace tavrine::benchmarks {

ServerSummary Lab::server(std::size_t i) {
  ServerSummary server{
      .id = StableID::uuid("server-" + number(i)),
      .name = serverName(i),
      .host = joined({"10.0.", number(i / 256 % 256), ".", number(i % 256)}),
      .state = chance(95) ? ServerConnectionState::connected : ServerConnectionState::degraded,
      .gpus = {},
      .activeRuns = static_cast<std::int64_t>(i % 4),
      .diskFreeGB = reading(10, 4000, 10),
      .lastSeen = secondsAgo(below(60)),
  };
  for (std::int64_t g = 0; g < 8; ++g) {
    server.gpus.push_back({
        .index = g,
        .name = "NVIDIA H100 80GB HBM3",
        .utilizationPercent = reading(0, 100, 1),
        .memoryUsedMB = reading(0, 81559, 1),
        .memoryTotalMB = 81559,
        .temperatureC = reading(30, 90, 1),
        .powerDrawW = reading(60, 700, 100),
        .powerLimitW = 700,
        .fanSpeedPercent = g % 2 == 0 ? std::optional(reading(20, 100, 1)) : std::nullopt,
        .smClockMHz = reading(345, 1980, 1),
        .memClockMHz = 2619,
        .eccErrorsTotal = 0,
        .pcieLinkGen = 5,
        .pcieLinkWidth = 16,
        .pstate = "P0",
    });
  }
  return server;
}

ProcessStat Lab::process(std::size_t i) {
  const std::string owner = chance(80) ? user() : "root";
  const bool holdsGPU = chance(30);
  std::string command = commandLine(owner);
  return {
      .serverName = serverName(i % kServers),
      .pid = count(1'000, 4'190'000),
      .parentPID = count(1, 4'190'000),
      .owner = owner,
      .state = pick({"S", "Sl", "R", "Rl+", "Ssl", "D", "I<"}),
      .cpuPercent = reading(0, 1'600, 10),
      .memoryPercent = reading(0, 8, 10),
      .residentMemoryKB = count(900, 60'000'000),
      .gpuMemoryMB = holdsGPU ? std::optional(reading(300, 80'000, 1)) : std::nullopt,
      .gpuBusID = holdsGPU ? std::optional(busID()) : std::nullopt,
      .elapsed = joined({number(below(30)),
                         "-",
                         padded(below(24), 2),
                         ":",
                         padded(below(60), 2),
                         ":",
                         padded(below(60), 2)}),
      .executable =
          pick({"python", "python3", "pt_main_thread", "sshd", "systemd", "kworker/u256"}),
      .command = std::move(command),
      .kind = oneOf<ProcessKind>(),
      .capturedAt = secondsAgo(below(30)),
  };
}

AgentStatus Lab::agentStatus(std::size_t server) {
  return {
      .serverName = serverName(server),
      .ok = chance(98),
      .version = "1.4.2",
      .startedAt = secondsAgo(below(8'640'000)),
      .generatedAt = secondsAgo(below(60)),
      .cacheGeneratedAt = secondsAgo(below(120)),
      .intervalSeconds = 15,
      .processLimit = 300,
  };
}

SystemSensors Lab::sensors(std::size_t server) {
  SystemSensors sensors{
      .serverName = serverName(server),
      .capturedAt = secondsAgo(below(60)),
      .cpuTemperatures = {},
      .diskIO = {},
      .loadAverage = {reading(0, 90, 100), reading(0, 90, 100), reading(0, 90, 100)},
  };
  for (std::uint64_t core = 0; core < 16; ++core) {
    sensors.cpuTemperatures.push_back(
        {.label = joined({"Core ", number(core)}), .celsius = reading(35, 90, 1)});
  }
  for (std::uint64_t disk = 0; disk < 6; ++disk) {
    sensors.diskIO.push_back({
        .device = joined({"nvme", number(disk), "n1"}),
        .readKBps = reading(0, 3'000'000, 10),
        .writeKBps = reading(0, 3'000'000, 10),
        .utilizationPercent = mostly(4, reading(0, 100, 10)),
    });
  }
  return sensors;
}

RecorderHealth Lab::recorderHealth(std::size_t server) {
  RecorderHealth health{
      .serverName = serverName(server),
      .logRoot = "/var/lib/tavrine/recorder",
      .activePids = {},
      .activeRecorders = {},
      .adoptedPaths = {},
      .diskUsageGB = reading(0, 50, 1'000),
      .capGB = 50,
      .alertThresholdGB = 45,
      .retentionDays = 14,
      .ptraceScope = 1,
      .pySpyAvailable = chance(90),
      .dcgmAvailable = chance(90),
      .nvidiaSmiAvailable = true,
      .lastAlertSentAt = seldom(3, secondsAgo(below(864'000))),
  };
  for (std::size_t r = 0; r < 2; ++r) {
    const std::string owner = user();
    const std::int64_t pid = count(1'000, 4'190'000);
    health.activePids.push_back(pid);
    health.activeRecorders.push_back({
        .pid = pid,
        .owner = owner,
        .logPath = joined({health.logRoot, "/", owner, "-", number(r), ".jsonl"}),
        .adoptedFrom = seldom<std::string>(5, "/tmp/recorder.jsonl"),
        .cmdline = commandLine(owner),
        .openedAt = secondsAgo(below(500'000)),
    });
  }
  if (chance(20)) health.adoptedPaths.emplace_back("/tmp/recorder.jsonl");
  return health;
}

ModelManager Lab::modelManager(std::size_t server) {
  ModelManager manager{
      .serverName = serverName(server),
      .running = chance(70),
      .model = mostly(3, model()),
      .configuredModel = model(),
      .tier = count(1, 4),
      .tierReason = "eight GPUs with 80 GB each",
      .selectedProfile = mostly(3, count(1, 3)),
      .available = {},
  };
  for (std::int64_t profile = 1; profile <= 3; ++profile) {
    manager.available.push_back({
        .profile = profile,
        .label = pick({"fast", "balanced", "largest"}),
        .model = model(),
        .precision = pick({"fp8", "bf16", "int4"}),
        .gpus = profile,
        .downloaded = chance(60),
    });
  }
  return manager;
}

}  // namespace tavrine::benchmarks
