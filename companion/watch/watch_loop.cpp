#include "companion/watch/watch_loop.h"

#include "companion/shell/input.h"
#include "companion/shell/output.h"
#include "companion/watch/screen_model.h"
#include "companion/watch/screen_text.h"
#include "companion/watch/terminal.h"
#include "companion/watch/wake.h"

#include <TavrineShared/foundation/timestamp.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <vector>

namespace tavrine {

namespace {

using namespace std::chrono_literals;

constexpr auto kBetweenLooks = 250ms;  // at the source

std::int64_t wholeSeconds(Timestamp time) {
  return std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
}

// What is on the screen, and what has to be drawn anew.
class Drawing {
 public:
  explicit Drawing(Terminal& terminal, Glyphs glyphs) : terminal_(terminal), glyphs_(glyphs) {}

  void all(const ScreenModel& model) {
    const Timestamp now = currentTime();
    lines_ = screenText(model, now, glyphs_);
    terminal_.draw(lines_);
    second_ = wholeSeconds(now);
  }

  // The time passes on the first line only.
  void time(const ScreenModel& model) {
    const Timestamp now = currentTime();
    if (wholeSeconds(now) == second_ || lines_.empty()) return;
    second_ = wholeSeconds(now);
    lines_.front() = titleText(model, now, glyphs_);
    terminal_.draw(lines_);
  }

 private:
  Terminal& terminal_;
  Glyphs glyphs_;
  std::vector<StyledLine> lines_;
  std::int64_t second_ = 0;
};

// Whether anything happened that shows.
bool takeKeys(Terminal& terminal, ScreenModel& model) {
  bool hasChanged = false;
  do {
    const std::optional<KeyPress> press = terminal.readKey();
    if (press) model.press(*press);
    hasChanged = hasChanged || press;
  } while (terminal.hasMoreKeys() && !model.hasQuit());
  return hasChanged;
}

bool takeNews(const SnapshotSource& source, ScreenModel& model) {
  if (model.isPaused()) return false;
  std::optional<SourceNews> news = source.poll(currentTime());
  if (!news) return false;
  model.tell(std::move(*news));
  return true;
}

// Until somebody quits, by a key or by a signal, which it gives; or until the terminal is gone.
std::optional<int> watchOn(Terminal& terminal, Glyphs glyphs, const SnapshotSource& source,
                           const WakeUps& wakeUps) {
  ScreenModel model(source, terminal.size());
  takeNews(source, model);
  Drawing drawing(terminal, glyphs);
  drawing.all(model);
  while (!model.hasQuit()) {
    const Wake wake = wakeUps.wait(kBetweenLooks);
    if (wake.end) return wake.end;
    if (wake.isGone) return SIGHUP;
    if (wake.isResized) {
      terminal.adaptToSize();
      model.resize(terminal.size());
    }
    const bool hasKeys = wake.hasInput && takeKeys(terminal, model);
    const bool hasNews = takeNews(source, model);
    if (wake.isResized || hasKeys || hasNews) {
      drawing.all(model);
    } else {
      drawing.time(model);
    }
  }
  return std::nullopt;
}

}  // namespace

ExitStatus watchSource(const SnapshotSource& source, Paint paint) {
  if (!outputIsTerminal() || !inputIsTerminal()) {
    throw std::runtime_error(
        "watch needs a terminal, as standard input and as standard output; 'tavrine show' prints to"
        " anything");
  }
  std::optional<int> end;
  {
    const WakeUps wakeUps;
    const Glyphs glyphs = useCharacters();
    Terminal terminal(paint);
    end = watchOn(terminal, glyphs, source, wakeUps);
  }
  // Ctrl-C is a way to quit like any other; whoever sends another signal learns that it worked.
  if (end && *end != SIGINT) endBy(*end);
  return ExitStatus::fine;
}

}  // namespace tavrine
