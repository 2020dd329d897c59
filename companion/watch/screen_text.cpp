#include "companion/watch/screen_text.h"

#include "companion/views/characters.h"
#include "companion/views/display_width.h"
#include "companion/views/quantity_text.h"
#include "companion/views/snapshot_cells.h"
#include "companion/watch/overview_text.h"
#include "companion/watch/run_card.h"
#include "companion/watch/run_detail.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <string_view>

namespace tavrine {

namespace {

constexpr std::size_t kWidestWords = 500;

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

// On a narrow screen the number alone stands for a view that is not shown.
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

StyledLine tabsText(const ScreenModel& model) {
  StyledLine line = tabsText(model, true);
  return line.width() <= model.size().columns ? line : tabsText(model, false);
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

// --- What scrolls ---

// Both ends of a line; the left one gives way.
StyledLine joined(const StyledLine& left, const StyledLine& right, std::size_t columns) {
  const std::size_t taken = right.width();
  if (taken == 0 || taken + 1 >= columns) return left.cutTo(columns);
  StyledLine line = left.cutTo(columns - taken - 1);
  return line.padTo(columns - taken).add(right);
}

std::vector<StyledLine> wordsPage(const ScreenModel& model) {
  const bool isFiltered = model.snapshot() != nullptr && !model.filter().empty();
  std::vector<StyledLine> lines(1);
  if (isFiltered) {
    lines.emplace_back()
        .add("  Nothing here contains ")
        .add(shownText(model.filter(), kWidestCell), Ink::bold);
    lines.emplace_back().add("  Esc shows everything again.", Ink::faint);
  } else if (model.snapshot() != nullptr) {
    lines.emplace_back().add("  Nothing to show here.", Ink::faint);
  } else {
    lines.emplace_back()
        .add("  Waiting for a snapshot: ")
        .add(shownText(model.sourceName(), kWidestWords), Ink::bold);
    if (!model.problem().empty()) {
      lines.emplace_back().add("  " + shownText(model.problem(), kWidestWords), Ink::yellow);
    }
    lines.emplace_back();
    lines.emplace_back().add(
        "  It is shown as soon as it is there. 'tavrine watch --demo' shows a"
        " made-up lab.",
        Ink::faint);
  }
  return lines;
}

std::vector<StyledLine> helpPage() {
  constexpr std::size_t kKeysWidth = 22;
  std::vector<StyledLine> lines;
  for (const KeyHelp& help : keyHelp()) {
    lines.emplace_back().add("  ").add(help.keys, Ink::bold).padTo(kKeysWidth).add(help.effect);
  }
  return lines;
}

std::vector<StyledLine> scrolled(std::vector<StyledLine> lines, std::size_t top) {
  lines.erase(lines.begin(),
              lines.begin() + static_cast<std::ptrdiff_t>(std::min(top, lines.size())));
  return lines;
}

// The columns of a table are as wide as this many rows around those on the screen need: so they
// stand still while one scrolls, and a table of any length is drawn at once.
constexpr std::size_t kMeasuredRows = 500;

class TableText {
 public:
  TableText(const ScreenModel& model, std::size_t table)
      : model_(model), table_(model.tables()[table]) {
    std::vector<std::size_t> measured;
    const std::vector<Item>& items = model.items();
    const std::size_t from = model.top() - model.top() % kMeasuredRows;
    const std::size_t to = std::min(items.size(), from + 2 * kMeasuredRows);
    for (std::size_t i = from; i < to; ++i) {
      if (items[i].kind == ItemKind::row && items[i].table == table) {
        measured.push_back(items[i].row);
      }
    }
    layout_ = TableLayout::of(
        table_.columns,
        measured.size(),
        [&](std::size_t row, std::size_t column) { return table_.cell(measured[row], column); },
        model.size().columns);
  }

  StyledLine headings() const {
    StyledLine line = layout_.headings(table_.columns);
    const std::optional<std::size_t> sorted = model_.sorting().column;
    for (StyledSpan& span : line.spans) {
      if (sorted && span.text == table_.columns[*sorted].heading) span.ink = Ink::reversed;
    }
    return line;
  }
  StyledLine row(std::size_t row) const { return layout_.row(table_.columns, row, table_.cell); }

 private:
  const ScreenModel& model_;
  const ScreenTable& table_;
  TableLayout layout_;
};

// A view: the lines that stay and those that scroll.
class ViewText {
 public:
  ViewText(const ScreenModel& model, Glyphs glyphs)
      : model_(model),
        glyphs_(glyphs),
        overview_(*model.snapshot(), model.history(), model.size().columns, glyphs) {
    for (std::size_t i = 0; i < model.tables().size(); ++i) tables_.emplace_back(model, i);
  }

  std::vector<StyledLine> head() const {
    if (model_.view() == View::overview) return overview_.head();
    return {tables_.front().headings()};
  }

  std::vector<StyledLine> item(std::size_t place) const {
    const Item& item = model_.items()[place];
    const AppSnapshot& snapshot = *model_.snapshot();
    if (item.kind == ItemKind::gap) return {StyledLine()};
    if (model_.view() == View::overview) return {overviewLine(item)};
    if (model_.view() == View::runs) {
      return runCard(snapshot.runs[item.row],
                     snapshot,
                     model_.size().columns,
                     glyphs_,
                     place == model_.selected());
    }
    return {tableLine(item)};
  }

 private:
  StyledLine overviewLine(const Item& item) const {
    const AppSnapshot& snapshot = *model_.snapshot();
    if (item.kind == ItemKind::run) return overview_.run(snapshot.runs[item.row]);
    if (item.kind == ItemKind::alert) return overview_.alert(snapshot.alerts[item.row]);
    const ServerSummary& server = snapshot.servers[item.table];
    return item.kind == ItemKind::title ? overview_.server(server)
                                        : overview_.gpu(server, server.gpus[item.row]);
  }

  StyledLine tableLine(const Item& item) const {
    const TableText& table = tables_[item.table];
    if (item.kind == ItemKind::title) {
      return StyledLine().add(model_.tables()[item.table].title, Ink::cyan);
    }
    return item.kind == ItemKind::heading ? table.headings() : table.row(item.row);
  }

  const ScreenModel& model_;
  Glyphs glyphs_;
  OverviewText overview_;
  std::vector<TableText> tables_;
};

std::vector<StyledLine> viewPage(const ScreenModel& model, const ScreenFrame& frame,
                                 Glyphs glyphs) {
  if (model.items().empty()) return wordsPage(model);
  const ViewText view(model, glyphs);
  std::vector<StyledLine> lines;
  if (frame.head > 0) lines = view.head();
  const std::size_t rows = frame.head + frame.body;
  for (std::size_t i = model.top(); i < model.items().size() && lines.size() < rows; ++i) {
    for (StyledLine& line : view.item(i)) lines.push_back(std::move(line));
  }
  return lines;
}

std::vector<StyledLine> pageText(const ScreenModel& model, const ScreenFrame& frame,
                                 Glyphs glyphs) {
  if (model.page() == Page::help) return scrolled(helpPage(), model.top());
  const TrainingRun* const run = model.openRun();
  if (model.page() == Page::run && run != nullptr) {
    return scrolled(runDetail(*run, *model.snapshot(), model.size().columns, glyphs), model.top());
  }
  return viewPage(model, frame, glyphs);
}

// --- For screens that know no other characters ---

// What stands for a character in each of its columns.
char standIn(char32_t codePoint) {
  switch (codePoint) {
    case U'\u2026':
      return '~';
    case U'\u00B7':
    case U'\u2014':
      return '-';
    default:
      return '?';
  }
}

std::string asciiOnly(std::string_view text) {
  std::string ascii;
  while (!text.empty()) {
    const Character first = firstCharacter(text);
    ascii.append(first.codePoint < 0x80
                     ? std::string(first.bytes)
                     : std::string(displayWidth(first.bytes), standIn(first.codePoint)));
    text.remove_prefix(first.bytes.size());
  }
  return ascii;
}

void finish(StyledLine& line, std::size_t columns, Glyphs glyphs) {
  line = line.cutTo(columns);
  if (glyphs == Glyphs::blocks) return;
  for (StyledSpan& span : line.spans) span.text = asciiOnly(span.text);
}

}  // namespace

StyledLine titleText(const ScreenModel& model, Timestamp now, Glyphs glyphs) {
  StyledLine left;
  left.add(" tavrine ", Ink::reversed).add(labWords(model));
  StyledLine right;
  if (model.isPaused()) right.add("PAUSED", Ink::yellow).add("  ");
  const StyledSpan age = ageWords(model, now);
  right.add(age.text, age.ink);
  constexpr std::size_t kRoomForClock = 60;
  if (model.size().columns >= kRoomForClock) right.add("  " + clockText(now), Ink::faint);
  StyledLine line = joined(left, right, model.size().columns);
  finish(line, model.size().columns, glyphs);
  return line;
}

std::vector<StyledLine> screenText(const ScreenModel& model, Timestamp now, Glyphs glyphs) {
  const ScreenFrame frame = model.frame();
  const std::size_t columns = model.size().columns;
  std::vector<StyledLine> lines;
  if (frame.title > 0) lines.push_back(titleText(model, now, glyphs));
  if (frame.tabs > 0) lines.push_back(tabsText(model));
  std::vector<StyledLine> page = pageText(model, frame, glyphs);
  page.resize(frame.head + frame.body);
  lines.insert(lines.end(), page.begin(), page.end());
  if (frame.footer > 0) lines.push_back(joined(footerText(model), footerState(model), columns));
  for (StyledLine& line : lines) finish(line, columns, glyphs);
  return lines;
}

}  // namespace tavrine
