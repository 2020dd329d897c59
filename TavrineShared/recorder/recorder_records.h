// What a run's recorder writes line by line, and what the supervisor of the recorders reports.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/record.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavrine {

/// The stack of one thread, out of one py-spy dump. Both texts are the sampler's.
struct StackFrame {
  std::string thread;
  std::vector<std::string> frames;  ///< file, function and line in one text each

  bool operator==(const StackFrame&) const = default;
  static const RecordTable& table();
};

/// One reading of the DCGM profiling counters of a run's GPUs. Its JSON keys are in snake case.
struct DCGMSample {
  double fp32Active;    ///< share of time in which FP32 pipes were busy, 0 to 1
  double tensorActive;  ///< likewise of the tensor cores
  double dramActive;    ///< likewise of the device memory
  std::optional<double> tflopsAchieved;
  double tflopsPeak;                  ///< what the GPU could do, taken as reference
  std::optional<std::string> reason;  ///< the recorder's remark on the reading

  bool operator==(const DCGMSample&) const = default;
  static const RecordTable& table();
};

/// One line of a recorder log. Its JSON keys are in snake case.
struct RecorderLogPoint {
  Timestamp t;        ///< in JSON also a number of seconds since 1970
  std::string phase;  ///< kind of line; "snapshot", also when missing, is a periodic sample
  std::optional<double> gpuUtil;  ///< percent
  std::optional<double> vramMB;   ///< GPU memory in use
  std::optional<double> powerW;   ///< power draw
  std::optional<DCGMSample> dcgm;
  std::optional<std::vector<StackFrame>> pySpy;  ///< one for each thread of the process
  std::optional<std::string> text;
  std::optional<std::string> cmdline;  ///< of the process sampled

  bool operator==(const RecorderLogPoint&) const = default;
  static const RecordTable& table();
};

/// One recorder that the supervisor has running.
struct RecorderActiveEntry {
  std::int64_t pid;  ///< of the process it traces
  std::string owner;
  std::string logPath;
  std::optional<std::string> adoptedFrom;  ///< where it was taken over from, if not started afresh
  std::string cmdline;                     ///< of the process it traces
  Timestamp openedAt;  ///< in JSON also a number of seconds; the time of decoding when missing

  bool operator==(const RecorderActiveEntry&) const = default;
  static const RecordTable& table();
};

/// The supervisor's report on the recorders of one server. In JSON any key may be missing or null,
/// but a bad element fails its list, and with it the report.
struct RecorderHealth {
  std::string serverName;
  std::string logRoot;                   ///< directory of the logs
  std::vector<std::int64_t> activePids;  ///< being recorded
  std::vector<RecorderActiveEntry> activeRecorders;
  std::vector<std::string> adoptedPaths;  ///< logs that were taken over
  double diskUsageGB;                     ///< of the logs
  double capGB;                           ///< they may grow to
  double alertThresholdGB;                ///< usage that raises an alert
  std::int64_t retentionDays;             ///< 14 when missing
  std::int64_t ptraceScope;               ///< the host's Yama setting; 0 when missing
  bool pySpyAvailable;
  bool dcgmAvailable;
  bool nvidiaSmiAvailable;
  std::optional<Timestamp> lastAlertSentAt;  ///< in JSON also a number of seconds

  bool operator==(const RecorderHealth&) const = default;
  static const RecordTable& table();
};

}  // namespace tavrine
