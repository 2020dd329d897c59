#define PCRE2_CODE_UNIT_WIDTH 8

#include "benchmarks/training_log_peers.h"

#include <TavrineShared/parsers/text_rules.h>

#include "tests/support/training_log_patterns.h"

#include <pcre2.h>
#include <re2/re2.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace tavrine::benchmarks {

namespace {

/// The whole match and the groups in it. Those that took no part are empty.
using Groups = std::array<std::string_view, 3>;

class RE2Pattern {
 public:
  explicit RE2Pattern(const std::string& pattern)
      : regex_(std::make_unique<re2::RE2>(pattern, re2::RE2::Quiet)) {
    if (!regex_->ok()) throw std::runtime_error("RE2 does not know " + pattern);
  }

  /// The first match from a place on; of its groups, those before `count`, for which it takes more
  /// time than for the match alone.
  std::optional<Groups> find(std::string_view text, std::size_t from, int count) const {
    std::array<re2::StringPiece, 3> found;
    if (!regex_->Match(re2::StringPiece(text.data(), text.size()),
                       from,
                       text.size(),
                       re2::RE2::UNANCHORED,
                       found.data(),
                       count)) {
      return std::nullopt;
    }
    Groups groups;
    for (std::size_t i = 0; i < groups.size(); ++i) groups[i] = {found[i].data(), found[i].size()};
    return groups;
  }

 private:
  std::unique_ptr<re2::RE2> regex_;
};

template <auto release>
struct Release {
  template <class T>
  void operator()(T* resource) const {
    release(resource);
  }
};

class PCRE2Pattern {
 public:
  explicit PCRE2Pattern(const std::string& pattern) {
    const std::unique_ptr<pcre2_compile_context, Release<pcre2_compile_context_free>> context(
        pcre2_compile_context_create(nullptr));
    pcre2_set_newline(context.get(), PCRE2_NEWLINE_ANY);
    int error = 0;
    PCRE2_SIZE where = 0;
    code_.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()),
                              pattern.size(),
                              PCRE2_UTF | PCRE2_UCP,
                              &error,
                              &where,
                              context.get()));
    if (code_ == nullptr || pcre2_jit_compile(code_.get(), PCRE2_JIT_COMPLETE) != 0) {
      throw std::runtime_error("PCRE2 does not compile " + pattern);
    }
    match_.reset(pcre2_match_data_create_from_pattern(code_.get(), nullptr));
    constexpr std::size_t kLeastStack = 32 << 10;
    constexpr std::size_t kMostStack = 8 << 20;
    stack_.reset(pcre2_jit_stack_create(kLeastStack, kMostStack, nullptr));
    context_.reset(pcre2_match_context_create(nullptr));
    pcre2_jit_stack_assign(context_.get(), nullptr, stack_.get());
  }

  std::optional<Groups> find(std::string_view text, std::size_t from, int /*count*/) const {
    const int found = pcre2_jit_match(code_.get(),
                                      reinterpret_cast<PCRE2_SPTR>(text.data()),
                                      text.size(),
                                      from,
                                      PCRE2_NO_UTF_CHECK,
                                      match_.get(),
                                      context_.get());
    if (found == PCRE2_ERROR_NOMATCH) return std::nullopt;
    if (found < 0) throw std::runtime_error("PCRE2 gives up");
    const PCRE2_SIZE* const bounds = pcre2_get_ovector_pointer(match_.get());
    Groups groups;
    for (std::size_t i = 0; std::cmp_less(i, found); ++i) {
      groups[i] = text.substr(bounds[2 * i], bounds[2 * i + 1] - bounds[2 * i]);
    }
    return groups;
  }

 private:
  std::unique_ptr<pcre2_code, Release<pcre2_code_free>> code_;
  std::unique_ptr<pcre2_match_data, Release<pcre2_match_data_free>> match_;
  std::unique_ptr<pcre2_jit_stack, Release<pcre2_jit_stack_free>> stack_;
  std::unique_ptr<pcre2_match_context, Release<pcre2_match_context_free>> context_;
};

template <class Pattern>
std::vector<Pattern> compiled(std::span<const std::string_view> patterns) {
  std::vector<Pattern> made;
  for (const std::string_view pattern : patterns) made.emplace_back(std::string(pattern));
  return made;
}

