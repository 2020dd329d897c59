// One training job, with its steps and its checkpoints.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/foundation/uuid.h>
#include <TavrineShared/model/record.h>
#include <TavrineShared/model/status.h>
#include <TavrineShared/recorder/recorder_records.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tavrine {

/// One logged step, of training or of validation.
struct TrainingMetric {
  std::int64_t step;
  Timestamp timestamp;  ///< when it was logged
  double loss;
  double throughput;      ///< in the unit of its run
  double flopsTFLOPs;     ///< achieved
  double gpuUtilization;  ///< percent

  bool operator==(const TrainingMetric&) const = default;
  static const RecordTable& table();
};

/// One saved checkpoint.
struct CheckpointSummary {
  UUID id;
  std::string name;
  Timestamp timestamp;  ///< when it was written
  double sizeGB;
  bool isBest;  ///< of its run, so far

  bool operator==(const CheckpointSummary&) const = default;
  static const RecordTable& table();
};

/// One training job that was found on a server. In JSON, bad metrics, checkpoints and recorder
/// points are dropped, but `hyperparameters` that are there must be an object of texts.
struct TrainingRun {
  UUID id;
  std::string name;
  std::string serverName;
  std::string framework;
  RunStatus status;
  RunHealth health;
  Timestamp startedAt;
  std::optional<double> etaSeconds;  ///< from now to completion
  std::optional<double> currentLoss;
  double throughput;      ///< samples, tokens or steps per second, as its log counts
  double flopsTFLOPs;     ///< achieved now
  double gpuUtilization;  ///< percent
  double vramUsedGB;      ///< GPU memory
  double vramTotalGB;     ///< of the GPUs it runs on
  double powerDrawW;
  std::string logTail;  ///< the last lines of its log
  std::vector<TrainingMetric> metrics;
  std::vector<CheckpointSummary> checkpoints;
  std::map<std::string, std::string> hyperparameters;
  std::optional<std::string> datasetName;
  std::optional<std::string> modelName;
  std::optional<std::string> checkpointPath;
  std::vector<TrainingMetric> valMetrics;  ///< of validation
  std::optional<double> dcgmTFLOPsAchieved;
  std::optional<double> dcgmTFLOPsPeak;
  std::optional<double> dcgmTensorActive;
  std::optional<double> dcgmFP32Active;
  std::optional<double> dcgmDRAMActive;
  std::optional<std::string> recorderLogPath;
  std::optional<std::string> adoptedFromPath;  ///< an earlier log that its recorder took over
  std::optional<StackFrame> lastStackSample;
  std::optional<Timestamp> lastRecorderPointAt;
  std::vector<RecorderLogPoint> recorderPoints;

  bool operator==(const TrainingRun&) const = default;
  static const RecordTable& table();
};

}  // namespace tavrine
