// The alerts that the figures of a server and its runs give reason for.
#pragma once

#include "companion/assemble/server_state.h"

#include <TavrineShared/model/alert_event.h>
#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/training_run.h>

#include <span>
#include <vector>

namespace tavrine {

/// One alert for each condition that holds now:
///
///   server offline    critical  the host did not answer
///   GPU hot           warning   at 85 degrees or more; critical from 95 on
///   GPU lost          critical  the previous snapshot had it, and the GPU tool answers without
///                               it; told for a day, or until it is back
///   run stalled       warning
///   run failed        critical
///   disk nearly full  warning   less than 5 % left; critical below 1 %
///   orphaned memory   warning   64 MiB or more of a GPU that no process of the table holds
///
/// The same condition has the same id each time, and the time at which it was first seen as far as
/// `previous`, which may be null, remembers it.
std::vector<TavrineAlert> alertsOf(const ServerState& server, std::span<const TrainingRun> runs,
                                   const AppSnapshot* previous);

}  // namespace tavrine
