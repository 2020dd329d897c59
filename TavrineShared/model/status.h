// The four vocabularies that say how a run, a server or an alert stands.
#pragma once

#include <TavrineShared/model/vocabulary.h>

#include <array>
#include <cstdint>

namespace tavrine {

/// Where a training run stands in its life.
class RunStatus : public Vocabulary<RunStatus> {
 public:
  enum Case : std::uint8_t { queued, warmingUp, running, stalled, failed, completed, idle };
  constexpr RunStatus(Case value = queued) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {queued, "queued", "Queued"},
      {warmingUp, "warming_up", "Warming Up"},
      {running, "running", "Running"},
      {stalled, "stalled", "Stalled"},
      {failed, "failed", "Failed"},
      {completed, "completed", "Completed"},
      {idle, "idle", "Idle"},
  });

  /// Whether such a run holds its GPUs: one that warms up, runs or has stalled does.
  constexpr bool isActive() const {
    return value_ == warmingUp || value_ == running || value_ == stalled;
  }

 private:
  Case value_;
};

/// How well a training run does. Shares some texts with RunStatus; the two never mix.
class RunHealth : public Vocabulary<RunHealth> {
 public:
  enum Case : std::uint8_t {
    healthy,
    warmingUp,
    degraded,
    stalled,
    memoryRisk,
    overheating,
    failed,
    unknown
  };
  constexpr RunHealth(Case value = healthy) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {healthy, "healthy", "Healthy"},
      {warmingUp, "warming_up", "Warming Up"},
      {degraded, "degraded", "Degraded"},
      {stalled, "stalled", "Stalled"},
      {memoryRisk, "memory_risk", "Memory Risk"},
      {overheating, "overheating", "Overheating"},
      {failed, "failed", "Failed"},
      {unknown, "unknown", "Unknown"},
  });

 private:
  Case value_;
};

/// Whether a monitored server can be reached.
class ServerConnectionState : public Vocabulary<ServerConnectionState> {
 public:
  enum Case : std::uint8_t { connected, degraded, offline, demo };
  constexpr ServerConnectionState(Case value = connected) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {connected, "connected", "Connected"},
      {degraded, "degraded", "Degraded"},
      {offline, "offline", "Offline"},
      {demo, "demo", "Demo"},
  });

 private:
  Case value_;
};

/// The weight of an alert or a lab event.
class AlertSeverity : public Vocabulary<AlertSeverity> {
 public:
  enum Case : std::uint8_t { info, warning, critical };
  constexpr AlertSeverity(Case value = info) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {info, "info", "Info"},
      {warning, "warning", "Warning"},
      {critical, "critical", "Critical"},
  });

 private:
  Case value_;
};

}  // namespace tavrine
