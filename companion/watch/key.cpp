#include "companion/watch/key.h"

#include <algorithm>
#include <array>

namespace tavrine {

namespace {

struct Binding {
  KeyPress press;
  Command command;
};

constexpr KeyPress typed(char32_t character) { return {Key::character, character}; }

constexpr auto kBindings = std::to_array<Binding>({
    {typed(U'1'), Command::goToView},
    {typed(U'2'), Command::goToView},
    {typed(U'3'), Command::goToView},
    {typed(U'4'), Command::goToView},
    {typed(U'5'), Command::goToView},
    {typed(U'6'), Command::goToView},
    {{Key::tab}, Command::nextView},
    {{Key::right}, Command::nextView},
    {{Key::left}, Command::previousView},
    {{Key::backTab}, Command::previousView},
    {{Key::up}, Command::up},
    {typed(U'k'), Command::up},
    {{Key::down}, Command::down},
    {typed(U'j'), Command::down},
    {{Key::pageUp}, Command::pageUp},
    {typed(U'b'), Command::pageUp},
    {{Key::pageDown}, Command::pageDown},
    {typed(U' '), Command::pageDown},
    {{Key::home}, Command::first},
    {typed(U'g'), Command::first},
    {{Key::end}, Command::last},
    {typed(U'G'), Command::last},
    {{Key::enter}, Command::open},
    {typed(U'/'), Command::filter},
    {{Key::escape}, Command::back},
    {{Key::backspace}, Command::back},
    {typed(U's'), Command::sort},
    {typed(U'r'), Command::reverse},
    {typed(U'p'), Command::pause},
    {typed(U'?'), Command::help},
    {typed(U'h'), Command::help},
    {typed(U'q'), Command::quit},
});

constexpr auto kHelp = std::to_array<KeyHelp>({
    {"1 to 6", "go to a view"},
    {"Tab, left, right", "go to the next view, or the one before"},
    {"up, down, j, k", "move by a line, or to another run"},
    {"PgUp, PgDn, Space", "move by a page"},
    {"Home, End, g, G", "to the first line, or the last"},
    {"Enter", "show a run with its trends, settings and log"},
    {"/", "show only what contains a text"},
    {"Esc", "back, and away with the filter"},
    {"s", "sort a table by its next column"},
    {"r", "the other way round"},
    {"p", "pause, and go on"},
    {"?, h", "these keys"},
    {"q, Ctrl-C", "quit"},
});

}  // namespace

std::optional<Command> commandOf(const KeyPress& press) {
  const auto* const found =
      std::find_if(kBindings.begin(), kBindings.end(), [&press](const Binding& binding) {
        return binding.press == press;
      });
  if (found == kBindings.end()) return std::nullopt;
  return found->command;
}

std::span<const KeyHelp> keyHelp() { return kHelp; }

}  // namespace tavrine
