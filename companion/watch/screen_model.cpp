#include "companion/watch/screen_model.h"

#include "companion/watch/run_detail.h"

#include <TavrineShared/foundation/unicode_text.h>

#include <algorithm>
#include <utility>

namespace tavrine {

namespace {

constexpr std::size_t kLongestFilter = 200;  // bytes

void removeLastCharacter(std::string& text) {
  while (!text.empty()) {
    const auto last = static_cast<unsigned char>(text.back());
    text.pop_back();
    if ((last & 0xC0U) != 0x80U) return;
  }
}

bool isText(char32_t c) {
  const bool isControl = c < 0x20 || (c >= 0x7F && c < 0xA0);
  const bool isSurrogate = c >= 0xD800 && c < 0xE000;
  return !isControl && !isSurrogate && c <= 0x10FFFF;
}

// From `from`, within what there is.
std::size_t moved(std::size_t from, std::ptrdiff_t steps, std::size_t last) {
  const std::size_t back = steps < 0 ? static_cast<std::size_t>(-(steps + 1)) + 1 : 0;
  if (steps < 0) return from > back ? from - back : 0;
  const auto forth = static_cast<std::size_t>(steps);
  return forth >= last - std::min(from, last) ? last : from + forth;
}

constexpr auto kEndless = std::ptrdiff_t{1} << 60U;

}  // namespace

ScreenModel::ScreenModel(const SnapshotSource& source, ScreenSize size)
    : sourceName_(source.name), staleAfterSeconds_(source.staleAfterSeconds), size_(size) {}

// --- What happens ---

void ScreenModel::tell(SourceNews news) {
  problem_ = std::move(news.problem);
  showsLastGood_ = snapshot_ && !news.snapshot;
  if (!news.snapshot) return;
  history_.add(*news.snapshot);
  tables_.clear();
  snapshot_ = std::make_shared<const AppSnapshot>(std::move(*news.snapshot));
  arrange();
}

void ScreenModel::resize(ScreenSize size) {
  size_ = size;
  settle();
}

void ScreenModel::press(const KeyPress& press) {
  const std::optional<Command> command = commandOf(press);
  const bool isText = press.key == Key::character || press.key == Key::backspace ||
                      press.key == Key::enter || press.key == Key::escape;
  if (isTyping_ && isText) {
    type(press);
  } else if (command) {
    obey(*command, press.character);
  }
}

void ScreenModel::obey(Command command, char32_t typed) {
  const auto page = static_cast<std::ptrdiff_t>(std::max<std::size_t>(fitting(), 2) - 1);
  constexpr std::size_t kCount = kViews.size();
  const auto number = static_cast<std::size_t>(view_);
  switch (command) {
    case Command::goToView:
      return goTo(static_cast<View>(typed - U'1'));
    case Command::nextView:
      return goTo(static_cast<View>((number + 1) % kCount));
    case Command::previousView:
      return goTo(static_cast<View>((number + kCount - 1) % kCount));
    case Command::up:
      return moveBy(-1);
    case Command::down:
      return moveBy(1);
    case Command::pageUp:
      return moveBy(-page);
    case Command::pageDown:
      return moveBy(page);
    case Command::first:
      return moveBy(-kEndless);
    case Command::last:
      return moveBy(kEndless);
    case Command::open:
      return openSelected();
    case Command::filter:
      page_ = Page::view;
      isTyping_ = true;
      return arrange();
    case Command::back:
      return goBack();
    case Command::sort:
      return sortByNext();
    case Command::reverse:
      if (page_ == Page::view && infoOf(view_).sorts) {
        sortings_[number].isReversed = !sortings_[number].isReversed;
      }
      return arrange();
    case Command::pause:
      isPaused_ = !isPaused_;
      return;
    case Command::help:
      page_ = page_ == Page::help ? (openRun_ ? Page::run : Page::view) : Page::help;
      return settle();
    case Command::quit:
      hasQuit_ = true;
      return;
  }
}

void ScreenModel::type(const KeyPress& press) {
  if (press.key == Key::enter) isTyping_ = false;
  if (press.key == Key::escape) {
    isTyping_ = false;
    filter_.clear();
  }
  if (press.key == Key::backspace) removeLastCharacter(filter_);
  if (press.key == Key::character && isText(press.character) && filter_.size() < kLongestFilter) {
    appendUTF8(filter_, press.character);
  }
  place() = {};
  arrange();
}

void ScreenModel::goTo(View view) {
  view_ = view;
  page_ = Page::view;
  openRun_.reset();
  isTyping_ = false;
  arrange();
}

void ScreenModel::moveBy(std::ptrdiff_t steps) {
  std::size_t& moving = selects() ? place().selected : place().top;
  moving = moved(moving, steps, count());
  settle();
}

void ScreenModel::openSelected() {
  if (!selects() || selected() >= items_.size()) return;
  const TrainingRun& run = snapshot_->runs[items_[selected()].row];
  openRun_ = RunName{run.serverName, run.name};
  page_ = Page::run;
  place() = {};
  settle();
}

// One step: from what is laid over a view to the view, from what is filtered to all of it.
void ScreenModel::goBack() {
  if (page_ == Page::help) {
    page_ = openRun_ ? Page::run : Page::view;
  } else if (page_ == Page::run) {
    openRun_.reset();
    page_ = Page::view;
  } else {
    filter_.clear();
  }
  arrange();
}

void ScreenModel::sortByNext() {
  if (page_ != Page::view || tables_.empty() || !infoOf(view_).sorts) return;
  Sorting& sorting = sortings_[static_cast<std::size_t>(view_)];
  const std::size_t next = sorting.column ? *sorting.column + 1 : 0;
  sorting.column = next < tables_.front().columns.size() ? std::optional(next) : std::nullopt;
  arrange();
}

// --- What follows from it ---

void ScreenModel::arrange() {
  tables_.clear();
  items_.clear();
  if (snapshot_) {
    tables_ = tablesOf(view_, *snapshot_);
    items_ = arrangedItems(view_, *snapshot_, tables_, filter_, sorting());
  }
  if (openRun_ && openRun() == nullptr) {
    openRun_.reset();
    if (page_ == Page::run) page_ = Page::view;
  }
  settle();
}

// Keeps what is on the screen within what there is.
void ScreenModel::settle() {
  const std::size_t all = count();
  const std::size_t fits = fitting();
  Place& here = place();
  if (selects()) {
    here.selected = std::min(here.selected, all == 0 ? 0 : all - 1);
    here.top = std::min(here.top, here.selected);
    if (here.selected - here.top >= fits) here.top = here.selected - fits + 1;
  }
  here.top = std::min(here.top, all > fits ? all - fits : 0);
}

std::size_t ScreenModel::placeNumber() const {
  if (page_ == Page::help) return kHelpPlace;
  return page_ == Page::run ? kRunPlace : static_cast<std::size_t>(view_);
}

ScreenFrame ScreenModel::frame() const {
  constexpr std::size_t kLeastBody = 3;
  ScreenFrame frame{};
  frame.title = size_.rows >= 1 ? 1 : 0;
  frame.footer = size_.rows >= 3 ? 1 : 0;
  frame.tabs = size_.rows >= 4 ? 1 : 0;
  frame.body = size_.rows - frame.title - frame.footer - frame.tabs;
  const std::size_t head = page_ == Page::view && !items_.empty() ? infoOf(view_).headLines : 0;
  if (frame.body >= head + kLeastBody) {
    frame.head = head;
    frame.body -= head;
  }
  return frame;
}

std::size_t ScreenModel::count() const {
  if (page_ == Page::help) return keyHelp().size();
  if (page_ == Page::view) return items_.size();
  const TrainingRun* const run = openRun();
  return run == nullptr ? 0 : runDetail(*run, *snapshot_, size_.columns, Glyphs::ascii).size();
}

std::size_t ScreenModel::fitting() const {
  const std::size_t lines = page_ == Page::view ? infoOf(view_).linesPerItem : 1;
  return std::max<std::size_t>(frame().body / lines, 1);
}

const TrainingRun* ScreenModel::openRun() const {
  if (!openRun_ || !snapshot_) return nullptr;
  const auto found =
      std::find_if(snapshot_->runs.begin(), snapshot_->runs.end(), [this](const TrainingRun& run) {
        return run.serverName == openRun_->server && run.name == openRun_->run;
      });
  return found == snapshot_->runs.end() ? nullptr : &*found;
}

}  // namespace tavrine
