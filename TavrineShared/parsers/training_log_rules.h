// The patterns by which a training log is read, and for each of them the cheap tests that tell
// where it cannot match. Private: no public header includes it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <unicode/regex.h>

namespace tavrine::training_log {

/// A set of bytes that holds every byte outside ASCII: whatever stands there might be a blank or
/// stand for an ASCII letter, so only the pattern can tell.
class ByteSet {
 public:
  constexpr explicit ByteSet(std::string_view ascii) : words_{0, 0, ~0ULL, ~0ULL} {
    for (const char c : ascii) {
      const auto byte = static_cast<unsigned char>(c);
      words_[byte / 64] |= std::uint64_t{1} << (byte % 64);
    }
  }
  constexpr bool contains(char c) const {
    const auto byte = static_cast<unsigned char>(c);
    return (words_[byte / 64] >> (byte % 64) & 1) != 0;
  }

 private:
  std::array<std::uint64_t, 4> words_;
};

/// Which of its matches a rule is after.
enum class Take : std::uint8_t {
  first,
  last,
  lastAfterNumber,  ///< the last one, and a match begins at the number in front of its anchor
  value,            ///< all of the validation losses
  step,             ///< all of the steps near a validation loss
};

/// What may follow an anchor.
enum class Gap : std::uint8_t { none, blanks, any };

struct Rule {
  std::string pattern;
  Take take;
  bool beginsWord;  ///< the anchor must not continue a word
  Gap gap;          ///< what may stand between the anchor and a byte of `next`; any: no test at all
  ByteSet next;
  /// Where `next` was a colon or an equals sign: what may stand behind it and blanks.
  ByteSet value;
  /// One of these, letter case ignored, stands in every match, which begins there unless `take`
  /// says otherwise. No two of one rule overlap in any text.
  std::array<std::string_view, 7> anchors;
};

/// The rules of one purpose, in the order in which they are tried.
enum class Table : std::uint8_t {
  throughputPreferred,
  throughputFallback,
  loss,
  dataset,
  model,
  checkpoint,
  validation,
  hyperparameters,
};

struct RuleRange {
  std::size_t begin;
  std::size_t end;
};

inline constexpr std::size_t kRuleCount = 34;
inline constexpr std::size_t kStepRule = 15;

/// The keys of `ParsedLogSignals::hyperparameters`, in the order of their rules.
inline constexpr std::array<std::string_view, 18> kHyperparameters = {"batch_size",
                                                                      "lr",
                                                                      "learning_rate",
                                                                      "weight_decay",
                                                                      "momentum",
                                                                      "epochs",
                                                                      "num_epochs",
                                                                      "max_steps",
                                                                      "warmup_steps",
                                                                      "dropout",
                                                                      "n_layers",
                                                                      "n_heads",
                                                                      "d_model",
                                                                      "hidden_size",
                                                                      "seq_len",
                                                                      "optimizer",
                                                                      "scheduler",
                                                                      "seed"};

/// All kRuleCount of them, table by table.
const std::vector<Rule>& rules();
RuleRange rulesOf(Table table);

/// The compiled pattern of a rule; null for one that does not compile, which then never matches.
/// The patterns of a table are compiled together when the first of them is asked for.
const icu::RegexPattern* compiledPattern(std::size_t rule);

/// Words that by themselves say how a run stands.
enum class Word : std::uint8_t { outOfMemory, traceback, exception, nan, nccl, error };
inline constexpr std::array<std::string_view, 6> kWords = {
    "out of memory", "traceback", "exception", "nan", "nccl", "error"};

}  // namespace tavrine::training_log
