// What was typed, and what it means to the live screen.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace tavrine {

enum class Key : std::uint8_t {
  character,
  up,
  down,
  left,
  right,
  pageUp,
  pageDown,
  home,
  end,
  enter,
  escape,
  tab,
  backTab,
  backspace
};

struct KeyPress {
  Key key;
  char32_t character = 0;  ///< of the key `character`

  bool operator==(const KeyPress&) const = default;
};

enum class Command : std::uint8_t {
  goToView,  ///< the one whose number was typed
  nextView,
  previousView,
  up,
  down,
  pageUp,
  pageDown,
  first,
  last,
  open,
  filter,
  back,
  sort,
  reverse,
  pause,
  help,
  quit
};

/// What a key does where no text is being typed; no value for one that does nothing.
std::optional<Command> commandOf(const KeyPress& press);

struct KeyHelp {
  std::string_view keys;
  std::string_view effect;
};

/// All keys, for people.
std::span<const KeyHelp> keyHelp();

}  // namespace tavrine
