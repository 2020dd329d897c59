// The one word that a dashboard shows in large letters: is a run alive?
#pragma once

#include <TavrineShared/model/status.h>
#include <TavrineShared/model/vocabulary.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tavrine {

/// What a run looks like from a distance.
class DashboardRunState : public Vocabulary<DashboardRunState> {
 public:
  enum Case : std::uint8_t { alive, warmingUp, stalled, idle };
  constexpr DashboardRunState(Case value = alive) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {alive, "alive", "RUN ALIVE"},
      {warmingUp, "warmingUp", "WARMING UP"},
      {stalled, "stalled", "STALLED"},
      {idle, "idle", "NO ACTIVE RUN"},
  });

  /// The text to show.
  constexpr std::string_view label() const { return title(); }

  /// From the highest utilisation of the GPUs concerned, in percent; whether a process of the kind
  /// training runs; how many seconds ago the run's log last changed, if that is known; and the
  /// run's own status, if a run is known. A status that is final or stalled decides by itself.
  static DashboardRunState derive(double maxGPUUtil, bool hasTrainingProcess,
                                  std::optional<double> secondsSinceLogUpdate,
                                  std::optional<RunStatus> runStatus);

 private:
  Case value_;
};

}  // namespace tavrine
