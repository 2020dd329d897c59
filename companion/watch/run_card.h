// A training run in a few lines.
#pragma once

#include "companion/views/chart.h"
#include "companion/views/styled_line.h"

#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/training_run.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// As many lines as the view of the runs gives to each, the last one empty: what it is called and
/// whether it lives, how it stands, its trends, all in columns that are the same for all runs.
std::vector<StyledLine> runCard(const TrainingRun& run, const AppSnapshot& snapshot,
                                std::size_t columns, Glyphs glyphs, bool isSelected);

/// "loss 1.348" and a line of the values, which fills the height that it has.
StyledLine trend(std::string_view figure, const std::string& now,
                 const std::vector<std::optional<double>>& values, Ink ink, Glyphs glyphs);

}  // namespace tavrine
