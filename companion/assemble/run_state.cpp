#include "companion/assemble/run_state.h"

#include "companion/assemble/framework.h"
#include "companion/assemble/previous_snapshot.h"
#include "companion/assemble/run_logs.h"
#include "companion/assemble/thresholds.h"
#include "companion/shell/encodable.h"
#include "companion/views/gpu_sums.h"
#include "companion/views/quantity_text.h"
#include "companion/views/text_lines.h"

#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/stable_id.h>
#include <TavrineShared/parsers/training_log_parser.h>
#include <TavrineShared/recorder/dashboard_run_state.h>
#include <TavrineShared/recorder/recorder_line_parser.h>
#include <TavrineShared/recorder/runtime_diagnosis.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tavrine {

namespace {

constexpr double kFreshSampleSeconds = 300;
constexpr double kLongSilenceSeconds = 3600;
constexpr std::size_t kRecentPoints = 60;
constexpr std::size_t kMetricsKept = 96;

double secondsBetween(Timestamp earlier, Timestamp later) { return (later - earlier).count(); }

// The last lines of a log, but not more than fit on a screen.
std::string tailOf(std::string_view log) {
  constexpr std::size_t kMostLines = 20;
  constexpr std::size_t kMostBytes = 4096;
  while (log.ends_with('\n') || log.ends_with('\r')) log.remove_suffix(1);
  // An empty line that it begins with is not worth one of them.
  if (log.starts_with('\n')) log.remove_prefix(1);
  return repairedUTF8(lastLines(log, kMostLines, kMostBytes));
}

double maxUtilization(const std::vector<GPUStat>& gpus) {
  double most = 0;
  for (const GPUStat& gpu : gpus) most = std::max(most, gpu.utilizationPercent);
  return most;
}

bool isHot(const GPUStat& gpu) { return gpu.temperatureC >= thresholds::kHotGPUC; }
bool isFull(const GPUStat& gpu) { return gpu.memoryFraction() >= thresholds::kFullGPUMemory; }

bool trains(const ProcessStat& process) { return process.kind == ProcessKind::training; }

double trainingMemoryMB(const std::vector<ProcessStat>& processes) {
  double sum = 0;
  for (const ProcessStat& process : processes) {
    if (trains(process)) sum += process.gpuMemoryMB.value_or(0);
  }
  return sum;
}

UUID runID(const std::string& server, const std::string& run) {
  // No name holds a line feed, so no two runs have the same text.
  return StableID::uuid("run:" + server + "\n" + run);
}

class RunReader {
 public:
  RunReader(const RunLogs& logs, const ServerState& server, const TrainingRun* previous,
            FindingsBook& book)
      : logs_(logs), server_(server), previous_(previous), book_(book) {}

  TrainingRun read() {
    readLogs();
    TrainingRun run{};
    run.id = runID(server_.name, logs_.name);
    run.name = repairedUTF8(logs_.name);
    run.serverName = server_.name;
    fillFromLog(run);
    run.status = status();
    run.health = health(run.status);
    fillFromRecorder(run);
    fillFigures(run);
    run.framework = framework(run);
    run.startedAt = startedAt();
    run.metrics = metrics(run);
    return run;
  }

 private:
  Findings& opened(std::string_view file) {
    return book_.open(server_.name + "/" + std::string(kRunsFolder) + "/" + logs_.name + "/" +
                      std::string(file));
  }

  void readLogs() {
    if (logs_.training != nullptr) {
      Findings& findings = opened(kTrainingLogFile);
      signals_ = TrainingLogParser::detail::parse(*logs_.training, server_.takenAt, &findings);
      keepEncodable(signals_.valMetrics, "valMetrics", findings);
    } else {
      signals_.status = RunStatus::idle;
    }
    if (logs_.recorder != nullptr) {
      Findings& findings = opened(kRecorderLogFile);
      points_ = RecorderLineParser::parse(*logs_.recorder, &findings);
      keepEncodable(points_, "points", findings);
      sample_ = RecorderLineParser::latestSnapshot(points_);
    }
  }

  std::optional<double> logAge() const {
    if (logs_.places != nullptr && logs_.places->logAgeSeconds) return logs_.places->logAgeSeconds;
    if (points_.empty()) return std::nullopt;
    return secondsBetween(points_.back().t, server_.takenAt);
  }

  bool hasFreshSample() const {
    return sample_ != nullptr && secondsBetween(sample_->t, server_.takenAt) <= kFreshSampleSeconds;
  }

