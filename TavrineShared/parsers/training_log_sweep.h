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
#include <span>
#include <string_view>
#include <vector>

namespace tavrine::training_log {

/// A step or a validation loss, with the number that ends it, in bytes of the text. There can be
/// millions of them.
struct NumberMatch {
  std::size_t begin;
  std::size_t numberBegin;
  std::size_t end;
};

/// A step and a validation loss that stand on one line, in either order.
struct ValidationPoint {
  NumberMatch step;
  NumberMatch value;
};

class LogSweep {
 public:
  static constexpr std::size_t kBlockSize = std::size_t{64} * 1024;

  /// Sweeps over `text`, which must outlive this. Any block size gives the same; the smaller, the
  /// more places go to ICU.
  explicit LogSweep(std::string_view text, std::size_t blockSize = kBlockSize);

  /// The first or the last match of the rule, whichever it takes.
  const std::optional<WindowMatch>& capture(std::size_t rule) const { return captures_[rule]; }

  /// Where the word stands first in the lower-cased text.
  std::optional<std::size_t> firstPlaceOf(Word word) const {
    return words_[static_cast<std::size_t>(word)];
  }

  /// The matches of `^.*?STEP.*?VALUE` in text order, then those of `^.*?VALUE.*?STEP`.
  std::size_t validationPointCount() const { return points_.size(); }
  ValidationPoint validationPoint(std::size_t index) const {
    return {steps_[points_[index].step], values_[points_[index].value]};
  }

 private:
  struct PointIndex {
    std::size_t step;
    std::size_t value;
  };

  void collect(std::size_t blockBegin, std::size_t blockEnd);
  void meet(std::size_t rule, std::size_t begin, std::size_t end);
  void meetWord(std::size_t word, std::size_t begin, std::size_t end);
  void settle(std::size_t rule);
  std::optional<WindowMatch> match(std::size_t rule, std::size_t at);
  std::optional<NumberMatch> numberMatch(std::size_t rule, std::size_t at);
  void findSteps();
  void findStepsBetween(std::size_t begin, std::size_t end);
  void joinPoints();

  std::string_view text_;
  std::span<const Rule> rules_;
  WindowMatcher icu_;
  std::array<std::vector<std::size_t>, kRuleCount> candidates_;  // of the current block
  std::array<std::optional<WindowMatch>, kRuleCount> captures_;
  std::array<std::optional<std::size_t>, kWords.size()> words_;
  std::vector<NumberMatch> values_;
  std::vector<NumberMatch> steps_;
  std::vector<PointIndex> points_;
};

}  // namespace tavrine::training_log
