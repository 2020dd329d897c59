// What tables and screens show of the records of a snapshot.
#pragma once

#include "companion/views/status_ink.h"
#include "companion/views/table_layout.h"

#include <TavrineShared/model/gpu_server.h>
#include <TavrineShared/model/process.h>
#include <TavrineShared/model/training_run.h>
#include <TavrineShared/model/vocabulary.h>

#include <string>
#include <string_view>

namespace tavrine {

/// The title of a status in its colour.
template <VocabularyType V>
Cell titleCell(V value) {
  return {std::string(value.title()), inkOf(value)};
}

/// "49.3 / 78.1 GiB" from MiB; a dash where the size is unknown.
std::string gpuMemory(double usedMB, double totalMB);
std::string gpuMemory(const ServerSummary& server);

/// A dash where there is no GPU.
std::string meanUtilization(const ServerSummary& server);
std::string sumOfPower(const ServerSummary& server);

/// Red from `kHotC` on.
Cell temperature(const GPUStat& gpu);

/// The GPUs of a run are not known while its server's tool does not answer: then only what is used.
std::string runMemory(const TrainingRun& run);

/// Counted back from `takenAt`; never for the beginning of time, which stands for a server that
/// has never answered.
std::string lastSeen(const ServerSummary& server, Timestamp takenAt);

/// Without what a process table pads it with.
std::string commandLine(const ProcessStat& process);

}  // namespace tavrine