  RunStatus status() const {
    if (signals_.status == RunStatus::failed) return RunStatus::failed;
    const std::optional<double> age = logAge();
    const bool isOld = age && *age > kLongSilenceSeconds && !hasFreshSample();
    const bool hasProcess =
        !isOld && (hasFreshSample() ||
                   std::any_of(server_.processes.begin(), server_.processes.end(), trains));
    const double utilization = isOld ? 0
                               : hasFreshSample() && sample_->gpuUtil
                                   ? *sample_->gpuUtil
                                   : maxUtilization(server_.gpus);
    // A log that says nothing says nothing of its run's status either.
    const auto said =
        signals_.status == RunStatus::idle ? std::nullopt : std::optional(signals_.status);
    switch (DashboardRunState::derive(utilization, hasProcess, age, isOld ? std::nullopt : said)) {
      case DashboardRunState::alive:
      case DashboardRunState::warmingUp:
        return signals_.loss || logs_.training == nullptr ? RunStatus::running
                                                          : RunStatus::warmingUp;
      case DashboardRunState::stalled:
        return RunStatus::stalled;
      case DashboardRunState::idle:
        break;
    }
    return signals_.status == RunStatus::idle ? RunStatus::idle : RunStatus::completed;
  }

  RunHealth health(RunStatus status) const {
    const std::vector<GPUStat>& gpus = server_.gpus;
    if (status == RunStatus::failed) return RunHealth::failed;
    if (status == RunStatus::stalled) return RunHealth::stalled;
    if (!status.isActive()) return RunHealth::unknown;
    if (std::any_of(gpus.begin(), gpus.end(), isHot)) return RunHealth::overheating;
    if (std::any_of(gpus.begin(), gpus.end(), isFull)) return RunHealth::memoryRisk;
    if (!signals_.warnings.empty() || isStarved()) return RunHealth::degraded;
    return status == RunStatus::warmingUp ? RunHealth::warmingUp : RunHealth::healthy;
  }

  // An old sample says nothing of how it is now.
  bool isStarved() const {
    return hasFreshSample() &&
           RuntimeDiagnosis::derive(*sample_, recentPoints()) == RuntimeDiagnosis::dataloaderStall;
  }

  std::span<const RecorderLogPoint> recentPoints() const {
    return std::span(points_).last(std::min(points_.size(), kRecentPoints));
  }

  void fillFromLog(TrainingRun& run) const {
    run.currentLoss = signals_.loss;
    run.throughput = signals_.throughput.value_or(0);
    run.logTail = logs_.training != nullptr ? tailOf(*logs_.training) : "";
    run.hyperparameters = signals_.hyperparameters;
    run.datasetName = signals_.datasetName;
    run.modelName = signals_.modelName;
    run.checkpointPath = signals_.checkpointPath;
    run.valMetrics = signals_.valMetrics;
  }

  void fillFromRecorder(TrainingRun& run) const {
    if (logs_.places != nullptr) run.recorderLogPath = logs_.places->recorderPath;
    if (points_.empty()) return;
    run.lastRecorderPointAt = points_.back().t;
    run.recorderPoints.assign(recentPoints().begin(), recentPoints().end());
    const StackFrame* const stack = RecorderLineParser::latestStack(points_);
    if (stack != nullptr) run.lastStackSample = *stack;
    if (sample_ == nullptr || !sample_->dcgm) return;
    run.dcgmTFLOPsAchieved = sample_->dcgm->tflopsAchieved;
    run.dcgmTFLOPsPeak = sample_->dcgm->tflopsPeak;
    run.dcgmTensorActive = sample_->dcgm->tensorActive;
    run.dcgmFP32Active = sample_->dcgm->fp32Active;
    run.dcgmDRAMActive = sample_->dcgm->dramActive;
    run.flopsTFLOPs = sample_->dcgm->tflopsAchieved.value_or(0);
  }

