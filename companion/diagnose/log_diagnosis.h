// The diagnosis of one recorder log.
#pragma once

#include <TavrineShared/recorder/diagnosis_evidence.h>
#include <TavrineShared/recorder/recorder_records.h>

#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// Which points of a log count as recent: those of the last `seconds` before the newest, and in any
/// case the newest `atLeast`.
struct RecentSpan {
  double seconds;
  std::size_t atLeast;

  /// Long enough for a few samples of any recorder, short enough to tell how it is now.
  static RecentSpan usual() { return {15 * 60, 10}; }
  static RecentSpan everything() { return {std::numeric_limits<double>::infinity(), 0}; }
};

/// Of points by time.
std::span<const RecorderLogPoint> recentPoints(std::span<const RecorderLogPoint> points,
                                               const RecentSpan& span);

struct LogDiagnosis {
  std::string name;                        ///< of the log, as the user gave it
  std::vector<RecorderLogPoint> points;    ///< all, by time, unless forgotten
  std::size_t pointCount;                  ///< of all, forgotten or not
  std::size_t recentCount;                 ///< how many of the newest are the recent ones
  std::optional<RecorderLogPoint> latest;  ///< the newest periodic sample
  std::size_t droppedLines;                ///< lines that gave no point
  DiagnosisEvidence evidence;
  std::string likelyContent;  ///< what the log may be instead, where it has no points

  std::span<const RecorderLogPoint> recent() const { return std::span(points).last(recentCount); }
  /// Keeps what the points came to. Those of many long logs at once would fill the memory.
  void forgetPoints();
};

LogDiagnosis diagnoseLog(std::string name, std::string_view text, const RecentSpan& span);

/// The worst first: idle GPUs, then what waits, then what nobody knows, then what works; among
/// equals the one whose newest sample shows less utilisation.
void sortWorstFirst(std::vector<LogDiagnosis>& diagnoses);

}  // namespace tavrine
