#include "companion/diagnose/log_diagnosis.h"

#include <TavrineShared/recorder/recorder_line_parser.h>

#include <algorithm>
#include <array>
#include <utility>

namespace tavrine {

namespace {

constexpr auto kWorstFirst = std::to_array<RuntimeDiagnosis::Case>({
    RuntimeDiagnosis::dataloaderStall,
    RuntimeDiagnosis::communicationBound,
    RuntimeDiagnosis::memoryBound,
    RuntimeDiagnosis::unknown,
    RuntimeDiagnosis::mixed,
    RuntimeDiagnosis::computeBound,
});

std::pair<std::ptrdiff_t, double> goodness(const LogDiagnosis& diagnosis) {
  const auto* const place =
      std::find(kWorstFirst.begin(),
                kWorstFirst.end(),
                static_cast<RuntimeDiagnosis::Case>(diagnosis.evidence.verdict));
  const auto utilization = diagnosis.latest ? diagnosis.latest->gpuUtil : std::nullopt;
  return {place - kWorstFirst.begin(),
          utilization.value_or(std::numeric_limits<double>::infinity())};
}

}  // namespace

void LogDiagnosis::forgetPoints() {
  // An empty list of elements would leave the room that they had.
  points = std::vector<RecorderLogPoint>();
  recentCount = 0;
}

std::span<const RecorderLogPoint> recentPoints(std::span<const RecorderLogPoint> points,
                                               const RecentSpan& span) {
  if (points.empty()) return points;
  const Timestamp newest = points.back().t;
  const auto first =
      std::partition_point(points.begin(), points.end(), [&](const RecorderLogPoint& point) {
        return (newest - point.t).count() > span.seconds;
      });
  const auto count = static_cast<std::size_t>(points.end() - first);
  return points.last(std::max(count, std::min(span.atLeast, points.size())));
}

LogDiagnosis diagnoseLog(std::string name, std::string_view text, const RecentSpan& span) {
  Findings findings(0);
  LogDiagnosis diagnosis{};
  diagnosis.name = std::move(name);
  diagnosis.points = RecorderLineParser::parse(text, &findings);
  diagnosis.pointCount = diagnosis.points.size();
  diagnosis.droppedLines = findings.count(FindingOutcome::lineDropped);
  diagnosis.recentCount = recentPoints(diagnosis.points, span).size();
  const RecorderLogPoint* const latest = RecorderLineParser::latestSnapshot(diagnosis.points);
  if (latest != nullptr) diagnosis.latest = *latest;
  diagnosis.evidence = DiagnosisEvidence::of(diagnosis.latest, diagnosis.recent());
  return diagnosis;
}

void sortWorstFirst(std::vector<LogDiagnosis>& diagnoses) {
  std::stable_sort(
      diagnoses.begin(),
      diagnoses.end(),
      [](const LogDiagnosis& a, const LogDiagnosis& b) { return goodness(a) < goodness(b); });
}

}  // namespace tavrine
