// How verbs print a snapshot: as an overview or as JSON.
#pragma once

#include "companion/shell/json_output.h"
#include "companion/shell/output.h"
#include "companion/views/snapshot_text.h"

#include <TavrineShared/model/app_snapshot.h>

#include <cstddef>
#include <string>

namespace tavrine {

struct SnapshotOptions {
  JSONOptions json;
  std::size_t processes = SnapshotView::kTopProcesses;
  ColorChoice color = ColorChoice::automatic;
};

/// Adds the options for JSON, described by `json`, `--processes` and `--color`.
void addSnapshotOptions(CLI::App& command, SnapshotOptions& options, const std::string& json);

/// Writes what was asked for. Throws `EncodingError` where that has no JSON form, with nothing
/// written.
void writeSnapshot(const AppSnapshot& snapshot, const SnapshotOptions& options);

}  // namespace tavrine
