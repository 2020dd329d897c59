// The tables of a snapshot: what goes into each, in which order, and its columns.
//
// A row is a record and what of its surroundings its line shows; it points into the snapshot. What
// lies back is counted from the time of the snapshot, whose own age the head of a page tells.
#pragma once

#include "companion/views/record_table.h"

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/app_snapshot.h>

#include <span>
#include <vector>

namespace tavrine {

struct ServerRow {
  const ServerSummary* server;
  const SystemSensors* sensors;  ///< null when there are none of this server
  Timestamp takenAt;
};

struct GPURow {
  const ServerSummary* server;
  const GPUStat* gpu;
};

struct RunRow {
  const TrainingRun* run;
  Timestamp takenAt;
};

struct AlertRow {
  const TavrineAlert* alert;
  Timestamp takenAt;
};

using ProcessRow = const ProcessStat*;

struct UserRow {
  const UsageSummary* summary;
  const StudentUsage* user;
};

std::vector<ServerRow> serverRows(const AppSnapshot& snapshot);
std::vector<GPURow> gpuRows(const AppSnapshot& snapshot);
std::vector<RunRow> runRows(const AppSnapshot& snapshot);
/// The gravest first, and of these the newest.
std::vector<AlertRow> alertRows(const AppSnapshot& snapshot);
/// Those that hold most GPU memory first, then those that use most CPU.
std::vector<ProcessRow> processRows(const AppSnapshot& snapshot);
std::vector<UserRow> userRows(const AppSnapshot& snapshot);

std::span<const RecordColumn<ServerRow>> serverColumns();
std::span<const RecordColumn<GPURow>> gpuColumns();
std::span<const RecordColumn<RunRow>> runColumns();
std::span<const RecordColumn<AlertRow>> alertColumns();
std::span<const RecordColumn<ProcessRow>> processColumns();
std::span<const RecordColumn<UserRow>> userColumns();

}  // namespace tavrine
