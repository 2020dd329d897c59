#include <TavrineShared/parsers/training_log_parser.h>

#include <TavrineShared/foundation/byte_scan.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/parsers/text_rules.h>
#include <TavrineShared/parsers/training_log_sweep.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace tavrine {

const RecordTable& ParsedLogSignals::table() {
  using R = ParsedLogSignals;
  static constexpr auto fields = fieldsOf<R>(field<&R::loss>(),
                                             field<&R::throughput>(),
                                             field<&R::status>(),
                                             field<&R::warnings>(),
                                             field<&R::hyperparameters>(),
                                             field<&R::datasetName>(),
                                             field<&R::modelName>(),
                                             field<&R::checkpointPath>(),
                                             field<&R::valMetrics>());
  static constexpr RecordTable table{"ParsedLogSignals", fields};
  return table;
}

namespace TrainingLogParser {
namespace {

using training_log::LogSweep;
using training_log::Table;
using training_log::ValidationPoint;
using training_log::Word;

constexpr std::size_t kKeptPoints = 64;

/// What there is to tell, in any order, until it is told in the order of the text.
class Report {
 public:
  Report(std::string_view text, Findings* findings) : text_(text), findings_(findings) {}

  bool isWanted() const { return findings_ != nullptr; }

  /// About the bytes [begin, end) of the text.
  void note(FindingOutcome outcome, std::size_t begin, std::size_t end, std::string path,
            std::string reason) {
    if (!isWanted()) return;
    notes_.push_back({outcome, begin, end, std::move(path), std::move(reason)});
  }

  void tell() {
    if (!isWanted()) return;
    std::stable_sort(notes_.begin(), notes_.end(), [](const Note& a, const Note& b) {
      return a.begin < b.begin;
    });
    for (Note& note : notes_) {
      findings_->add(note.outcome, [&] {
        goTo(note.begin);
        Finding finding{};
        finding.line = line_;
        finding.column = column_;
        finding.path = std::move(note.path);
        finding.found = excerpt(text_.substr(note.begin, note.end - note.begin));
        finding.reason = std::move(note.reason);
        return finding;
      });
    }
  }

 private:
  struct Note {
    FindingOutcome outcome;
    std::size_t begin;
    std::size_t end;
    std::string path;
    std::string reason;
  };

  // Forward only, so that all notes together cost one pass.
  void goTo(std::size_t offset) {
    const char* const end = text_.data() + text_.size();
    while (true) {
      const char* const lineBreak = byte_scan::findLineBreak(text_.data() + at_, end);
      const auto stop = static_cast<std::size_t>(lineBreak - text_.data());
      if (stop >= offset) break;
      at_ = stop + static_cast<std::size_t>(byte_scan::lineBreakLength(lineBreak, end));
      ++line_;
      column_ = 1;
    }
    while (at_ < offset) {
      const std::string_view rest = text_.substr(at_);
      const std::size_t length = wellFormedSequenceLength(rest);
      at_ += length == 0 ? illFormedPartLength(rest) : length;
      ++column_;
    }
  }

  std::string_view text_;
  Findings* findings_;
  std::vector<Note> notes_;
  std::size_t at_ = 0;
  std::int64_t line_ = 1;
  std::int64_t column_ = 1;
};

class Reader {
 public:
  Reader(std::string_view text, std::size_t blockSize, Findings* findings)
      : text_(text), sweep_(text, blockSize), report_(text, findings) {}

  ParsedLogSignals read(Timestamp now) {
    ParsedLogSignals signals{
        .loss = {},
        .throughput = {},
        .status = trimmed(text_).empty() ? RunStatus::idle : RunStatus::running,
        .warnings = {},
        .hyperparameters = {},
        .datasetName = {},
        .modelName = {},
        .checkpointPath = {},
        .valMetrics = {},
    };
    readWords(signals);
    signals.throughput = lastNumber(Table::throughputPreferred, "throughput");
    if (!signals.throughput) {
      signals.throughput = lastNumber(Table::throughputFallback, "throughput");
    }
    signals.loss = lastNumber(Table::loss, "loss");
    readHyperparameters(signals);
    signals.datasetName = firstText(Table::dataset, "datasetName");
    signals.modelName = firstText(Table::model, "modelName");
    signals.checkpointPath = firstText(Table::checkpoint, "checkpointPath");
    signals.valMetrics = validation(now);
    report_.tell();
    return signals;
  }

