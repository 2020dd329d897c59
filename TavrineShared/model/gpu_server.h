// One GPU, and one monitored server with its GPUs.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/foundation/uuid.h>
#include <TavrineShared/model/record.h>
#include <TavrineShared/model/status.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavrine {

/// One GPU of one server at one moment. Memory is in MiB, as the GPU tool prints it.
struct GPUStat {
  std::int64_t index;         ///< 0-based, as the GPU tool numbers them
  std::string name;           ///< product name
  double utilizationPercent;  ///< compute, 0 to 100
  double memoryUsedMB;
  double memoryTotalMB;
  double temperatureC;  ///< of the core
  double powerDrawW;
  double powerLimitW;                     ///< as enforced
  std::optional<double> fanSpeedPercent;  ///< absent for passively cooled GPUs
  std::optional<double> smClockMHz;       ///< of the streaming multiprocessors
  std::optional<double> memClockMHz;
  std::optional<std::int64_t> eccErrorsTotal;
  std::optional<std::int64_t> pcieLinkGen;    ///< the link as it runs now, not as it could
  std::optional<std::int64_t> pcieLinkWidth;  ///< lanes, likewise
  std::optional<std::string> pstate;          ///< performance state, as the GPU tool reports it

  /// Unique only within one server's `gpus`.
  std::int64_t id() const { return index; }
  /// Used over total, in [0, 1]; 0 when the total is not positive or NaN.
  double memoryFraction() const;
  /// Draw over limit, by the same rule.
  double powerFraction() const;
  /// Such as "PCIe Gen4 x16"; absent unless both generation and width are known.
  std::optional<std::string> pcieLinkText() const;

  bool operator==(const GPUStat&) const = default;
  static const RecordTable& table();
};

/// One monitored server. In JSON, `gpus` is lenient: a bad GPU is dropped, its siblings are kept.
struct ServerSummary {
  UUID id;
  std::string name;  ///< what other records call it in their `serverName`
  std::string host;  ///< name or address by which it is reached
  ServerConnectionState state;
  std::vector<GPUStat> gpus;
  std::int64_t activeRuns;  ///< training runs that the agent counted
  std::optional<double> diskFreeGB;
  Timestamp lastSeen;  ///< the last successful contact

  bool operator==(const ServerSummary&) const = default;
  static const RecordTable& table();
};

}  // namespace tavrine
