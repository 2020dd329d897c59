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
    const AlertSeverity::Case graveA = a->severity;
    const AlertSeverity::Case graveB = b->severity;
    if (graveA != graveB) return graveA > graveB;
    return a->timestamp > b->timestamp;
  });
  return alerts;
}

Ink inkOf(ServerConnectionState state) {
  switch (state) {
    case ServerConnectionState::connected:
      return Ink::green;
    case ServerConnectionState::degraded:
      return Ink::yellow;
    case ServerConnectionState::offline:
      return Ink::red;
    case ServerConnectionState::demo:
      return Ink::faint;
  }
  return Ink::plain;
}

Ink inkOf(RunStatus status) {
  switch (status) {
    case RunStatus::running:
    case RunStatus::completed:
      return Ink::green;
    case RunStatus::warmingUp:
    case RunStatus::stalled:
      return Ink::yellow;
    case RunStatus::failed:
      return Ink::red;
    case RunStatus::queued:
    case RunStatus::idle:
      return Ink::plain;
  }
  return Ink::plain;
}

Ink inkOf(RunHealth health) {
  switch (health) {
    case RunHealth::healthy:
      return Ink::green;
    case RunHealth::warmingUp:
    case RunHealth::degraded:
    case RunHealth::stalled:
    case RunHealth::memoryRisk:
      return Ink::yellow;
    case RunHealth::overheating:
    case RunHealth::failed:
      return Ink::red;
    case RunHealth::unknown:
      return Ink::plain;
  }
  return Ink::plain;
}

Ink inkOf(AlertSeverity severity) {
  switch (severity) {
    case AlertSeverity::info:
      return Ink::plain;
    case AlertSeverity::warning:
      return Ink::yellow;
    case AlertSeverity::critical:
      return Ink::red;
  }
  return Ink::plain;
}

bool isHot(const GPUStat& gpu) {
  constexpr double kHotC = 85;
  return gpu.temperatureC >= kHotC;
}

std::optional<std::string> subjectOf(const TavrineAlert& alert) {
  if (alert.runName && alert.serverName) return *alert.runName + " on " + *alert.serverName;
  return alert.runName ? alert.runName : alert.serverName;
}

}  // namespace tavrine