 private:
  using Place = std::optional<std::size_t>;
  struct Point {
    std::int64_t step;
    double value;
    std::size_t order;  // among all pairs of step and value
  };

  std::string_view group(const WindowMatch& match) const {
    return text_.substr(match.groupBegin, match.groupEnd - match.groupBegin);
  }

  std::string_view numberText(const training_log::NumberMatch& match) const {
    return text_.substr(match.numberBegin, match.end - match.numberBegin);
  }

  void noteGroup(FindingOutcome outcome, const WindowMatch& match, std::string path,
                 std::string reason) {
    report_.note(outcome, match.groupBegin, match.groupEnd, std::move(path), std::move(reason));
  }

  void readWords(ParsedLogSignals& signals) {
    const Place outOfMemory = sweep_.firstPlaceOf(Word::outOfMemory);
    const Place traceback = sweep_.firstPlaceOf(Word::traceback);
    const Place exception = sweep_.firstPlaceOf(Word::exception);
    const Place nan = sweep_.firstPlaceOf(Word::nan);
    const Place nccl = sweep_.firstPlaceOf(Word::nccl);
    // "cuda out of memory" needs no look of its own.
    if (outOfMemory) {
      warn(signals, *outOfMemory, "CUDA out-of-memory pattern detected");
      signals.status = RunStatus::failed;
    }
    if (traceback || exception) {
      const std::size_t first =
          std::min(traceback.value_or(text_.size()), exception.value_or(text_.size()));
      warn(signals, first, "Exception or traceback detected");
      signals.status = RunStatus::failed;
    }
    if (nan) {
      warn(signals, *nan, "NaN pattern detected");
      if (signals.status != RunStatus::failed) signals.status = RunStatus::stalled;
    }
    if (nccl && sweep_.firstPlaceOf(Word::error)) {
      warn(signals, *nccl, "NCCL error pattern detected");
      signals.status = RunStatus::failed;
    }
  }

  void warn(ParsedLogSignals& signals, std::size_t place, std::string_view warning) {
    if (report_.isWanted()) {
      const char* const end = text_.data() + text_.size();
      const char* const lineEnd = byte_scan::findLineBreak(text_.data() + place, end);
      report_.note(FindingOutcome::located,
                   place,
                   static_cast<std::size_t>(lineEnd - text_.data()),
                   "warnings[" + std::to_string(signals.warnings.size()) + "]",
                   std::string(warning));
    }
    signals.warnings.emplace_back(warning);
  }

  /// Of the last match of each pattern in turn, the first that reads as a number.
  std::optional<double> lastNumber(Table table, const char* path) {
    const training_log::RuleRange range = training_log::rulesOf(table);
    for (std::size_t rule = range.begin; rule < range.end; ++rule) {
      const std::optional<WindowMatch>& match = sweep_.capture(rule);
      if (!match) continue;
      const std::optional<double> number = readFloat(group(*match));
      if (number) {
        noteGroup(FindingOutcome::located, *match, path, "the latest value");
        return number;
      }
      noteGroup(FindingOutcome::readAsAbsent, *match, path, "beyond the range of numbers");
    }
    return std::nullopt;
  }

  std::optional<std::string> firstText(Table table, const char* path) {
    const training_log::RuleRange range = training_log::rulesOf(table);
    for (std::size_t rule = range.begin; rule < range.end; ++rule) {
      if (const std::optional<WindowMatch>& match = sweep_.capture(rule)) {
        return capturedText(*match, path);
      }
    }
    return std::nullopt;
  }

  /// Never empty and without blanks at its ends, since every group asks for at least one character
  /// and takes none that is white space.
  std::string capturedText(const WindowMatch& match, std::string path) {
    const std::string_view captured = group(match);
    if (report_.isWanted()) {
      if (!isWellFormedUTF8(captured)) {
        noteGroup(FindingOutcome::repaired, match, path, "ill-formed UTF-8");
      }
      noteGroup(FindingOutcome::located, match, std::move(path), "the first mention");
    }
    return repairedUTF8(captured);
  }

