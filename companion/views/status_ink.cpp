#include "companion/views/status_ink.h"

namespace tavrine {

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

Ink inkOf(DashboardRunState state) {
  switch (state) {
    case DashboardRunState::alive:
      return Ink::green;
    case DashboardRunState::warmingUp:
      return Ink::yellow;
    case DashboardRunState::stalled:
      return Ink::red;
    case DashboardRunState::idle:
      return Ink::plain;
  }
  return Ink::plain;
}

Ink inkOf(const RuntimeDiagnosis& verdict) {
  switch (verdict) {
    case RuntimeDiagnosis::computeBound:
      return Ink::green;
    case RuntimeDiagnosis::memoryBound:
    case RuntimeDiagnosis::communicationBound:
      return Ink::yellow;
    case RuntimeDiagnosis::dataloaderStall:
      return Ink::red;
    case RuntimeDiagnosis::mixed:
    case RuntimeDiagnosis::unknown:
      break;
  }
  return Ink::plain;
}

}  // namespace tavrine
