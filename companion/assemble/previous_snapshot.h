// What the snapshot before this one, if there is any, has of a server or a run.
#pragma once

#include <TavrineShared/foundation/uuid.h>
#include <TavrineShared/model/app_snapshot.h>

#include <string_view>

namespace tavrine {

/// Null when there is no previous snapshot, and when it does not have the server or the run. What
/// is found lives as long as the snapshot; of several the first counts.
const ServerSummary* previousServer(const AppSnapshot* previous, std::string_view name);
const TrainingRun* previousRun(const AppSnapshot* previous, const UUID& id);

}  // namespace tavrine
