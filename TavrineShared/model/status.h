// The four vocabularies that say how a run, a server or an alert stands.
#pragma once

#include <TavrineShared/model/vocabulary.h>

#include <array>
#include <cstdint>

namespace tavrine {

/// Where a training run stands in its life.
class RunStatus : public Vocabulary<RunStatus> {
 public:
  enum class Case : std::uint8_t { queued, warmingUp, running, stalled, failed, completed, idle };
  static const RunStatus queued, warmingUp, running, stalled, failed, completed, idle;
  constexpr RunStatus(Case value = Case::queued) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::queued, "queued", "Queued"},
      {Case::warmingUp, "warming_up", "Warming Up"},
      {Case::running, "running", "Running"},
      {Case::stalled, "stalled", "Stalled"},
      {Case::failed, "failed", "Failed"},
      {Case::completed, "completed", "Completed"},
      {Case::idle, "idle", "Idle"},
  });

  /// Whether such a run holds its GPUs: one that warms up, runs or has stalled does.
  constexpr bool isActive() const {
    return value_ == warmingUp || value_ == running || value_ == stalled;
  }

 private:
  Case value_;
};
inline constexpr RunStatus RunStatus::queued{Case::queued};
inline constexpr RunStatus RunStatus::warmingUp{Case::warmingUp};
inline constexpr RunStatus RunStatus::running{Case::running};
inline constexpr RunStatus RunStatus::stalled{Case::stalled};
inline constexpr RunStatus RunStatus::failed{Case::failed};
inline constexpr RunStatus RunStatus::completed{Case::completed};
inline constexpr RunStatus RunStatus::idle{Case::idle};

/// How well a training run does. Shares some texts with RunStatus; the two never mix.
class RunHealth : public Vocabulary<RunHealth> {
 public:
  enum class Case : std::uint8_t {
    healthy,
    warmingUp,
    degraded,
    stalled,
    memoryRisk,
    overheating,
    failed,
    unknown
  };
  static const RunHealth healthy, warmingUp, degraded, stalled, memoryRisk, overheating, failed,
      unknown;
  constexpr RunHealth(Case value = Case::healthy) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::healthy, "healthy", "Healthy"},
      {Case::warmingUp, "warming_up", "Warming Up"},
      {Case::degraded, "degraded", "Degraded"},
      {Case::stalled, "stalled", "Stalled"},
      {Case::memoryRisk, "memory_risk", "Memory Risk"},
      {Case::overheating, "overheating", "Overheating"},
      {Case::failed, "failed", "Failed"},
      {Case::unknown, "unknown", "Unknown"},
  });

 private:
  Case value_;
};
inline constexpr RunHealth RunHealth::healthy{Case::healthy};
inline constexpr RunHealth RunHealth::warmingUp{Case::warmingUp};
inline constexpr RunHealth RunHealth::degraded{Case::degraded};
inline constexpr RunHealth RunHealth::stalled{Case::stalled};
inline constexpr RunHealth RunHealth::memoryRisk{Case::memoryRisk};
inline constexpr RunHealth RunHealth::overheating{Case::overheating};
inline constexpr RunHealth RunHealth::failed{Case::failed};
inline constexpr RunHealth RunHealth::unknown{Case::unknown};

/// Whether a monitored server can be reached.
class ServerConnectionState : public Vocabulary<ServerConnectionState> {
 public:
  enum class Case : std::uint8_t { connected, degraded, offline, demo };
  static const ServerConnectionState connected, degraded, offline, demo;
  constexpr ServerConnectionState(Case value = Case::connected) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::connected, "connected", "Connected"},
      {Case::degraded, "degraded", "Degraded"},
      {Case::offline, "offline", "Offline"},
      {Case::demo, "demo", "Demo"},
  });

 private:
  Case value_;
};
inline constexpr ServerConnectionState ServerConnectionState::connected{Case::connected};
inline constexpr ServerConnectionState ServerConnectionState::degraded{Case::degraded};
inline constexpr ServerConnectionState ServerConnectionState::offline{Case::offline};
inline constexpr ServerConnectionState ServerConnectionState::demo{Case::demo};

/// The weight of an alert or a lab event.
class AlertSeverity : public Vocabulary<AlertSeverity> {
 public:
  enum class Case : std::uint8_t { info, warning, critical };
  static const AlertSeverity info, warning, critical;
  constexpr AlertSeverity(Case value = Case::info) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::info, "info", "Info"},
      {Case::warning, "warning", "Warning"},
      {Case::critical, "critical", "Critical"},
  });

 private:
  Case value_;
};
inline constexpr AlertSeverity AlertSeverity::info{Case::info};
inline constexpr AlertSeverity AlertSeverity::warning{Case::warning};
inline constexpr AlertSeverity AlertSeverity::critical{Case::critical};

}  // namespace tavrine
