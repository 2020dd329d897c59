// Wide characters, and no macros in place of functions with everyday names.
#define NCURSES_WIDECHAR 1
#define NCURSES_NOMACROS 1

#include "companion/watch/terminal.h"

#include "companion/shell/output.h"
#include "companion/views/display_width.h"

#include <curses.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace tavrine {

namespace {

struct InkStyle {
  attr_t attributes;
  short color;  // its pair, too
};

// With colours a pair for each; without, attributes alone have to tell.
InkStyle styleOf(Ink ink) {
  switch (ink) {
    case Ink::plain:
      return {A_NORMAL, 0};
    case Ink::bold:
      return {A_BOLD, 0};
    case Ink::faint:
      return {A_DIM, 0};
    case Ink::green:
      return {A_NORMAL, COLOR_GREEN};
    case Ink::yellow:
      return {A_NORMAL, COLOR_YELLOW};
    case Ink::red:
      return {A_BOLD, COLOR_RED};
    case Ink::cyan:
      return {A_NORMAL, COLOR_CYAN};
    case Ink::reversed:
      return {A_REVERSE, 0};
  }
  return {A_NORMAL, 0};
}

void prepareColors() {
  ::start_color();
  // On whatever ground the user has.
  const bool hasDefault = ::use_default_colors() == OK;
  const short ground = hasDefault ? short{-1} : short{COLOR_BLACK};
  for (const short color :
       std::initializer_list<short>{COLOR_GREEN, COLOR_YELLOW, COLOR_RED, COLOR_CYAN}) {
    ::init_pair(color, color, ground);
  }
}

bool isUTF8() { return std::string_view(::nl_langinfo(CODESET)) == "UTF-8"; }

constexpr auto kKeys = std::to_array<std::pair<int, Key>>({
    {KEY_UP, Key::up},
    {KEY_DOWN, Key::down},
    {KEY_LEFT, Key::left},
    {KEY_RIGHT, Key::right},
    {KEY_PPAGE, Key::pageUp},
    {KEY_NPAGE, Key::pageDown},
    {KEY_HOME, Key::home},
    {KEY_END, Key::end},
    {KEY_ENTER, Key::enter},
    {KEY_BTAB, Key::backTab},
    {KEY_BACKSPACE, Key::backspace},
});

constexpr auto kControls = std::to_array<std::pair<char32_t, Key>>({
    {U'\r', Key::enter},
    {U'\n', Key::enter},
    {U'\t', Key::tab},
    {U'\x1B', Key::escape},
    {U'\b', Key::backspace},
    {U'\x7F', Key::backspace},
});

template <class Code, std::size_t N>
std::optional<Key> keyOf(const std::array<std::pair<Code, Key>, N>& keys, Code code) {
  const auto* const found =
      std::find_if(keys.begin(), keys.end(), [code](const auto& key) { return key.first == code; });
  return found == keys.end() ? std::nullopt : std::optional(found->second);
}

std::string capability(const char* name) {
  const char* const text = ::tigetstr(name);
  // What is missing is null, what is no text -1.
  const bool isThere = text != nullptr && reinterpret_cast<std::intptr_t>(text) != -1;
  return isThere ? std::string(text) : std::string();
}

// What the library writes at its end, for a moment at which it cannot be asked.
std::string leaveSequence() {
  std::string sequence;
  for (const char* const name : {"sgr0", "rmkx", "rmcup", "cnorm"}) sequence += capability(name);
  return sequence;
}

std::string terminalType() {
  const char* const type = std::getenv("TERM");
  return type == nullptr ? "" : type;
}

ScreenSize currentSize() {
  return {static_cast<std::size_t>(std::max(::getmaxy(stdscr), 0)),
          static_cast<std::size_t>(std::max(::getmaxx(stdscr), 0))};
}

[[noreturn]] void throwUnfit(const std::string& why) {
  throw std::runtime_error(why + "; 'tavrine show' needs no screen");
}

void drawLine(int row, const StyledLine& line, Paint paint) {
  std::size_t column = 0;
  for (const StyledSpan& span : line.spans) {
    const InkStyle style = styleOf(span.ink);
    ::attr_set(style.attributes, paint == Paint::on ? style.color : short{0}, nullptr);
    // Each where our own count of columns puts it, should the library count another way.
    ::mvaddnstr(row,
                static_cast<int>(column),
                span.text.data(),
                static_cast<int>(span.text.size()));
    column += displayWidth(span.text);
  }
  ::attr_set(A_NORMAL, 0, nullptr);
}

}  // namespace

Terminal::Terminal(Paint paint) : paint_(paint) {
  const std::string type = terminalType();
  if (type.empty()) throwUnfit("TERM does not say what terminal this is");
  // The terminal knows its size best; LINES and COLUMNS may be those of another one.
  ::use_env(FALSE);
  ::use_tioctl(TRUE);
  screen_ = ::newterm(nullptr, stdout, stdin);
  if (screen_ == nullptr) throwUnfit("the terminal '" + type + "' is unknown here");
  if (capability("cup").empty() || capability("clear").empty()) {
    ::reset_shell_mode();  // all that was done so far; it has written nothing yet
    ::delscreen(screen_);
    throwUnfit("the terminal '" + type + "' cannot show a screen");
  }
  rescue_.arm(leaveSequence());
  constexpr int kEscapeMilliseconds = 25;  // for the rest of a key that begins as Escape does
  ::set_escdelay(kEscapeMilliseconds);
  if (paint_ == Paint::on && ::has_colors()) {
    prepareColors();
  } else {
    paint_ = Paint::off;
  }
  ::cbreak();
  ::noecho();
  ::nonl();
  ::keypad(stdscr, TRUE);
  ::nodelay(stdscr, TRUE);
  ::leaveok(stdscr, TRUE);
  ::curs_set(0);
  size_ = currentSize();
}

Terminal::~Terminal() {
  ::endwin();
  ::delscreen(screen_);
}

void Terminal::adaptToSize() {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
    return;
  }
  ::resizeterm(size.ws_row, size.ws_col);
  ::clearok(stdscr, TRUE);
  size_ = currentSize();
}

void Terminal::draw(std::span<const StyledLine> lines) {
  ::erase();
  const std::size_t rows = std::min(lines.size(), size_.rows);
  for (std::size_t row = 0; row < rows; ++row) {
    drawLine(static_cast<int>(row), lines[row], paint_);
  }
  ::refresh();
}

std::optional<KeyPress> Terminal::readKey() {
  wint_t code = 0;
  const int kind = ::get_wch(&code);
  hasMoreKeys_ = kind != ERR;
  if (kind == KEY_CODE_YES) {
    const std::optional<Key> key = keyOf(kKeys, static_cast<int>(code));
    return key ? std::optional(KeyPress{*key}) : std::nullopt;
  }
  if (kind != OK) return std::nullopt;
  const auto character = static_cast<char32_t>(code);
  const std::optional<Key> key = keyOf(kControls, character);
  return key ? KeyPress{*key} : KeyPress{Key::character, character};
}

Glyphs useCharacters() {
  std::setlocale(LC_CTYPE, "");
  if (glyphs() == Glyphs::ascii) return Glyphs::ascii;
  if (!isUTF8()) std::setlocale(LC_CTYPE, "C.UTF-8");
  return isUTF8() ? Glyphs::blocks : Glyphs::ascii;
}

}  // namespace tavrine
