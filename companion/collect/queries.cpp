#include "companion/collect/queries.h"

#include <array>

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

}  // namespace

std::span<const GPUQueryColumn> gpuQueryColumns() { return kGPUQueryColumns; }

std::string gpuQueryCommand() {
  std::string command = "nvidia-smi --query-gpu=";
  for (const GPUQueryColumn& column : kGPUQueryColumns) {
    command.append(column.property).push_back(',');
  }
  command.pop_back();
  return command.append(" --format=csv");
}

}  // namespace tavrine
