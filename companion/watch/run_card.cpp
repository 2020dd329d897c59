#include "companion/watch/run_card.h"

#include "companion/views/quantity_text.h"
#include "companion/views/snapshot_cells.h"
#include "companion/watch/run_insight.h"
#include "companion/watch/run_words.h"

#include <algorithm>

namespace tavrine {

namespace {

// Where the columns of a card begin.
struct Columns {
  std::size_t name;
  std::size_t state;
  std::size_t status;
  std::size_t figures;
};

Columns columnsFor(std::size_t screenColumns) {
  constexpr std::size_t kMark = 2;
  constexpr std::size_t kNarrowestName = 22;
  constexpr std::size_t kWidestName = 44;
  constexpr std::size_t kState = 15;
  constexpr std::size_t kStatus = 24;
  const std::size_t name = std::clamp(screenColumns / 4, kNarrowestName, kWidestName);
  return {kMark, kMark + name, kMark + name + kState, kMark + name + kState + kStatus};
}

StyledLine begun(bool isSelected, Glyphs glyphs) {
  StyledLine line;
  if (isSelected) line.add(glyphs == Glyphs::blocks ? "\u258C" : ">", Ink::cyan);
  return line;
}

std::size_t roomFor(const StyledLine& words, std::size_t columns) {
  return columns > words.width() + 1 ? columns - words.width() - 1 : 0;
}

// What it is called, and whether it lives.
StyledLine nameLine(const TrainingRun& run, const AppSnapshot& snapshot, const Columns& at,
                    StyledLine line) {
  const DashboardRunState state = dashboardState(run, snapshot);
  line.padTo(at.name).add(shownText(run.name, at.state - at.name - 2), Ink::bold);
  line.padTo(at.state).add(state.label(), inkOf(state));
  line.padTo(at.status).add(statusWords(run));
  return line.padTo(at.figures).add(toGoWords(run));
}

StyledLine standingLine(const TrainingRun& run, const Columns& at, std::size_t columns,
                        StyledLine line) {
  line.padTo(at.name).add(shownText(run.serverName, at.state - at.name - 2), Ink::faint);
  line.padTo(at.state).add(diagnosisWords(run).cutTo(at.figures - at.state - 2));
  line.padTo(at.figures).add("GPU " + withUnit(run.gpuUtilization, "%"));
  const std::string power = "  " + watts(run.powerDrawW);
  return line.width() + power.size() <= columns ? line.add(power, Ink::faint) : line;
}

StyledLine trendLine(const TrainingRun& run, const Columns& at, std::size_t columns, Glyphs glyphs,
                     StyledLine line) {
  const auto add = [&](std::size_t from,
                       std::size_t to,
                       std::string_view figure,
                       const std::string& now,
                       double TrainingMetric::*steps) {
    const StyledLine words = trend(figure, now, {}, Ink::plain, glyphs);
    const auto values = stepValues(run.metrics, steps, roomFor(words, to - from));
    line.padTo(from).add(trend(figure, now, values, Ink::cyan, glyphs));
  };
  add(at.name, at.state - 2, "loss", lossText(run.currentLoss), &TrainingMetric::loss);
  add(at.state,
      std::max(columns, at.figures) - 1,
      "rate",
      rateText(run.throughput),
      &TrainingMetric::throughput);
  return line;
}

}  // namespace

StyledLine trend(std::string_view figure, const std::string& now,
                 const std::vector<std::optional<double>>& values, Ink ink, Glyphs glyphs) {
  StyledLine line;
  line.add(std::string(figure) + " ", Ink::faint).add(now);
  if (values.empty()) return line;
  const ValueRange range = rangeOf(values);
  return line.add(" ").add(sparkline(values, range.lowest, range.highest, glyphs), ink);
}

std::vector<StyledLine> runCard(const TrainingRun& run, const AppSnapshot& snapshot,
                                std::size_t columns, Glyphs glyphs, bool isSelected) {
  const Columns at = columnsFor(columns);
  const StyledLine line = begun(isSelected, glyphs);
  return {nameLine(run, snapshot, at, line),
          standingLine(run, at, columns, line),
          trendLine(run, at, columns, glyphs, line),
          {}};
}

}  // namespace tavrine