  void readHyperparameters(ParsedLogSignals& signals) {
    const std::size_t firstRule = training_log::rulesOf(Table::hyperparameters).begin;
    for (std::size_t i = 0; i < training_log::kHyperparameters.size(); ++i) {
      const std::optional<WindowMatch>& match = sweep_.capture(firstRule + i);
      if (!match) continue;
      const std::string key(training_log::kHyperparameters[i]);
      signals.hyperparameters.emplace(key, capturedText(*match, "hyperparameters." + key));
    }
  }

  std::vector<TrainingMetric> validation(Timestamp now) {
    std::vector<Point> points = firstOfEachStep(readPoints());
    if (points.size() > kKeptPoints) {
      const std::size_t surplus = points.size() - kKeptPoints;
      notePoint(FindingOutcome::ignored,
                points.front().order,
                "valMetrics",
                "the first of " + std::to_string(surplus) + " steps before the last 64");
      points.erase(points.begin(), points.begin() + static_cast<std::ptrdiff_t>(surplus));
    }
    std::vector<TrainingMetric> metrics;
    metrics.reserve(points.size());
    for (const Point& point : points) {
      if (report_.isWanted()) {
        notePoint(FindingOutcome::located,
                  point.order,
                  "valMetrics[" + std::to_string(metrics.size()) + "]",
                  "a step and its validation loss");
      }
      metrics.push_back({.step = point.step,
                         .timestamp = now,
                         .loss = point.value,
                         .throughput = 0,
                         .flopsTFLOPs = 0,
                         .gpuUtilization = 0});
    }
    return metrics;
  }

  std::vector<Point> readPoints() {
    const std::size_t count = sweep_.validationPointCount();
    std::vector<Point> points;
    points.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      const ValidationPoint found = sweep_.validationPoint(i);
      const std::optional<std::int64_t> step = readInteger(numberText(found.step));
      const std::optional<double> value = readFloat(numberText(found.value));
      if (step && value) {
        points.push_back({*step, *value, i});
      } else {
        notePoint(FindingOutcome::elementDropped,
                  i,
                  "valMetrics",
                  step ? "the loss is beyond the range of numbers" : "the step is beyond 64 bits");
      }
    }
    return points;
  }

  /// Without the later points of a step, and otherwise as they were. By sorting, since a table of
  /// steps could be made slow by steps that were chosen for it.
  std::vector<Point> firstOfEachStep(std::vector<Point> points) {
    const auto isBefore = [](const Point& a, const Point& b) {
      return std::pair(a.step, a.order) < std::pair(b.step, b.order);
    };
    const auto isInOrder = [](const Point& a, const Point& b) { return a.step >= b.step; };
    if (std::adjacent_find(points.begin(), points.end(), isInOrder) == points.end()) return points;

    std::sort(points.begin(), points.end(), isBefore);
    std::vector<Point> firsts;
    for (const Point& point : points) {
      if (firsts.empty() || firsts.back().step != point.step) {
        firsts.push_back(point);
      } else {
        notePoint(FindingOutcome::ignored,
                  point.order,
                  "valMetrics",
                  "the step has a loss already");
      }
    }
    std::sort(firsts.begin(), firsts.end(), [](const Point& a, const Point& b) {
      return a.order < b.order;
    });
    return firsts;
  }

  void notePoint(FindingOutcome outcome, std::size_t order, std::string path, std::string reason) {
    if (!report_.isWanted()) return;
    const auto [step, value] = sweep_.validationPoint(order);
    report_.note(outcome,
                 std::min(step.begin, value.begin),
                 std::max(step.end, value.end),
                 std::move(path),
                 std::move(reason));
  }

  std::string_view text_;
  LogSweep sweep_;
  Report report_;
};

}  // namespace

ParsedLogSignals parse(std::string_view text, Findings* findings) {
  return detail::parse(text, currentTime(), findings);
}

ParsedLogSignals detail::parse(std::string_view text, Timestamp now, Findings* findings) {
  return parse(text, now, LogSweep::kBlockSize, findings);
}

ParsedLogSignals detail::parse(std::string_view text, Timestamp now, std::size_t blockSize,
                               Findings* findings) {
  return Reader(text, blockSize, findings).read(now);
}

}  // namespace TrainingLogParser

}  // namespace tavrine
