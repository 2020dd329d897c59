// Everything about one training run, on a page of its own.
#pragma once

#include "companion/views/chart.h"
#include "companion/views/styled_line.h"

#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/training_run.h>

#include <cstddef>
#include <vector>

namespace tavrine {

/// How it stands and why, its loss and its rate as charts, its settings and checkpoints, the stack
/// it was last seen in, and the last lines of its log. As many lines with either kind of glyphs.
std::vector<StyledLine> runDetail(const TrainingRun& run, const AppSnapshot& snapshot,
                                  std::size_t columns, Glyphs glyphs);

}  // namespace tavrine
