// What a run's figures come to, taken together with the rest of its snapshot.
#pragma once

#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/training_run.h>
#include <TavrineShared/recorder/dashboard_run_state.h>
#include <TavrineShared/recorder/runtime_diagnosis.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace tavrine {

/// From the busiest GPU of the run's server, or the run's own figure where that server is not in
/// the snapshot; from the processes there; and from the newest step of the run's log.
DashboardRunState dashboardState(const TrainingRun& run, const AppSnapshot& snapshot);

/// From the recorder's points of the last quarter of an hour; no value where it left none.
std::optional<RuntimeDiagnosis> diagnosisOf(const TrainingRun& run);

/// What its last sampled stack is at; no value where there is none.
std::optional<RuntimePhase> phaseOf(const TrainingRun& run);

/// The newest `count` values of a figure of the run's steps, oldest first; those that are no number
/// are missing.
std::vector<std::optional<double>> stepValues(const std::vector<TrainingMetric>& steps,
                                              double TrainingMetric::*figure, std::size_t count);

/// The smallest and the largest of the values; 0 and 1 where there are none.
struct ValueRange {
  double lowest;
  double highest;
};
ValueRange rangeOf(const std::vector<std::optional<double>>& values);

}  // namespace tavrine
