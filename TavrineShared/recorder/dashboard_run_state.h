// The one word that a dashboard shows in large letters: is a run alive?
#pragma once

#include <TavrineShared/model/status.h>
#include <TavrineShared/model/vocabulary.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace tavrine {

/// What a run looks like from a distance.
class DashboardRunState : public Vocabulary<DashboardRunState> {
 public:
  enum class Case : std::uint8_t { alive, warmingUp, stalled, idle };
  static const DashboardRunState alive, warmingUp, stalled, idle;
  constexpr DashboardRunState(Case value = Case::alive) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::alive, "alive", "RUN ALIVE"},
      {Case::warmingUp, "warmingUp", "WARMING UP"},
      {Case::stalled, "stalled", "STALLED"},
      {Case::idle, "idle", "NO ACTIVE RUN"},
  });

  /// The text to show.
  std::string label() const { return std::string(title()); }

  /// From the highest utilisation of the GPUs concerned, in percent; whether a process of the kind
  /// training runs; how many seconds ago the run's log last changed, if that is known; and the
  /// run's own status, if a run is known. A status that is final or stalled decides by itself.
  static DashboardRunState derive(double maxGPUUtil, bool hasTrainingProcess,
                                  std::optional<double> secondsSinceLogUpdate,
                                  std::optional<RunStatus> runStatus);

 private:
  Case value_;
};
inline constexpr DashboardRunState DashboardRunState::alive{Case::alive};
inline constexpr DashboardRunState DashboardRunState::warmingUp{Case::warmingUp};
inline constexpr DashboardRunState DashboardRunState::stalled{Case::stalled};
inline constexpr DashboardRunState DashboardRunState::idle{Case::idle};

}  // namespace tavrine
