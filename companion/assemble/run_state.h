// The training runs of one server, out of their logs.
#pragma once

#include "companion/assemble/server_state.h"
#include "companion/assemble/source_findings.h"
#include "companion/capture/capture.h"

#include <TavrineShared/model/app_snapshot.h>

#include <string>
#include <vector>

namespace tavrine {

/// One run for each folder of the capture that holds a training log, a recorder's log or both, by
/// name. `previous` may be null; from it a run takes when it began and the course of its figures.
///
/// The status is "failed" when the log says so; else it is that of `DashboardRunState`, from the
/// run's utilisation, whether the server has a process that trains, and how long the log has been
/// silent: "stalled", "running" (or "warming up" as long as there is no loss), or, when nothing
/// runs any more, "completed" for a log that says something and "idle" for one that does not. A log
/// that has been silent for an hour has no part in what the server is doing now.
///
/// The health is the first of these that holds: failed; stalled; overheating, with a GPU of the
/// server at 85 degrees or more; memory risk, with 97 % of its GPUs' memory in use; degraded, with
/// a warning of the log or a GPU that starves by what the recorder saw; warming up; healthy while
/// it runs; else unknown.
///
/// Utilisation, memory and power are those of the recorder's newest sample, if it is no older than
/// five minutes. Without one, memory is that of the server's training processes, and the others are
/// those of the server's GPUs, but only while the run is active.
std::vector<TrainingRun> readRuns(const Capture& capture, const ServerState& server,
                                  const AppSnapshot* previous, FindingsBook& book);

/// The runs of a server that does not answer, as `previous`, which may be null, has them: so that
/// they keep their course until it does again. Nobody knows what they do now: one that was active
/// is idle and of unknown health, and all figures of the moment are 0.
std::vector<TrainingRun> runsLastSeen(const std::string& server, const AppSnapshot* previous,
                                      FindingsBook& book);

}  // namespace tavrine