  void fillFigures(TrainingRun& run) const {
    const bool holdsGPUs = run.status.isActive();
    const std::vector<GPUStat>& gpus = server_.gpus;
    const double utilization = meanOver(gpus, &GPUStat::utilizationPercent).value_or(0);
    const double power = sumOver(gpus, &GPUStat::powerDrawW);
    // What a recorder saw long ago is not what the run does now.
    const bool isSampled = hasFreshSample();
    const auto sampled = [&](std::optional<double> RecorderLogPoint::*figure, double otherwise) {
      return isSampled ? (sample_->*figure).value_or(otherwise) : otherwise;
    };
    run.gpuUtilization = sampled(&RecorderLogPoint::gpuUtil, holdsGPUs ? utilization : 0);
    run.powerDrawW = sampled(&RecorderLogPoint::powerW, holdsGPUs ? power : 0);
    run.vramUsedGB = gibibytesIn(
        sampled(&RecorderLogPoint::vramMB, holdsGPUs ? trainingMemoryMB(server_.processes) : 0));
    run.vramTotalGB = gibibytesIn(sumOver(gpus, &GPUStat::memoryTotalMB));
  }

  std::string framework(const TrainingRun& run) const {
    std::string words = run.logTail;
    const auto newest =
        std::find_if(points_.rbegin(), points_.rend(), [](const RecorderLogPoint& point) {
          return point.cmdline.has_value();
        });
    if (newest != points_.rend()) words += "\n" + *newest->cmdline;
    if (run.lastStackSample) {
      for (const std::string& frame : run.lastStackSample->frames) words += "\n" + frame;
    }
    const std::string found = frameworkIn(words);
    // Once known, it stays known: the words may have left the end of the log.
    return found == "unknown" && previous_ != nullptr ? previous_->framework : found;
  }

  Timestamp startedAt() const {
    Timestamp earliest = server_.takenAt;
    if (!points_.empty()) earliest = std::min(earliest, points_.front().t);
    if (previous_ != nullptr) earliest = std::min(earliest, previous_->startedAt);
    return earliest;
  }

  // A log tells its latest figures only; their course is what earlier snapshots have seen. Its
  // steps are not known either, but where validation names them: otherwise they count the
  // snapshots.
  std::vector<TrainingMetric> metrics(const TrainingRun& run) const {
    std::vector<TrainingMetric> metrics;
    if (previous_ != nullptr) metrics = previous_->metrics;
    const bool isNew = metrics.empty() || metrics.back().timestamp < server_.takenAt;
    if (run.currentLoss && isNew) {
      std::int64_t step = metrics.empty() ? 0 : metrics.back().step;
      if (step < std::numeric_limits<std::int64_t>::max()) ++step;
      for (const TrainingMetric& each : run.valMetrics) step = std::max(step, each.step);
      metrics.push_back({.step = step,
                         .timestamp = server_.takenAt,
                         .loss = *run.currentLoss,
                         .throughput = run.throughput,
                         .flopsTFLOPs = run.flopsTFLOPs,
                         .gpuUtilization = run.gpuUtilization});
    }
    if (metrics.size() > kMetricsKept) {
      metrics.erase(metrics.begin(), metrics.end() - static_cast<std::ptrdiff_t>(kMetricsKept));
    }
    return metrics;
  }

  const RunLogs& logs_;
  const ServerState& server_;
  const TrainingRun* previous_;
  FindingsBook& book_;
  ParsedLogSignals signals_{};
  std::vector<RecorderLogPoint> points_;
  const RecorderLogPoint* sample_ = nullptr;  // the newest periodic one
};

}  // namespace

std::vector<TrainingRun> readRuns(const Capture& capture, const ServerState& server,
                                  const AppSnapshot* previous, FindingsBook& book) {
  std::vector<TrainingRun> runs;
  for (const RunLogs& logs : runLogsOf(capture)) {
    const TrainingRun* const before = previousRun(previous, runID(server.name, logs.name));
    runs.push_back(RunReader(logs, server, before, book).read());
  }
  keepEncodable(runs, "runs", book.open(server.name + "/" + std::string(kRunsFolder)));
  return runs;
}

std::vector<TrainingRun> runsLastSeen(const std::string& server, const AppSnapshot* previous,
                                      FindingsBook& book) {
  std::vector<TrainingRun> runs;
  if (previous == nullptr) return runs;
  for (const TrainingRun& before : previous->runs) {
    if (before.serverName != server) continue;
    TrainingRun& run = runs.emplace_back(before);
    if (run.status.isActive()) {
      run.status = RunStatus::idle;
      run.health = RunHealth::unknown;
    }
    run.throughput = 0;
    run.flopsTFLOPs = 0;
    run.gpuUtilization = 0;
    run.vramUsedGB = 0;
    run.powerDrawW = 0;
  }
  keepEncodable(runs, "runs", book.open(server + "/" + std::string(kRunsFolder)));
  return runs;
}

}  // namespace tavrine
