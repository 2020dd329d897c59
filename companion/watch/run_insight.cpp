#include "companion/watch/run_insight.h"

#include "companion/diagnose/log_diagnosis.h"

#include <TavrineShared/recorder/recorder_line_parser.h>

#include <algorithm>
#include <cmath>

namespace tavrine {

namespace {

double busiestGPU(const TrainingRun& run, const AppSnapshot& snapshot) {
  std::optional<double> busiest;
  for (const ServerSummary& server : snapshot.servers) {
    if (server.name != run.serverName) continue;
    for (const GPUStat& gpu : server.gpus) {
      busiest = std::max(busiest.value_or(0), gpu.utilizationPercent);
    }
  }
  return busiest.value_or(run.gpuUtilization);
}

bool trainsOnServer(const TrainingRun& run, const AppSnapshot& snapshot) {
  return std::any_of(snapshot.processes.begin(),
                     snapshot.processes.end(),
                     [&run](const ProcessStat& process) {
                       return process.kind == ProcessKind::training &&
                              process.serverName == run.serverName;
                     });
}

std::optional<double> secondsSinceNewestStep(const TrainingRun& run, Timestamp now) {
  const auto newest = std::max_element(
      run.metrics.begin(),
      run.metrics.end(),
      [](const TrainingMetric& a, const TrainingMetric& b) { return a.timestamp < b.timestamp; });
  if (newest == run.metrics.end()) return std::nullopt;
  return (now - newest->timestamp).count();
}

bool isEarlier(const RecorderLogPoint& a, const RecorderLogPoint& b) { return a.t < b.t; }

}  // namespace

DashboardRunState dashboardState(const TrainingRun& run, const AppSnapshot& snapshot) {
  return DashboardRunState::derive(busiestGPU(run, snapshot),
                                   trainsOnServer(run, snapshot),
                                   secondsSinceNewestStep(run, snapshot.timestamp),
                                   run.status);
}

std::optional<RuntimeDiagnosis> diagnosisOf(const TrainingRun& run) {
  if (run.recorderPoints.empty()) return std::nullopt;
  std::vector<RecorderLogPoint> points = run.recorderPoints;
  std::stable_sort(points.begin(), points.end(), isEarlier);
  const auto recent = recentPoints(points, RecentSpan::usual());
  const RecorderLogPoint* const latest = RecorderLineParser::latestSnapshot(points);
  return RuntimeDiagnosis::derive(latest == nullptr ? std::nullopt : std::optional(*latest),
                                  recent);
}

std::optional<RuntimePhase> phaseOf(const TrainingRun& run) {
  if (!run.lastStackSample) return std::nullopt;
  return RuntimePhase::classify(*run.lastStackSample);
}

std::vector<std::optional<double>> stepValues(const std::vector<TrainingMetric>& steps,
                                              double TrainingMetric::*figure, std::size_t count) {
  std::vector<std::optional<double>> values;
  for (std::size_t i = steps.size() - std::min(count, steps.size()); i < steps.size(); ++i) {
    const double value = steps[i].*figure;
    values.push_back(std::isfinite(value) ? std::optional(value) : std::nullopt);
  }
  return values;
}

ValueRange rangeOf(const std::vector<std::optional<double>>& values) {
  std::optional<ValueRange> range;
  for (const std::optional<double>& value : values) {
    if (!value) continue;
    if (!range) range = {*value, *value};
    range = {std::min(range->lowest, *value), std::max(range->highest, *value)};
  }
  return range.value_or(ValueRange{0, 1});
}

}  // namespace tavrine
