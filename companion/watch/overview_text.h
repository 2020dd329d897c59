// The overview: the lab, its servers and their GPUs as bars and trends, its runs and alerts.
#pragma once

#include "companion/views/chart.h"
#include "companion/views/styled_line.h"
#include "companion/watch/history.h"

#include <TavrineShared/model/app_snapshot.h>

#include <cstddef>
#include <vector>

namespace tavrine {

/// Draws lines of at most `columns`: what there is less need of goes where there is no room.
class OverviewText {
 public:
  OverviewText(const AppSnapshot& snapshot, const History& history, std::size_t columns,
               Glyphs glyphs);

  /// The figures of the lab and how they moved, and the headings of the GPUs.
  std::vector<StyledLine> head() const;
  StyledLine server(const ServerSummary& server) const;
  StyledLine gpu(const ServerSummary& server, const GPUStat& gpu) const;
  StyledLine run(const TrainingRun& run) const;
  StyledLine alert(const TavrineAlert& alert) const;

 private:
  const AppSnapshot& snapshot_;
  const History& history_;
  std::size_t columns_;
  Glyphs glyphs_;
  std::vector<std::size_t> widths_;  // of the parts of a GPU's line, 0 for one that is left out
};

}  // namespace tavrine
