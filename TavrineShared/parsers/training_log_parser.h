// The text of a training job's log, or any tail of it, becomes the signals that are shown for the
// run: its latest loss and throughput, whether it seems to have failed, what it trains with, and
// its validation losses.
//
// Nothing fails: what the log does not say is absent. Logs of any framework are read by regular
// expressions that are applied to the whole text, so a value may stand anywhere, and a blank in
// them may be a line break. Any bytes are a log; an ill-formed part of UTF-8 is read as U+FFFD. The
// time taken is linear in the text, also on lines made to be slow.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/record.h>
#include <TavrineShared/model/status.h>
#include <TavrineShared/model/training_run.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// What a log tells of its run.
struct ParsedLogSignals {
  std::optional<double> loss;         ///< the latest one; a validation loss counts
  std::optional<double> throughput;   ///< the latest, in iterations, steps or samples per second;
                                      ///< in tokens per second where there is no other
  RunStatus status;                   ///< idle for a blank log, else running, stalled or failed
  std::vector<std::string> warnings;  ///< fixed texts, each at most once
  std::map<std::string, std::string> hyperparameters;  ///< as they stand in the log
  std::optional<std::string> datasetName;              ///< a name or a path
  std::optional<std::string> modelName;
  std::optional<std::string> checkpointPath;  ///< a file or a directory
  /// Of validation: the last 64 of the different steps, each with the first loss it has. Those
  /// logged as step, then loss, come first. Their time is that of parsing; all else in them is 0.
  std::vector<TrainingMetric> valMetrics;

  bool operator==(const ParsedLogSignals&) const = default;
  static const RecordTable& table();
};

namespace TrainingLogParser {

/// The signals of `text`. With `findings`, tells where each value and the first sign of each
/// warning stands (`located`, which is no loss), and of every number that could not be read,
/// further losses of a step, steps before the last 64, and texts that were repaired. A line is one
/// as in text_rules.h.
ParsedLogSignals parse(std::string_view text, Findings* findings = nullptr);

namespace detail {
/// `parse` at a given time, reading the text in blocks of `blockSize` bytes, which makes no
/// difference. Of use by itself only to tests.
ParsedLogSignals parse(std::string_view text, Timestamp now, std::size_t blockSize,
                       Findings* findings = nullptr);
/// `parse` at a given time.
ParsedLogSignals parse(std::string_view text, Timestamp now, Findings* findings = nullptr);
}  // namespace detail

}  // namespace TrainingLogParser

}  // namespace tavrine
