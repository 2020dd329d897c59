#include "companion/watch/overview_text.h"

#include "companion/views/display_width.h"
#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/snapshot_cells.h"
#include "companion/views/snapshot_parts.h"
#include "companion/watch/run_card.h"
#include "companion/watch/run_insight.h"
#include "companion/watch/run_words.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <string_view>

namespace tavrine {

namespace {

constexpr double kPercent = 100;

// --- The parts of a GPU's line ---

// What one part is drawn from.
struct Drawing {
  const ServerSummary& server;
  const GPUStat& gpu;
  const History& history;
  Glyphs glyphs;
  std::size_t width;
};

struct Part {
  std::string_view heading;  // of this part and those behind it that have none
  std::size_t gap;           // blanks in front
  std::size_t least;         // columns without which it is left out
  std::size_t most;
  int rank;  // the lowest go last
  StyledLine (*draw)(const Drawing& drawing);
};

Ink inkOfShare(double share) {
  constexpr double kNearlyFull = 0.95;
  return share >= kNearlyFull ? Ink::yellow : Ink::green;
}

std::string rightAligned(const std::string& text, std::size_t width) {
  const std::size_t taken = displayWidth(text);
  return std::string(width > taken ? width - taken : 0, ' ') + text;
}

StyledLine number(const std::string& text, std::size_t width, Ink ink = Ink::plain) {
  return StyledLine().add(rightAligned(text, width), ink);
}

StyledLine sparklineOf(const Drawing& drawing, Figure figure, double highest) {
  const auto values =
      drawing.history.ofGPU(drawing.server.name, drawing.gpu.index, figure, drawing.width);
  return number(sparkline(values, 0, highest, drawing.glyphs), drawing.width, Ink::cyan);
}

// The rest of its width is dots, so that one sees how much there could be.
StyledLine barOf(double share, const Drawing& drawing, Ink ink) {
  const std::string filled = bar(share, drawing.width, drawing.glyphs);
  const std::size_t taken = displayWidth(filled);
  StyledLine line;
  line.add(filled, ink);
  const std::string_view dot = drawing.glyphs == Glyphs::blocks ? "\u00B7" : ".";
  std::string dots;
  for (std::size_t i = taken; i < drawing.width; ++i) dots.append(dot);
  return line.add(dots, Ink::faint);
}

// In a busy lab most GPUs are busy: that is green. Idle ones are the ones to be found.
StyledLine utilizationBar(const Drawing& drawing) {
  return barOf(drawing.gpu.utilizationPercent / kPercent, drawing, Ink::green);
}

StyledLine memoryBar(const Drawing& drawing) {
  const double share = drawing.gpu.memoryFraction();
  return barOf(share, drawing, inkOfShare(share));
}

// Figures take the columns that the largest ones of real GPUs need; absurd ones are cut.
constexpr auto kParts = std::to_array<Part>({
    {"GPU",
     1,
     3,
     3,
     9,
     [](const Drawing& d) { return number(std::to_string(d.gpu.index), d.width, Ink::bold); }},
    {"Utilisation", 2, 5, 24, 8, utilizationBar},
    {"",
     1,
     6,
     6,
     9,
     [](const Drawing& d) { return number(withUnit(d.gpu.utilizationPercent, "%"), d.width); }},
    {"",
     1,
     8,
     40,
     4,
     [](const Drawing& d) { return sparklineOf(d, Figure::utilization, kPercent); }},
    {"Memory", 2, 5, 24, 5, memoryBar},
    {"",
     1,
     17,
     17,
     7,
     [](const Drawing& d) {
       return number(gpuMemory(d.gpu.memoryUsedMB, d.gpu.memoryTotalMB), d.width);
     }},
    {"", 1, 8, 20, 1, [](const Drawing& d) { return sparklineOf(d, Figure::memory, 1); }},
    {"Power",
     2,
     8,
     8,
     6,
     [](const Drawing& d) { return number(watts(d.gpu.powerDrawW), d.width); }},
    {"", 1, 8, 24, 2, [](const Drawing& d) { return sparklineOf(d, Figure::power, 1); }},
    {"Temp",
     2,
     6,
     6,
     6,
     [](const Drawing& d) {
       const Cell cell = temperature(d.gpu);
       return number(cell.text, d.width, cell.ink);
     }},
    {"Name",
     2,
     12,
     30,
     3,
     [](const Drawing& d) { return StyledLine().add(shownText(d.gpu.name, d.width), Ink::faint); }},
});

// Those of the highest rank first, each as narrow as can be; then they grow in turn.
std::vector<std::size_t> partWidths(std::size_t columns) {
  std::vector<std::size_t> widths(kParts.size());
  const int highest =
      std::max_element(kParts.begin(), kParts.end(), [](const Part& a, const Part& b) {
        return a.rank < b.rank;
      })->rank;
  std::size_t left = columns;
  for (int rank = highest; rank > 0; --rank) {
    for (std::size_t i = 0; i < kParts.size(); ++i) {
      const Part& part = kParts[i];
      if (part.rank != rank || part.gap + part.least > left) continue;
      widths[i] = part.least;
      left -= part.gap + part.least;
    }
  }
  for (bool hasGrown = true; hasGrown && left > 0;) {
    hasGrown = false;
    for (std::size_t i = 0; i < kParts.size() && left > 0; ++i) {
      if (widths[i] == 0 || widths[i] == kParts[i].most) continue;
      ++widths[i];
      --left;
      hasGrown = true;
    }
  }
  return widths;
}

// The heading of a part that is left out stands over the next one that belongs to it.
StyledLine headings(const std::vector<std::size_t>& widths) {
  StyledLine line;
  std::string_view heading;
  std::size_t column = 0;
  for (std::size_t i = 0; i < kParts.size(); ++i) {
    if (!kParts[i].heading.empty()) heading = kParts[i].heading;
    if (widths[i] == 0) continue;
    column += kParts[i].gap;
    if (!heading.empty()) line.padTo(column).add(heading, Ink::bold);
    heading = {};
    column += widths[i];
  }
  return line;
}

}  // namespace

OverviewText::OverviewText(const AppSnapshot& snapshot, const History& history, std::size_t columns,
                           Glyphs glyphs)
    : snapshot_(snapshot),
      history_(history),
      columns_(columns),
      glyphs_(glyphs),
      widths_(partWidths(columns)) {}

std::vector<StyledLine> OverviewText::head() const {
  constexpr std::size_t kNumbers = 50;  // what the words and figures of the line take
  constexpr std::size_t kFewest = 6;
  constexpr std::size_t kMost = 32;
  const std::size_t room = columns_ > kNumbers ? (columns_ - kNumbers) / 3 : 0;
  const std::size_t width = room < kFewest ? 0 : std::min(room, kMost);
  StyledLine lab;
  const auto add = [&](std::string_view name,
                       const std::string& now,
                       Figure figure,
                       std::optional<double>
                           highest) {
    const auto values = history_.ofLab(figure, width);
    double top = highest.value_or(1);
    for (const auto& value : values) top = highest ? top : std::max(top, value.value_or(0));
    lab.add(lab.spans.empty() ? " " : "   ").add(name, Ink::faint).add(" ").add(now, Ink::bold);
    if (width > 0) lab.add(" ").add(sparkline(values, 0, top, glyphs_), Ink::cyan);
  };
  add("all GPUs", withUnit(snapshot_.averageGPUUtilization(), "%"), Figure::utilization, kPercent);
  const auto memory = history_.ofLab(Figure::memory, 1);
  const double share = memory.empty() ? 0 : memory.back().value_or(0);
  add("memory", upToOneDecimal(std::round(share * kPercent)) + "%", Figure::memory, 1);
  add("power", watts(snapshot_.totalPowerDrawW()), Figure::power, std::nullopt);
  const std::string runs =
      "   " +
      counted(static_cast<std::size_t>(snapshot_.activeRunCount()), "active run", "active runs");
  if (lab.width() + displayWidth(runs) <= columns_) lab.add(runs);
  return {lab, headings(widths_)};
}

StyledLine OverviewText::server(const ServerSummary& server) const {
  constexpr std::size_t kName = 24;
  StyledLine line;
  line.add(" ").add(shownText(server.name, kName), Ink::bold).add("  ");
  line.add(server.state.title(), inkOf(server.state));
  const auto addIfItFits = [&](const std::string& words, Ink ink) {
    if (line.width() + 2 + displayWidth(words) <= columns_) line.add("  ").add(words, ink);
  };
  addIfItFits(counted(server.gpus.size(), "GPU", "GPUs") +
                  (server.gpus.empty() ? "" : " at " + meanUtilization(server)),
              Ink::plain);
  if (!server.gpus.empty()) addIfItFits(sumOfPower(server), Ink::plain);
  const std::string seen = lastSeen(server, snapshot_.timestamp);
  addIfItFits(server.lastSeen == Timestamp{} ? seen + " seen" : "seen " + seen, Ink::faint);
  addIfItFits(shownText(server.host, kName), Ink::faint);
  if (server.diskFreeGB) addIfItFits(gibibytes(*server.diskFreeGB) + " free", Ink::faint);
  return line;
}

StyledLine OverviewText::gpu(const ServerSummary& server, const GPUStat& gpu) const {
  StyledLine line;
  std::size_t column = 0;
  for (std::size_t i = 0; i < kParts.size(); ++i) {
    if (widths_[i] == 0) continue;
    column += kParts[i].gap;
    const StyledLine part = kParts[i].draw({server, gpu, history_, glyphs_, widths_[i]});
    const std::size_t taken = line.width();
    line.add(std::string(column > taken ? column - taken : 0, ' '));
    line.add(part.cutTo(widths_[i]));
    column += widths_[i];
  }
  return line;
}

StyledLine OverviewText::run(const TrainingRun& run) const {
  constexpr std::size_t kName = 22;
  constexpr std::size_t kStateColumn = 25;
  constexpr std::size_t kLossColumn = 40;
  constexpr std::size_t kLossWidth = 23;
  constexpr std::size_t kToGoWidth = 18;
  constexpr std::size_t kDiagnosisColumn = kLossColumn + kLossWidth + kToGoWidth;
  constexpr std::size_t kGaps = 3;  // one within the trend, two behind it
  const DashboardRunState state = dashboardState(run, snapshot_);
  StyledLine line;
  line.add(" ").add(shownText(run.name, kName), Ink::bold);
  line.padTo(kStateColumn).add(state.label(), inkOf(state));
  const std::string loss = lossText(run.currentLoss);
  const std::size_t words = trend("loss", loss, {}, Ink::cyan, glyphs_).width() + kGaps;
  const auto steps =
      stepValues(run.metrics, &TrainingMetric::loss, kLossWidth > words ? kLossWidth - words : 0);
  line.padTo(kLossColumn).add(trend("loss", loss, steps, Ink::cyan, glyphs_));
  line.padTo(kLossColumn + kLossWidth).add(toGoWords(run));
  const StyledLine diagnosis = diagnosisWords(run);
  if (kDiagnosisColumn + diagnosis.width() <= columns_) {
    line.padTo(kDiagnosisColumn).add(diagnosis);
  }
  return line;
}

StyledLine OverviewText::alert(const TavrineAlert& alert) const {
  StyledLine line;
  constexpr std::size_t kTitleColumn = 11;
  line.add(" ").add(alert.severity.title(), inkOf(alert.severity)).padTo(kTitleColumn);
  line.add(shownText(alert.title, kWidestCell), Ink::bold).add("  ");
  return line.add(shownText(orAbsent(subjectOf(alert)), kWidestCell))
      .add("  " + agoText(alert.timestamp, snapshot_.timestamp), Ink::faint);
}

}  // namespace tavrine
