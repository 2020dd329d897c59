#include "companion/collect/queries.h"

#include "companion/collect/shell_quote.h"
#include "companion/views/joined.h"

#include <array>
#include <cstddef>
#include <functional>

namespace tavrine {

namespace {

// Of the properties that come in several flavours: the link as it runs now, not as it could; errors
// that could not be corrected, since the driver was loaded.
constexpr auto kGPUQueryColumns = std::to_array<GPUQueryColumn>({
    {"index", "index"},
    {"name", "name"},
    {"utilization.gpu", "utilizationPercent"},
    {"memory.used", "memoryUsedMB"},
    {"memory.total", "memoryTotalMB"},
    {"temperature.gpu", "temperatureC"},
    {"power.draw", "powerDrawW"},
    {"power.limit", "powerLimitW"},
    {"fan.speed", "fanSpeedPercent"},
    {"clocks.sm", "smClockMHz"},
    {"clocks.mem", "memClockMHz"},
    {"ecc.errors.uncorrected.volatile.total", "eccErrorsTotal"},
    {"pcie.link.gen.current", "pcieLinkGen"},
    {"pcie.link.width.current", "pcieLinkWidth"},
    {"pstate", "pstate"},
});

// User names have up to 32 characters; where there is less room, longer ones are cut or become
// numbers.
constexpr auto kProcessQueryColumns = std::to_array<ProcessQueryColumn>({
    {"pid", "pid"},
    {"ppid", "parentPID"},
    {"user:32", "owner"},
    {"stat", "state"},
    {"pcpu", "cpuPercent"},
    {"pmem", "memoryPercent"},
    {"etime", "elapsed"},
    {"rss", "residentMemoryKB"},
    {"comm", "executable"},
    {"args", "command"},
});

// A dump of many threads takes kilobytes, and a diagnosis wants several of them.
constexpr std::size_t kTrainingLogBytes = 1 << 20;
constexpr std::size_t kRecorderLogBytes = 4 << 20;

std::string tailCommand(std::size_t bytes, std::string_view file) {
  return "tail -c " + std::to_string(bytes) + " -- " + std::string(file);
}

}  // namespace

std::span<const GPUQueryColumn> gpuQueryColumns() { return kGPUQueryColumns; }

std::span<const ProcessQueryColumn> processQueryColumns() { return kProcessQueryColumns; }

std::string gpuQueryCommand() {
  return "nvidia-smi --query-gpu=" +
         joined(kGPUQueryColumns, ",", std::mem_fn(&GPUQueryColumn::property)) + " --format=csv";
}

std::string gpuProcessQueryCommand() {
  return "nvidia-smi --query-compute-apps=pid,process_name,used_gpu_memory,gpu_bus_id --format=csv";
}

std::string processQueryCommand() {
  return "LC_ALL=C ps -eww -o " +
         joined(kProcessQueryColumns, ",", std::mem_fn(&ProcessQueryColumn::name));
}

std::string loadQueryCommand() { return "cat /proc/loadavg"; }

std::string diskQueryCommand() {
  return "echo ---DPRE---; cat /proc/diskstats; sleep 1; "
         "echo ---DMID---; cat /proc/diskstats; echo ---DEND---";
}

std::string thermalQueryCommand() {
  // A sensor that is there may still refuse to be read, and then it has nothing to say.
  return R"sh(for t in /sys/class/thermal/thermal_zone*/temp; do )sh"
         R"sh(v=$(cat "$t" 2>/dev/null) || continue; )sh"
         R"sh(printf '%s\t%s\n' "$(cat "${t%temp}type" 2>/dev/null)" "$v"; done; )sh"
         R"sh(for t in /sys/class/hwmon/hwmon*/temp*_input; do )sh"
         R"sh(v=$(cat "$t" 2>/dev/null) || continue; s=${t##*/}; )sh"
         R"sh(l=$(cat "${t%_input}_label" 2>/dev/null) || l=${s%_input}; )sh"
         R"sh(printf '%s %s\t%s\n' "$(cat "${t%/*}/name" 2>/dev/null)" "$l" "$v"; done)sh";
}

std::string trainingLogQueryCommand(std::string_view file) {
  return tailCommand(kTrainingLogBytes, shellQuoted(file));
}

std::string recorderQueryCommand(std::string_view file) {
  return tailCommand(kRecorderLogBytes, shellQuoted(file));
}

std::string trainingLogQueryOfVariable(std::string_view variable) {
  return tailCommand(kTrainingLogBytes, "\"$" + std::string(variable) + "\"");
}

std::string recorderQueryOfVariable(std::string_view variable) {
  return tailCommand(kRecorderLogBytes, "\"$" + std::string(variable) + "\"");
}

std::string diskFreeQueryCommand(const std::vector<std::string>& folders) {
  std::string command = "LC_ALL=C df -Pk --";
  for (const std::string& folder : folders) command += " " + shellPath(folder);
  return command;
}

}  // namespace tavrine
