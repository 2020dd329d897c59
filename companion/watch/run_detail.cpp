#include "companion/watch/run_detail.h"

#include "companion/views/display_width.h"
#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/snapshot_cells.h"
#include "companion/views/text_lines.h"
#include "companion/watch/run_insight.h"
#include "companion/watch/run_words.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace tavrine {

namespace {

constexpr std::size_t kWidestText = 1000;  // columns; the screen cuts what it has no room for
constexpr std::size_t kMostLogLines = 200;
constexpr int kDigits = 4;

std::string fourDigits(double value) { return significantDigits(value, kDigits); }

// Puts the page together.
class DetailPage {
 public:
  DetailPage(std::size_t columns, Glyphs glyphs) : columns_(columns), glyphs_(glyphs) {}

  StyledLine& line() { return lines_.emplace_back(); }
  void title(std::string_view text) {
    line();
    line().add(text, Ink::bold);
  }
  void text(std::string_view text, Ink ink = Ink::plain) {
    line().add("  ").add(shownText(text, kWidestText), ink);
  }
  void pair(std::string_view name, std::string_view value, std::size_t nameWidth) {
    line()
        .add("  ")
        .add(shownText(name, nameWidth), Ink::faint)
        .padTo(nameWidth + 4)
        .add(shownText(value, kWidestText));
  }
  void chartOf(const std::vector<TrainingMetric>& steps, double TrainingMetric::*figure);

  std::vector<StyledLine> lines() && { return std::move(lines_); }

 private:
  std::size_t columns_;
  Glyphs glyphs_;
  std::vector<StyledLine> lines_;
};

void DetailPage::chartOf(const std::vector<TrainingMetric>& steps, double TrainingMetric::*figure) {
  constexpr std::size_t kAxis = 12;
  constexpr std::size_t kNarrowest = 8;
  const std::size_t room = std::max(columns_, kAxis + kNarrowest) - kAxis;
  const auto values = stepValues(steps, figure, room);
  const ValueRange range = rangeOf(values);
  const std::string drawn = chart(
      values,
      {.glyphs = glyphs_, .lowest = range.lowest, .highest = range.highest, .label = fourDigits});
  for (const std::string_view row : linesOf(drawn)) line().add("  ").add(row, Ink::cyan);
}

std::string overSteps(const std::vector<TrainingMetric>& steps) {
  return "over the steps " + std::to_string(steps.front().step) + " to " +
         std::to_string(steps.back().step);
}

void addHead(DetailPage& page, const TrainingRun& run, const AppSnapshot& snapshot) {
  const DashboardRunState state = dashboardState(run, snapshot);
  page.line()
      .add(shownText(run.name, kWidestCell), Ink::bold)
      .add("  ")
      .add(state.label(), inkOf(state));
  StyledLine& standing = page.line().add("  ").add(statusWords(run));
  standing.add(" on ").add(shownText(run.serverName, kWidestCell));
  standing.add(", started ").add(agoText(run.startedAt, snapshot.timestamp));
  if (run.etaSeconds) standing.add(", ").add(toGoWords(run));
  page.line().add("  ").add(diagnosisWords(run));
}

void addFigures(DetailPage& page, const TrainingRun& run) {
  constexpr std::size_t kNameWidth = 10;
  constexpr double kPercent = 100;
  page.line();
  const auto add = [&page](std::string_view name, const std::string& value) {
    page.pair(name, value, kNameWidth);
  };
  if (run.modelName) add("Model", *run.modelName);
  if (run.datasetName) add("Dataset", *run.datasetName);
  add("Framework", run.framework);
  add("GPU",
      withUnit(run.gpuUtilization, "%") + ", " + runMemory(run) + ", " + watts(run.powerDrawW));
  std::string achieved = oneDecimal(run.flopsTFLOPs) + " TFLOP/s";
  if (run.dcgmTFLOPsAchieved && run.dcgmTFLOPsPeak) {
    achieved += "; by its counters " + oneDecimal(*run.dcgmTFLOPsAchieved) + " of " +
                oneDecimal(*run.dcgmTFLOPsPeak);
  }
  add("Achieved", achieved);
  if (run.dcgmTensorActive && run.dcgmDRAMActive) {
    add("Active",
        "tensor cores " + withUnit(*run.dcgmTensorActive * kPercent, "%") + ", memory " +
            withUnit(*run.dcgmDRAMActive * kPercent, "%"));
  }
}

void addTrends(DetailPage& page, const TrainingRun& run) {
  if (run.metrics.empty()) return;
  page.title("Loss " + lossText(run.currentLoss) + " " + overSteps(run.metrics));
  page.chartOf(run.metrics, &TrainingMetric::loss);
  page.title("Rate " + rateText(run.throughput));
  page.chartOf(run.metrics, &TrainingMetric::throughput);
  if (run.valMetrics.empty()) return;
  page.title("Validation loss " + fourDigits(run.valMetrics.back().loss) + " " +
             overSteps(run.valMetrics));
  page.chartOf(run.valMetrics, &TrainingMetric::loss);
}

void addSettings(DetailPage& page, const TrainingRun& run) {
  if (run.hyperparameters.empty()) return;
  constexpr std::size_t kWidestName = 30;
  std::size_t width = 0;
  for (const auto& [name, value] : run.hyperparameters) {
    width = std::max(width, displayWidth(shownText(name, kWidestName)));
  }
  page.title("Settings");
  for (const auto& [name, value] : run.hyperparameters) page.pair(name, value, width);
}

void addCheckpoints(DetailPage& page, const TrainingRun& run, Timestamp now) {
  if (run.checkpoints.empty()) return;
  page.title("Checkpoints");
  for (const CheckpointSummary& checkpoint : run.checkpoints) {
    StyledLine& line = page.line().add("  ").add(shownText(checkpoint.name, kWidestCell));
    line.add("  " + gibibytes(checkpoint.sizeGB) + ", " + agoText(checkpoint.timestamp, now));
    if (checkpoint.isBest) line.add(", the best so far", Ink::green);
  }
}

void addStack(DetailPage& page, const TrainingRun& run) {
  if (!run.lastStackSample) return;
  page.title("Last stack");
  for (const std::string& frame : run.lastStackSample->frames) page.text(frame);
}

void addLog(DetailPage& page, std::string_view log) {
  while (log.ends_with('\n')) log.remove_suffix(1);
  if (log.starts_with('\n')) log.remove_prefix(1);
  if (log.empty()) return;
  page.title("Log");
  for (const std::string_view line : linesOf(lastLines(log, kMostLogLines))) page.text(line);
}

}  // namespace

std::vector<StyledLine> runDetail(const TrainingRun& run, const AppSnapshot& snapshot,
                                  std::size_t columns, Glyphs glyphs) {
  DetailPage page(columns, glyphs);
  addHead(page, run, snapshot);
  addFigures(page, run);
  addTrends(page, run);
  addSettings(page, run);
  addCheckpoints(page, run, snapshot.timestamp);
  addStack(page, run);
  addLog(page, run.logTail);
  return std::move(page).lines();
}

}  // namespace tavrine
