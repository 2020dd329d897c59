#include "tests/support/naive_training_log_parser.h"

#include <unicode/locid.h>
#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/naive_text.h"
#include "tests/support/training_log_patterns.h"

namespace tavrine::naive {
namespace {

class Regex {
 public:
  explicit Regex(const std::string& pattern) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError where{};
    pattern_.reset(
        icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(pattern), where, status));
    if (U_FAILURE(status) != 0) std::abort();
  }

  using Groups = std::vector<std::optional<icu::UnicodeString>>;

  /// The groups of every match, the whole match being group 0; of the first match only, if wanted.
  std::vector<Groups> matches(const icu::UnicodeString& text, bool firstOnly = false) const {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::RegexMatcher> matcher(pattern_->matcher(text, status));
    matcher->setStackLimit(0, status);
    std::vector<Groups> found;
    while (matcher->find(status) != 0) {
      Groups groups;
      for (std::int32_t i = 0; i <= matcher->groupCount(); ++i) {
        if (matcher->start(i, status) < 0) {
          groups.emplace_back(std::nullopt);
        } else {
          groups.emplace_back(matcher->group(i, status));
        }
      }
      found.push_back(std::move(groups));
      if (firstOnly) break;
    }
    if (U_FAILURE(status) != 0) std::abort();
    return found;
  }

 private:
  std::unique_ptr<icu::RegexPattern> pattern_;
};

using Regexes = std::vector<Regex>;

Regexes compiled(std::span<const std::string_view> patterns) {
  Regexes regexes;
  for (const std::string_view pattern : patterns) regexes.emplace_back(std::string(pattern));
  return regexes;
}

struct Tables {
  Regexes throughputPreferred = compiled(kThroughputPreferredPatterns);
  Regexes throughputFallback = compiled(kThroughputFallbackPatterns);
  Regexes loss = compiled(kLossPatterns);
  Regexes dataset = compiled(kDatasetPatterns);
  Regexes model = compiled(kModelPatterns);
  Regexes checkpoint = compiled(kCheckpointPatterns);
  Regexes validation = compiled(kValidationPatterns);
  std::map<std::string, Regex> hyperparameters;

  Tables() {
    for (const std::string_view key : kHyperparameterKeys) {
      hyperparameters.emplace(key, hyperparameterPattern(key));
    }
  }
};

const Tables& tables() {
  static const Tables compiledOnce;
  return compiledOnce;
}

std::u32string charactersOf(const icu::UnicodeString& text) {
  std::string bytes;
  text.toUTF8String(bytes);
  return decodedUTF8(bytes);
}

std::optional<double> lastCapture(const Regexes& regexes, const icu::UnicodeString& text) {
  for (const Regex& regex : regexes) {
    const std::vector<Regex::Groups> matches = regex.matches(text);
    if (matches.empty()) continue;
    const Regex::Groups& last = matches.back();
    if (last.size() < 2 || !last[1]) continue;
    if (const std::optional<double> number = readFloat(charactersOf(*last[1]))) return number;
  }
  return std::nullopt;
}

std::optional<std::string> trimmedGroup(const std::vector<Regex::Groups>& matches) {
  if (matches.empty() || matches[0].size() < 2 || !matches[0][1]) return std::nullopt;
  const std::string text = encodedUTF8(trimmed(charactersOf(*matches[0][1])));
  if (text.empty()) return std::nullopt;
  return text;
}

std::optional<std::string> firstStringCapture(const Regexes& regexes,
                                              const icu::UnicodeString& text) {
  for (const Regex& regex : regexes) {
    if (std::optional<std::string> found = trimmedGroup(regex.matches(text, true))) return found;
  }
  return std::nullopt;
}