template <class Pattern>
class LogReader {
 public:
  LogReader() {
    for (const std::string_view key : naive::kHyperparameterKeys) {
      hyperparameters_.emplace(key, naive::hyperparameterPattern(key));
    }
  }

  ParsedLogSignals read(std::string_view text) const {
    ParsedLogSignals signals{};
    signals.throughput = lastNumber(throughputPreferred_, text);
    if (!signals.throughput) signals.throughput = lastNumber(throughputFallback_, text);
    signals.loss = lastNumber(loss_, text);
    for (const auto& [key, pattern] : hyperparameters_) {
      if (std::optional<std::string> value = firstText(pattern, text)) {
        signals.hyperparameters.emplace(key, *std::move(value));
      }
    }
    signals.datasetName = firstText(dataset_, text);
    signals.modelName = firstText(model_, text);
    signals.checkpointPath = firstText(checkpoint_, text);
    signals.valMetrics = validationPoints(text);
    return signals;
  }

 private:
  using Patterns = std::vector<Pattern>;

  static std::size_t offsetOf(std::string_view part, std::string_view text) {
    return static_cast<std::size_t>(part.data() - text.data());
  }

  static std::optional<double> lastNumber(const Patterns& patterns, std::string_view text) {
    for (const Pattern& pattern : patterns) {
      std::optional<std::size_t> last;
      std::size_t from = 0;
      while (const auto match = pattern.find(text, from, 1)) {
        last = offsetOf((*match)[0], text);
        from = *last + (*match)[0].size();
      }
      if (!last) continue;
      const auto match = pattern.find(text, *last, 2);
      if (const auto number = readFloat((*match)[1])) return number;
    }
    return std::nullopt;
  }

  static std::optional<std::string> firstText(const Pattern& pattern, std::string_view text) {
    const auto match = pattern.find(text, 0, 2);
    if (!match) return std::nullopt;
    const std::string_view found = trimmed((*match)[1]);
    return found.empty() ? std::nullopt : std::optional(std::string(found));
  }

  static std::optional<std::string> firstText(const Patterns& patterns, std::string_view text) {
    for (const Pattern& pattern : patterns) {
      if (std::optional<std::string> found = firstText(pattern, text)) return found;
    }
    return std::nullopt;
  }

  std::vector<TrainingMetric> validationPoints(std::string_view text) const {
    std::vector<TrainingMetric> points;
    std::unordered_set<std::int64_t> known;
    for (std::size_t i = 0; i < validation_.size(); ++i) {
      std::size_t from = 0;
      while (const auto match = validation_[i].find(text, from, 3)) {
        from = offsetOf((*match)[0], text) + (*match)[0].size();
        const auto step = readInteger((*match)[i == 0 ? 1 : 2]);
        const auto loss = readFloat((*match)[i == 0 ? 2 : 1]);
        if (step && loss && known.insert(*step).second) {
          points.push_back({*step, Timestamp{}, *loss, 0, 0, 0});
        }
      }
    }
    constexpr std::ptrdiff_t kMostPoints = 64;
    const auto count = static_cast<std::ptrdiff_t>(points.size());
    if (count > kMostPoints) points.erase(points.begin(), points.end() - kMostPoints);
    return points;
  }

  Patterns throughputPreferred_ = compiled<Pattern>(naive::kThroughputPreferredPatterns);
  Patterns throughputFallback_ = compiled<Pattern>(naive::kThroughputFallbackPatterns);
  Patterns loss_ = compiled<Pattern>(naive::kLossPatterns);
  Patterns dataset_ = compiled<Pattern>(naive::kDatasetPatterns);
  Patterns model_ = compiled<Pattern>(naive::kModelPatterns);
  Patterns checkpoint_ = compiled<Pattern>(naive::kCheckpointPatterns);
  Patterns validation_ = compiled<Pattern>(naive::kValidationPatterns);
  std::map<std::string, Pattern> hyperparameters_;
};

}  // namespace

ParsedLogSignals parseWithRE2(std::string_view text) {
  static const LogReader<RE2Pattern> reader;
  return reader.read(text);
}

ParsedLogSignals parseWithPCRE2(std::string_view text) {
  static const LogReader<PCRE2Pattern> reader;
  return reader.read(text);
}

}  // namespace tavrine::benchmarks
