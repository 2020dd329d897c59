// One pass over a training log that finds what its rules are after. Private: no public header
// includes it.
//
// Plain regular expressions would be exact and slow, and on some lines they would never end. Here a
// scan finds the literals that every match contains, cheap tests throw out most of the places that
// cannot match, and ICU decides the rest, one place at a time.
#pragma once

#include <TavrineShared/parsers/training_log_rules.h>
#include <TavrineShared/parsers/window_matcher.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace tavrine::training_log {

/// A step and a validation loss that stand on one line, in either order.
struct ValidationPoint {
  WindowMatch step;
  WindowMatch value;
};

class LogSweep {
 public:
  static constexpr std::size_t kBlockSize = std::size_t{64} * 1024;

  /// Sweeps over `text`, which must outlive this. Any block size gives the same; the smaller, the
  /// more places go to ICU.
  explicit LogSweep(std::string_view text, std::size_t blockSize = kBlockSize);

  /// The first or the last match of the rule, whichever it takes.
  const std::optional<WindowMatch>& capture(std::size_t rule) const { return captures_[rule]; }

  /// Where the word stands first, letter case ignored.
  std::optional<std::size_t> firstPlaceOf(Word word) const {
    return words_[static_cast<std::size_t>(word)];
  }

  /// The matches of `^.*?STEP.*?VALUE` in text order, then those of `^.*?VALUE.*?STEP`.
  const std::vector<ValidationPoint>& validationPoints() const { return points_; }

 private:
  void collect(std::size_t blockBegin, std::size_t blockEnd);
  void meet(std::size_t rule, std::size_t begin, std::size_t end);
  void settle(std::size_t rule);
  std::optional<WindowMatch> match(std::size_t rule, std::size_t at);
  void findSteps();
  void findStepsBetween(std::size_t begin, std::size_t end);
  void joinPoints();

  std::string_view text_;
  WindowMatcher icu_;
  std::array<std::vector<std::size_t>, kRuleCount> candidates_;  // of the current block
  std::array<std::optional<WindowMatch>, kRuleCount> captures_;
  std::array<std::optional<std::size_t>, kWords.size()> words_;
  std::vector<WindowMatch> values_;
  std::vector<WindowMatch> steps_;
  std::vector<ValidationPoint> points_;
};

}  // namespace tavrine::training_log
