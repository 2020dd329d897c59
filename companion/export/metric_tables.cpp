#include "companion/export/metric_tables.h"

#include <TavrineShared/parsers/text_rules.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tavrine {

namespace {

using Value = std::optional<double>;

// --- Units ---

constexpr double kKibi = 1024;
constexpr double kMebi = 1024 * kKibi;
constexpr double kGibi = 1024 * kMebi;
constexpr double kMega = 1e6;
constexpr double kTera = 1e12;
constexpr double kSecondsPerDay = 86400;

Value times(const Value& value, double factor) {
  return value ? Value(*value * factor) : std::nullopt;
}

// Divided, not multiplied by 0.01, for 7 percent to be 0.07.
Value ofPercent(const Value& percent) { return percent ? Value(*percent / 100) : std::nullopt; }

Value ofInteger(const std::optional<std::int64_t>& value) {
  return value ? Value(static_cast<double>(*value)) : std::nullopt;
}

Value ofBool(bool value) { return value ? 1 : 0; }

Value ofTime(Timestamp time) { return time.time_since_epoch().count(); }

// "P0" to "P15".
Value performanceState(const std::optional<std::string>& state) {
  if (!state || !state->starts_with('P')) return std::nullopt;
  return ofInteger(readInteger(state->substr(1)));
}

Value lastStep(const std::vector<TrainingMetric>& metrics) {
  return metrics.empty() ? std::nullopt : ofInteger(metrics.back().step);
}

Value lastLoss(const std::vector<TrainingMetric>& metrics) {
  return metrics.empty() ? std::nullopt : Value(metrics.back().loss);
}

// --- Tables ---

constexpr auto kGauge = MetricType::gauge;
constexpr auto kCounter = MetricType::counter;

using Lab = AppSnapshot;
constexpr auto kLabMetrics = std::to_array<Metric<Lab>>({
    {"snapshot_timestamp_seconds",
     "seconds",
     kGauge,
     "When the snapshot was taken.",
     [](const Lab& lab) { return ofTime(lab.timestamp); }},
    {"active_runs",
     "",
     kGauge,
     "Training runs that warm up, run or have stalled.",
     [](const Lab& lab) { return ofInteger(lab.activeRunCount()); }},
});

using Server = ServerSummary;
constexpr auto kServerMetrics = std::to_array<Metric<Server>>({
    {"server_up",
     "",
     kGauge,
     "Whether the server can be reached.",
     [](const Server& server) { return ofBool(server.state != ServerConnectionState::offline); }},
    {"server_active_runs",
     "",
     kGauge,
     "Training runs that the agent of the server counted.",
     [](const Server& server) { return ofInteger(server.activeRuns); }},
    {"server_disk_free_bytes",
     "bytes",
     kGauge,
     "Free room on the disk of the server.",
     [](const Server& server) { return times(server.diskFreeGB, kGibi); }},
    {"server_last_seen_timestamp_seconds",
     "seconds",
     kGauge,
     "When the server was last contacted.",
     [](const Server& server) { return ofTime(server.lastSeen); }},
});

using GPU = GPUStat;
constexpr auto kGPUMetrics = std::to_array<Metric<GPU>>({
    {"gpu_utilization_ratio",
     "ratio",
     kGauge,
     "Share of time in which the GPU computed.",
     [](const GPU& gpu) { return ofPercent(gpu.utilizationPercent); }},
    {"gpu_memory_used_bytes",
     "bytes",
     kGauge,
     "Memory of the GPU in use.",
     [](const GPU& gpu) -> Value { return gpu.memoryUsedMB * kMebi; }},
    {"gpu_memory_total_bytes",
     "bytes",
     kGauge,
     "Memory of the GPU.",
     [](const GPU& gpu) -> Value { return gpu.memoryTotalMB * kMebi; }},
    {"gpu_temperature_celsius",
     "celsius",
     kGauge,
     "Temperature of the core of the GPU.",
     [](const GPU& gpu) -> Value { return gpu.temperatureC; }},
    {"gpu_power_watts",
     "watts",
     kGauge,
     "Power that the GPU draws.",
     [](const GPU& gpu) -> Value { return gpu.powerDrawW; }},
    {"gpu_power_limit_watts",
     "watts",
     kGauge,
     "Power that the GPU may draw, as enforced.",
     [](const GPU& gpu) -> Value { return gpu.powerLimitW; }},
    {"gpu_fan_speed_ratio",
     "ratio",
     kGauge,
     "Speed of the fan, as a share of its highest.",
     [](const GPU& gpu) { return ofPercent(gpu.fanSpeedPercent); }},
    {"gpu_sm_clock_hertz",
     "hertz",
     kGauge,
     "Clock of the streaming multiprocessors.",
     [](const GPU& gpu) { return times(gpu.smClockMHz, kMega); }},
    {"gpu_memory_clock_hertz",
     "hertz",
     kGauge,
     "Clock of the memory of the GPU.",
     [](const GPU& gpu) { return times(gpu.memClockMHz, kMega); }},
    {"gpu_ecc_errors",
     "",
     kCounter,
     "Errors that the memory of the GPU found in itself.",
     [](const GPU& gpu) { return ofInteger(gpu.eccErrorsTotal); }},
    {"gpu_pcie_link_generation",
     "",
     kGauge,
     "Generation of the PCIe link as it runs now.",
     [](const GPU& gpu) { return ofInteger(gpu.pcieLinkGen); }},
    {"gpu_pcie_link_lanes",
     "",
     kGauge,
     "Lanes of the PCIe link as it runs now.",
     [](const GPU& gpu) { return ofInteger(gpu.pcieLinkWidth); }},
    {"gpu_performance_state",
     "",
     kGauge,
     "Performance state, 0 being the fastest.",
     [](const GPU& gpu) { return performanceState(gpu.pstate); }},
});

using Run = TrainingRun;
constexpr auto kRunMetrics = std::to_array<Metric<Run>>({
    {"run_start_timestamp_seconds",
     "seconds",
     kGauge,
     "When the run was started.",
     [](const Run& run) { return ofTime(run.startedAt); }},
    {"run_remaining_seconds",
     "seconds",
     kGauge,
     "Time to the completion of the run, estimated.",
     [](const Run& run) -> Value { return run.etaSeconds; }},
    {"run_loss",
     "",
     kGauge,
     "Training loss now.",
     [](const Run& run) -> Value { return run.currentLoss; }},
    {"run_validation_loss",
     "",
     kGauge,
     "Loss of the last validation.",
     [](const Run& run) { return lastLoss(run.valMetrics); }},
    {"run_last_step",
     "",
     kGauge,
     "The last step that the run logged.",
     [](const Run& run) { return lastStep(run.metrics); }},
    {"run_throughput",
     "",
     kGauge,
     "Samples, tokens or steps per second, as the log of the run counts.",
     [](const Run& run) -> Value { return run.throughput; }},
    {"run_flops",
     "",
     kGauge,
     "Floating-point operations per second that the run achieves.",
     [](const Run& run) -> Value { return run.flopsTFLOPs * kTera; }},
    {"run_gpu_utilization_ratio",
     "ratio",
     kGauge,
     "Share of time in which its GPUs computed.",
     [](const Run& run) { return ofPercent(run.gpuUtilization); }},
    {"run_gpu_memory_used_bytes",
     "bytes",
     kGauge,
     "Memory of GPUs that the run holds.",
     [](const Run& run) -> Value { return run.vramUsedGB * kGibi; }},
    {"run_gpu_memory_total_bytes",
     "bytes",
     kGauge,
     "Memory of the GPUs that the run is on.",
     [](const Run& run) -> Value { return run.vramTotalGB * kGibi; }},
    {"run_power_watts",
     "watts",
     kGauge,
     "Power that the GPUs of the run draw.",
     [](const Run& run) -> Value { return run.powerDrawW; }},
    {"run_checkpoints",
     "",
     kGauge,
     "Checkpoints that the run has written.",
     [](const Run& run) -> Value { return static_cast<double>(run.checkpoints.size()); }},
    {"run_tensor_active_ratio",
     "ratio",
     kGauge,
     "Share of time in which tensor cores were busy.",
     [](const Run& run) -> Value { return run.dcgmTensorActive; }},
    {"run_fp32_active_ratio",
     "ratio",
     kGauge,
     "Share of time in which FP32 pipes were busy.",
     [](const Run& run) -> Value { return run.dcgmFP32Active; }},
    {"run_dram_active_ratio",
     "ratio",
     kGauge,
     "Share of time in which GPU memory was busy.",
     [](const Run& run) -> Value { return run.dcgmDRAMActive; }},
});

constexpr auto kTemperatureMetrics = std::to_array<Metric<CPUTemperature>>({
    {"sensor_temperature_celsius",
     "celsius",
     kGauge,
     "What a thermal sensor reads; number tells those of one name apart.",
     [](const CPUTemperature& reading) -> Value { return reading.celsius; }},
});

constexpr auto kDiskMetrics = std::to_array<Metric<DiskIORate>>({
    {"disk_read_bytes_per_second",
     "bytes_per_second",
     kGauge,
     "What is read from the device.",
     [](const DiskIORate& rate) -> Value { return rate.readKBps * kKibi; }},
    {"disk_written_bytes_per_second",
     "bytes_per_second",
     kGauge,
     "What is written to the device.",
     [](const DiskIORate& rate) -> Value { return rate.writeKBps * kKibi; }},
    {"disk_busy_ratio",
     "ratio",
     kGauge,
     "Share of time in which the device was busy.",
     [](const DiskIORate& rate) { return ofPercent(rate.utilizationPercent); }},
});

template <std::size_t Place>
Value load(const SystemSensors& sensors) {
  return sensors.loadAverage.size() > Place ? Value(sensors.loadAverage[Place]) : std::nullopt;
}

constexpr auto kLoadMetrics = std::to_array<Metric<SystemSensors>>({
    {"load1", "", kGauge, "Load average over 1 minute.", load<0>},
    {"load5", "", kGauge, "Load average over 5 minutes.", load<1>},
    {"load15", "", kGauge, "Load average over 15 minutes.", load<2>},
});

using User = StudentUsage;
constexpr auto kUserMetrics = std::to_array<Metric<User>>({
    {"user_processes",
     "",
     kGauge,
     "Processes of the user.",
     [](const User& user) { return ofInteger(user.processCount); }},
    {"user_training_processes",
     "",
     kGauge,
     "Processes of the user that train.",
     [](const User& user) { return ofInteger(user.trainingProcessCount); }},
    {"user_cpu_ratio",
     "ratio",
     kGauge,
     "CPU time of the user over time, 1 for each core.",
     [](const User& user) { return ofPercent(user.cpuPercent); }},
    {"user_memory_bytes",
     "bytes",
     kGauge,
     "Memory of the host that the user holds.",
     [](const User& user) -> Value { return user.memoryGB * kGibi; }},
    {"user_gpu_memory_bytes",
     "bytes",
     kGauge,
     "Memory of GPUs that the user holds.",
     [](const User& user) -> Value { return user.gpuMemoryGB * kGibi; }},
    {"user_logins",
     "",
     kGauge,
     "Logins of the user within so many days.",
     [](const User& user) { return ofInteger(user.loginCount); }},
});

constexpr auto kRecorderMetrics = std::to_array<Metric<RecorderHealth>>({
    {"recorder_active_processes",
     "",
     kGauge,
     "Processes that are being recorded.",
     [](const RecorderHealth& health) -> Value {
       return static_cast<double>(health.activePids.size());
     }},
    {"recorder_disk_used_bytes",
     "bytes",
     kGauge,
     "Size of the logs of the recorders.",
     [](const RecorderHealth& health) -> Value { return health.diskUsageGB * kGibi; }},
    {"recorder_disk_cap_bytes",
     "bytes",
     kGauge,
     "Size to which the logs may grow.",
     [](const RecorderHealth& health) -> Value { return health.capGB * kGibi; }},
    {"recorder_disk_alert_bytes",
     "bytes",
     kGauge,
     "Size of the logs that raises an alert.",
     [](const RecorderHealth& health) -> Value { return health.alertThresholdGB * kGibi; }},
    {"recorder_retention_seconds",
     "seconds",
     kGauge,
     "How long logs are kept.",
     [](const RecorderHealth& health) {
       return times(ofInteger(health.retentionDays), kSecondsPerDay);
     }},
    {"recorder_py_spy_available",
     "",
     kGauge,
     "Whether py-spy is there for the recorders.",
     [](const RecorderHealth& health) { return ofBool(health.pySpyAvailable); }},
    {"recorder_dcgm_available",
     "",
     kGauge,
     "Whether DCGM is there for the recorders.",
     [](const RecorderHealth& health) { return ofBool(health.dcgmAvailable); }},
    {"recorder_nvidia_smi_available",
     "",
     kGauge,
     "Whether nvidia-smi is there for the recorders.",
     [](const RecorderHealth& health) { return ofBool(health.nvidiaSmiAvailable); }},
});

constexpr auto kAgentMetrics = std::to_array<Metric<AgentStatus>>({
    {"agent_ok",
     "",
     kGauge,
     "What the agent thinks of itself.",
     [](const AgentStatus& agent) { return ofBool(agent.ok); }},
    {"agent_report_timestamp_seconds",
     "seconds",
     kGauge,
     "When the agent reported.",
     [](const AgentStatus& agent) { return ofTime(agent.generatedAt); }},
});

using Interface = NetworkInterfaceStat;
constexpr auto kInterfaceMetrics = std::to_array<Metric<Interface>>({
    {"network_received_bytes",
     "bytes",
     kCounter,
     "Received through the interface.",
     [](const Interface& stat) { return ofInteger(stat.rxBytes); }},
    {"network_sent_bytes",
     "bytes",
     kCounter,
     "Sent through the interface.",
     [](const Interface& stat) { return ofInteger(stat.txBytes); }},
    {"network_received_packets",
     "",
     kCounter,
     "Packets received through the interface.",
     [](const Interface& stat) { return ofInteger(stat.rxPackets); }},
    {"network_sent_packets",
     "",
     kCounter,
     "Packets sent through the interface.",
     [](const Interface& stat) { return ofInteger(stat.txPackets); }},
});

constexpr auto kProcessMetrics = std::to_array<Metric<ProcessStat>>({
    {"process_cpu_ratio",
     "ratio",
     kGauge,
     "CPU time of the process over time, 1 for each core.",
     [](const ProcessStat& process) { return ofPercent(process.cpuPercent); }},
    {"process_resident_memory_bytes",
     "bytes",
     kGauge,
     "Memory of the host that it holds.",
     [](const ProcessStat& process) { return times(ofInteger(process.residentMemoryKB), kKibi); }},
    {"process_gpu_memory_bytes",
     "bytes",
     kGauge,
     "Memory of a GPU that the process holds.",
     [](const ProcessStat& process) { return times(process.gpuMemoryMB, kMebi); }},
});

}  // namespace

std::span<const Metric<AppSnapshot>> labMetrics() { return kLabMetrics; }

std::span<const Metric<ServerSummary>> serverMetrics() { return kServerMetrics; }

std::span<const Metric<GPUStat>> gpuMetrics() { return kGPUMetrics; }

std::span<const Metric<TrainingRun>> runMetrics() { return kRunMetrics; }

std::span<const Metric<SystemSensors>> loadMetrics() { return kLoadMetrics; }

std::span<const Metric<CPUTemperature>> temperatureMetrics() { return kTemperatureMetrics; }

std::span<const Metric<DiskIORate>> diskMetrics() { return kDiskMetrics; }

std::span<const Metric<StudentUsage>> userMetrics() { return kUserMetrics; }

std::span<const Metric<RecorderHealth>> recorderMetrics() { return kRecorderMetrics; }

std::span<const Metric<AgentStatus>> agentMetrics() { return kAgentMetrics; }

std::span<const Metric<NetworkInterfaceStat>> interfaceMetrics() { return kInterfaceMetrics; }

std::span<const Metric<ProcessStat>> processMetrics() { return kProcessMetrics; }

}  // namespace tavrine
