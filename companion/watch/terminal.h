// The terminal as a screen to draw on and a keyboard to read from.
#pragma once

#include "companion/views/chart.h"
#include "companion/views/styled_line.h"
#include "companion/watch/key.h"
#include "companion/watch/screen_model.h"
#include "companion/watch/terminal_rescue.h"

#include <optional>
#include <span>

struct screen;  // of the terminal library

namespace tavrine {

/// While there is one, standard output shows a screen of its own, what is typed is not echoed, and
/// the cursor is hidden. The end of it, a crash included, brings back what was there before.
class Terminal {
 public:
  /// Standard input and output must be terminals. Throws `std::runtime_error` for a type of
  /// terminal that is unknown or cannot do what a screen needs.
  explicit Terminal(Paint paint);
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  ScreenSize size() const { return size_; }
  /// Finds out how large the screen has become, and forgets what it showed.
  void adaptToSize();
  /// Writes what differs from what is shown. Lines beyond the screen are left out.
  void draw(std::span<const StyledLine> lines);
  /// The next key that was typed; no value where none is left, or for one that nobody needs.
  std::optional<KeyPress> readKey();
  /// Whether more was typed than has been read.
  bool hasMoreKeys() const { return hasMoreKeys_; }

 private:
  Paint paint_;
  bool hasMoreKeys_ = false;
  ScreenSize size_{};
  TerminalRescue rescue_;  // before anything is changed
  screen* screen_;
};

/// Which characters the terminal can be sent. Sets the process's character type from the
/// environment, which the terminal library goes by; where the environment names a UTF-8 locale that
/// is not installed here, a plain one takes its place.
Glyphs useCharacters();

}  // namespace tavrine
