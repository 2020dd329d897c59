// What surrounds the training jobs of a server: its agent, its sensors, its inference service.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/record.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// The agent's report on itself.
struct AgentStatus {
  std::string serverName;
  bool ok;  ///< the agent's own verdict
  std::string version;
  std::optional<Timestamp> startedAt;
  Timestamp generatedAt;                      ///< of this report
  std::optional<Timestamp> cacheGeneratedAt;  ///< when the data in its cache was collected
  std::optional<double> intervalSeconds;      ///< from one collection to the next
  std::optional<std::int64_t> processLimit;   ///< the most process rows it reports

  AgentStatus withServerName(std::string_view name) const { return renamed(*this, name); }

  bool operator==(const AgentStatus&) const = default;
  static const RecordTable& table();
};

/// What one thermal sensor reads.
struct CPUTemperature {
  std::string label;
  double celsius;

  bool operator==(const CPUTemperature&) const = default;
  static const RecordTable& table();
};

/// How busy one block device is.
struct DiskIORate {
  std::string device;
  double readKBps;                           ///< KiB per second
  double writeKBps;                          ///< KiB per second
  std::optional<double> utilizationPercent;  ///< share of the time in which it was busy

  const std::string& id() const { return device; }

  bool operator==(const DiskIORate&) const = default;
  static const RecordTable& table();
};

/// The sensors of one host at one moment. In JSON its lists are plain: a bad element fails it.
struct SystemSensors {
  std::string serverName;
  Timestamp capturedAt;
  std::vector<CPUTemperature> cpuTemperatures;
  std::vector<DiskIORate> diskIO;
  std::vector<double> loadAverage;  ///< over 1, 5 and 15 minutes, as far as known

  /// The highest temperature; of equal ones, and of those that cannot be compared, the first.
  std::optional<double> peakCPUTempC() const;
  /// Over all devices: KiB per second.
  double totalDiskReadKBps() const;
  double totalDiskWriteKBps() const;
  SystemSensors withServerName(std::string_view name) const { return renamed(*this, name); }

  bool operator==(const SystemSensors&) const = default;
  static const RecordTable& table();
};

/// A local inference service that can serve one of several prepared profiles. Services report
/// loosely: in JSON nearly everything may be missing, and `running`, `tier` and `selectedProfile`
/// are read as off or absent when they make no sense.
struct ModelManager {
  /// One profile that the server can run.
  struct Available {
    std::int64_t profile;  ///< what `selectedProfile` refers to
    std::string label;
    std::string model;
    std::string precision;  ///< of the weights
    std::int64_t gpus;      ///< how many it needs
    bool downloaded;        ///< whether the weights are on the server

    bool operator==(const Available&) const = default;
    static const RecordTable& table();
  };

  std::string serverName;  ///< to be assigned by who asked the service
  bool running;
  std::optional<std::string> model;            ///< served now
  std::optional<std::string> configuredModel;  ///< named in the service's configuration
  std::optional<std::int64_t> tier;            ///< of what the server is capable of
  std::optional<std::string> tierReason;
  std::optional<std::int64_t> selectedProfile;
  std::vector<Available> available;

  bool operator==(const ModelManager&) const = default;
  static const RecordTable& table();
};

/// How a command to the inference service ended. Lives in memory only: it has no JSON form.
struct InferenceControlResult {
  bool isSuccess;
  std::string message;

  bool operator==(const InferenceControlResult&) const = default;
};

}  // namespace tavrine

template <>
struct std::hash<tavrine::InferenceControlResult> {
  std::size_t operator()(const tavrine::InferenceControlResult& result) const noexcept;
};