std::vector<TrainingMetric> extractValMetrics(const icu::UnicodeString& text, Timestamp now) {
  std::vector<std::pair<std::int64_t, double>> candidates;
  for (std::size_t i = 0; i < 2; ++i) {
    for (const Regex::Groups& groups : tables().validation[i].matches(text)) {
      if (groups.size() < 3 || !groups[1] || !groups[2]) continue;
      const std::optional<std::int64_t> step = readInteger(charactersOf(*groups[i == 0 ? 1 : 2]));
      const std::optional<double> value = readFloat(charactersOf(*groups[i == 0 ? 2 : 1]));
      if (step && value) candidates.emplace_back(*step, *value);
    }
  }
  std::map<std::int64_t, double> valueOf;
  std::vector<std::int64_t> steps;
  for (const auto& [step, value] : candidates) {
    if (valueOf.emplace(step, value).second) steps.push_back(step);
  }
  while (steps.size() > 64) steps.erase(steps.begin());
  std::vector<TrainingMetric> metrics;
  for (const std::int64_t step : steps) metrics.push_back({step, now, valueOf.at(step), 0, 0, 0});
  return metrics;
}

}  // namespace

ParsedLogSignals parseTrainingLog(std::string_view text, Timestamp now) {
  const icu::UnicodeString characters = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
  icu::UnicodeString lowered = characters;
  lowered.toLower(icu::Locale::getRoot());
  const auto contains = [&lowered](const char* word) { return lowered.indexOf(word) >= 0; };

  ParsedLogSignals signals{};
  signals.status = trimmed(decodedUTF8(text)).empty() ? RunStatus::idle : RunStatus::running;
  if (contains("cuda out of memory") || contains("out of memory")) {
    signals.warnings.emplace_back("CUDA out-of-memory pattern detected");
    signals.status = RunStatus::failed;
  }
  if (contains("traceback") || contains("exception")) {
    signals.warnings.emplace_back("Exception or traceback detected");
    signals.status = RunStatus::failed;
  }
  if (contains("nan")) {
    signals.warnings.emplace_back("NaN pattern detected");
    if (signals.status != RunStatus::failed) signals.status = RunStatus::stalled;
  }
  if (contains("nccl") && contains("error")) {
    signals.warnings.emplace_back("NCCL error pattern detected");
    signals.status = RunStatus::failed;
  }
  signals.throughput = lastCapture(tables().throughputPreferred, characters);
  if (!signals.throughput) {
    signals.throughput = lastCapture(tables().throughputFallback, characters);
  }
  signals.loss = lastCapture(tables().loss, characters);
  for (const auto& [name, regex] : tables().hyperparameters) {
    if (std::optional<std::string> value = trimmedGroup(regex.matches(characters, true))) {
      signals.hyperparameters[name] = *value;
    }
  }
  signals.datasetName = firstStringCapture(tables().dataset, characters);
  signals.modelName = firstStringCapture(tables().model, characters);
  signals.checkpointPath = firstStringCapture(tables().checkpoint, characters);
  signals.valMetrics = extractValMetrics(characters, now);
  return signals;
}

bool areSameBits(const ParsedLogSignals& a, const ParsedLogSignals& b) {
  const bool haveSamePoints = std::equal(a.valMetrics.begin(),
                                         a.valMetrics.end(),
                                         b.valMetrics.begin(),
                                         b.valMetrics.end(),
                                         [](const TrainingMetric& p, const TrainingMetric& q) {
                                           return p == q && areSameBits(p.loss, q.loss) &&
                                                  areSameBits(p.throughput, q.throughput) &&
                                                  areSameBits(p.flopsTFLOPs, q.flopsTFLOPs) &&
                                                  areSameBits(p.gpuUtilization, q.gpuUtilization);
                                         });
  return haveSamePoints && areSameBits(a.loss, b.loss) && areSameBits(a.throughput, b.throughput) &&
         a.status == b.status && a.warnings == b.warnings &&
         a.hyperparameters == b.hyperparameters && a.datasetName == b.datasetName &&
         a.modelName == b.modelName && a.checkpointPath == b.checkpointPath;
}

}  // namespace tavrine::naive
