#include "companion/views/snapshot_cells.h"

#include "companion/views/gpu_sums.h"
#include "companion/views/quantity_text.h"
#include "companion/views/snapshot_parts.h"

#include <TavrineShared/foundation/unicode_text.h>

namespace tavrine {

std::string gpuMemory(double usedMB, double totalMB) {
  return totalMB > 0 ? gibibytesUsed(gibibytesIn(usedMB), gibibytesIn(totalMB))
                     : std::string(kAbsent);
}

std::string gpuMemory(const ServerSummary& server) {
  return gpuMemory(sumOver(server.gpus, &GPUStat::memoryUsedMB),
                   sumOver(server.gpus, &GPUStat::memoryTotalMB));
}

std::string meanUtilization(const ServerSummary& server) {
  return withUnit(meanOver(server.gpus, &GPUStat::utilizationPercent), "%");
}

std::string sumOfPower(const ServerSummary& server) {
  if (server.gpus.empty()) return std::string(kAbsent);
  return watts(sumOver(server.gpus, &GPUStat::powerDrawW));
}

Cell temperature(const GPUStat& gpu) {
  return {withUnit(gpu.temperatureC, " C"), gpu.temperatureC >= kHotC ? Ink::red : Ink::plain};
}

std::string runMemory(const TrainingRun& run) {
  return run.vramTotalGB > 0 ? gibibytesUsed(run.vramUsedGB, run.vramTotalGB)
                             : gibibytes(run.vramUsedGB);
}

std::string lastSeen(const ServerSummary& server, Timestamp takenAt) {
  return server.lastSeen == Timestamp{} ? "never" : agoText(server.lastSeen, takenAt);
}

std::string commandLine(const ProcessStat& process) {
  return std::string(trimmed(process.command));
}

}  // namespace tavrine
