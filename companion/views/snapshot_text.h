// A whole snapshot on one screen, or a few.
#pragma once

#include "companion/views/text_table.h"

#include <TavrineShared/model/app_snapshot.h>

#include <cstddef>
#include <string>

namespace tavrine {

struct SnapshotView {
  static constexpr std::size_t kTopProcesses = 10;

  Timestamp now{};                        ///< tells how old the snapshot is
  std::size_t processes = kTopProcesses;  ///< at most so many, those that hold most first
  TableStyle style;
};

/// The state of the lab in a few lines, then a table each of servers, GPUs, training runs, alerts,
/// top processes and users. Where there is nothing to list, there is no table.
std::string snapshotText(const AppSnapshot& snapshot, const SnapshotView& view);

}  // namespace tavrine
