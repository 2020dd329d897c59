#include "companion/watch/screen_edges.h"

#include "companion/views/quantity_text.h"
#include "companion/views/table_layout.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <string_view>

namespace tavrine {

namespace {

constexpr std::size_t kWidestWords = 500;

// Both ends of a line; the left one gives way.
StyledLine joined(const StyledLine& left, const StyledLine& right, std::size_t columns) {
  const std::size_t taken = right.width();
  if (taken == 0 || taken + 1 >= columns) return left.cutTo(columns);
  StyledLine line = left.cutTo(columns - taken - 1);
  return line.padTo(columns - taken).add(right);
}

// --- The line on top ---

StyledLine labWords(const ScreenModel& model) {
  StyledLine line;
  line.add(" ");
  if (const AppSnapshot* const snapshot = model.snapshot()) {
    std::size_t gpus = 0;
    for (const ServerSummary& server : snapshot->servers) gpus += server.gpus.size();
    line.add(counted(snapshot->servers.size(), "server", "servers"));
    line.add(", " + counted(gpus, "GPU", "GPUs") + "  ");
  }
  return line.add(shownText(model.sourceName(), kWidestCell), Ink::faint);
}

StyledSpan ageWords(const ScreenModel& model, Timestamp now) {
  if (model.snapshot() == nullptr) return {"no snapshot yet", Ink::yellow};
  const Timestamp taken = model.snapshot()->timestamp;
  const double age = (now - taken).count();
  if (!(age <= model.staleAfterSeconds())) return {"stale, " + agoText(taken, now), Ink::red};
  constexpr double kClocksDiffer = 5;
  if (age < -kClocksDiffer) return {"its clock is ahead, " + agoText(taken, now), Ink::yellow};
  return {age < 1 ? "now" : agoText(taken, now), Ink::green};
}

std::string clockText(Timestamp now) {
  constexpr std::size_t kTimeBegins = 11;
  const std::string time = timeText(now);
  return time.size() > kTimeBegins ? time.substr(kTimeBegins) : time;
}

// --- The views ---

std::size_t countOf(View view, const AppSnapshot& snapshot) {
  switch (view) {
    case View::overview:
    case View::sensors:
      return 0;
    case View::runs:
      return snapshot.runs.size();
    case View::alerts:
      return snapshot.alerts.size();
    case View::processes:
      return snapshot.processes.size();
    case View::users:
      return std::accumulate(snapshot.usageSummaries.begin(),
                             snapshot.usageSummaries.end(),
                             std::size_t{0},
                             [](std::size_t sum, const UsageSummary& summary) {
                               return sum + summary.students.size();
                             });
  }
  return 0;
}

StyledLine tabsText(const ScreenModel& model, bool withTitles) {
  StyledLine line;
  for (std::size_t i = 0; i < kViews.size(); ++i) {
    const auto view = static_cast<View>(i);
    const bool isShown = view == model.view();
    std::string words = " " + std::to_string(i + 1) + " ";
    if (withTitles || isShown) words.append(kViews[i].title).append(" ");
    const std::size_t count = model.snapshot() == nullptr ? 0 : countOf(view, *model.snapshot());
    if (withTitles && count > 0) words.append(std::to_string(count)).append(" ");
    line.add(words, isShown ? Ink::reversed : Ink::faint);
  }
  return line;
}

// --- The line at the bottom ---

StyledLine keysText(const ScreenModel& model) {
  StyledLine line;
  const auto add = [&line](std::string_view key, std::string_view effect) {
    line.add(" ").add(key, Ink::bold).add(" ").add(effect, Ink::faint).add(" ");
  };
  if (model.page() != Page::view) {
    add("Esc", "back");
    add("q", "quit");
    return line;
  }
  add("q", "quit");
  add("?", "help");
  add("/", "filter");
  add("p", model.isPaused() ? "go on" : "pause");
  if (infoOf(model.view()).selects) add("Enter", "open");
  if (infoOf(model.view()).sorts) add("s r", "sort");
  return line;
}

std::string sortingWords(const ScreenModel& model) {
  const Sorting& sorting = model.sorting();
  if (sorting == Sorting() || model.tables().empty()) return {};
  std::string words = sorting.column
                          ? "by " + std::string(model.tables()[0].columns[*sorting.column].heading)
                          : std::string();
  if (sorting.isReversed) words += words.empty() ? "reversed" : ", reversed";
  return words;
}

// Where in a long page one is.
std::string placeWords(const ScreenModel& model) {
  const std::size_t count = model.count();
  const std::size_t fits = model.fitting();
  if (count <= fits) return {};
  const std::size_t last = std::min(model.top() + fits, count);
  return std::to_string(model.top() + 1) + "-" + std::to_string(last) + " of " +
         std::to_string(count);
}

StyledLine footerText(const ScreenModel& model) {
  StyledLine line;
  if (model.isTyping()) {
    return line.add(" /", Ink::bold)
        .add(shownText(model.filter(), kWidestWords))
        .add(" ", Ink::reversed)
        .add("  Enter keeps it, Esc clears it", Ink::faint);
  }
  // While there is no snapshot at all, the page says why.
  const bool hasProblem = model.snapshot() != nullptr && !model.problem().empty();
  if (!hasProblem) return keysText(model);
  line.add(model.showsLastGood() ? " This is the last good one: " : " ", Ink::bold);
  return line.add(shownText(model.problem(), kWidestWords), Ink::yellow);
}

StyledLine footerState(const ScreenModel& model) {
  StyledLine line;
  const auto add = [&line](const std::string& words, Ink ink) {
    if (!words.empty()) line.add(line.spans.empty() ? "" : "  ").add(words, ink);
  };
  if (model.page() == Page::view) {
    if (!model.isTyping() && !model.filter().empty()) {
      constexpr std::size_t kWidest = 30;
      add("/" + shownText(model.filter(), kWidest), Ink::cyan);
    }
    add(sortingWords(model), Ink::cyan);
  }
  add(placeWords(model), Ink::faint);
  return line;
}

}  // namespace

StyledLine titleLine(const ScreenModel& model, Timestamp now) {
  StyledLine left;
  left.add(" tavrine ", Ink::reversed).add(labWords(model));
  StyledLine right;
  if (model.isPaused()) right.add("PAUSED", Ink::yellow).add("  ");
  const StyledSpan age = ageWords(model, now);
  right.add(age.text, age.ink);
  constexpr std::size_t kRoomForClock = 60;
  if (model.size().columns >= kRoomForClock) right.add("  " + clockText(now), Ink::faint);
  return joined(left, right, model.size().columns);
}

StyledLine tabsLine(const ScreenModel& model) {
  StyledLine line = tabsText(model, true);
  return line.width() <= model.size().columns ? line : tabsText(model, false);
}

StyledLine footerLine(const ScreenModel& model) {
  return joined(footerText(model), footerState(model), model.size().columns);
}

}  // namespace tavrine
