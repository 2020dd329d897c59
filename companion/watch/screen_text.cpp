#include "companion/watch/screen_text.h"

#include "companion/views/characters.h"
#include "companion/views/display_width.h"
#include "companion/watch/overview_text.h"
#include "companion/watch/run_card.h"
#include "companion/watch/run_detail.h"
#include "companion/watch/screen_edges.h"
#include "companion/watch/table_text.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace tavrine {

namespace {

constexpr std::size_t kWidestWords = 500;

// --- What scrolls ---

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
    for (const char* const words :
         {"  It is shown as soon as it is there; 'tavrine refresh' makes one.",
          "  'tavrine watch --host HOST' asks a host, and '--demo' shows a made-up lab."}) {
      lines.emplace_back().add(words, Ink::faint);
    }
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
  StyledLine line = titleLine(model, now);
  finish(line, model.size().columns, glyphs);
  return line;
}

std::vector<StyledLine> screenText(const ScreenModel& model, Timestamp now, Glyphs glyphs) {
  const ScreenFrame frame = model.frame();
  const std::size_t columns = model.size().columns;
  std::vector<StyledLine> lines;
  if (frame.title > 0) lines.push_back(titleText(model, now, glyphs));
  if (frame.tabs > 0) lines.push_back(tabsLine(model));
  std::vector<StyledLine> page = pageText(model, frame, glyphs);
  page.resize(frame.head + frame.body);
  lines.insert(lines.end(), page.begin(), page.end());
  if (frame.footer > 0) lines.push_back(footerLine(model));
  for (StyledLine& line : lines) finish(line, columns, glyphs);
  return lines;
}

}  // namespace tavrine
