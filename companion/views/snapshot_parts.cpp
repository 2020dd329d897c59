#include "companion/views/snapshot_parts.h"

#include <algorithm>
#include <tuple>

namespace tavrine {

std::vector<const ProcessStat*> topProcesses(const AppSnapshot& snapshot, std::size_t count) {
  std::vector<const ProcessStat*> top;
  for (const ProcessStat& process : snapshot.processes) top.push_back(&process);
  const auto holds = [](const ProcessStat* process) {
    return std::tuple(process->gpuMemoryMB.value_or(-1),
                      process->cpuPercent,
                      process->residentMemoryKB);
  };
  std::stable_sort(top.begin(), top.end(), [&holds](const ProcessStat* a, const ProcessStat* b) {
    return holds(a) > holds(b);
  });
  if (top.size() > count) top.resize(count);
  return top;
}

std::vector<const TavrineAlert*> alertsByGravity(const AppSnapshot& snapshot) {
  std::vector<const TavrineAlert*> alerts;
  for (const TavrineAlert& alert : snapshot.alerts) alerts.push_back(&alert);
  std::stable_sort(alerts.begin(), alerts.end(), [](const TavrineAlert* a, const TavrineAlert* b) {
    if (a->severity != b->severity) return a->severity.index() > b->severity.index();
    return a->timestamp > b->timestamp;
  });
  return alerts;
}

std::optional<std::string> subjectOf(const TavrineAlert& alert) {
  if (alert.runName && alert.serverName) return *alert.runName + " on " + *alert.serverName;
  return alert.runName ? alert.runName : alert.serverName;
}

}  // namespace tavrine
