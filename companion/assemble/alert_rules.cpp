#include "companion/assemble/alert_rules.h"

#include "companion/assemble/previous_snapshot.h"
#include "companion/assemble/thresholds.h"
#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"

#include <TavrineShared/foundation/ascii.h>
#include <TavrineShared/model/stable_id.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace tavrine {

namespace {

class AlertList {
 public:
  AlertList(const ServerState& server, const AppSnapshot* previous) : server_(server) {
    if (previous == nullptr) return;
    for (const TavrineAlert& alert : previous->alerts) {
      if (alert.serverName == server.name) firstSeen_.try_emplace(alert.id, alert.timestamp);
    }
  }

  /// `condition` and `subject` tell this alert from all others of the server.
  void raise(std::string_view condition, const std::string& subject, AlertSeverity severity,
             std::string title, std::string message, std::optional<std::string> run = {}) {
    const UUID id = idOf(condition, subject);
    alerts_.push_back({.id = id,
                       .severity = severity,
                       .title = std::move(title),
                       .message = std::move(message),
                       .serverName = server_.name,
                       .runName = std::move(run),
                       .timestamp = firstSeen(id)});
  }

  /// Of an alert, before it is raised.
  UUID idOf(std::string_view condition, const std::string& subject) const {
    // No name of a server holds a line feed, so no two alerts have the same text.
    return StableID::uuid("alert:" + std::string(condition) + ":" + server_.name + "\n" + subject);
  }

  /// Raises an alert of the previous snapshot once more.
  void keep(const TavrineAlert& alert) { alerts_.push_back(alert); }

  std::vector<TavrineAlert> take() { return std::move(alerts_); }

 private:
  Timestamp firstSeen(const UUID& id) const {
    const auto found = firstSeen_.find(id);
    return found == firstSeen_.end() ? server_.takenAt : found->second;
  }

  const ServerState& server_;
  std::unordered_map<UUID, Timestamp> firstSeen_;  // as far as the previous snapshot tells
  std::vector<TavrineAlert> alerts_;
};

std::string asSentence(std::string words) {
  if (words.empty()) return words;
  words.front() = ascii::upper(words.front());
  constexpr auto kEnds = std::to_array<std::string_view>({".", "?", "!", "\u2026"});
  const bool hasEnd = std::any_of(kEnds.begin(), kEnds.end(), [&](std::string_view end) {
    return words.ends_with(end);
  });
  return hasEnd ? words : words + ".";
}

std::string gpuName(std::int64_t index) { return "GPU " + std::to_string(index); }

void raiseHot(const ServerState& server, AlertList& alerts) {
  for (const GPUStat& gpu : server.gpus) {
    if (!(gpu.temperatureC >= thresholds::kHotGPUC)) continue;
    const bool isScorching = gpu.temperatureC >= thresholds::kScorchingGPUC;
    alerts.raise("gpu-hot",
                 std::to_string(gpu.index),
                 isScorching ? AlertSeverity::critical : AlertSeverity::warning,
                 "GPU hot",
                 gpuName(gpu.index) + " (" + gpu.name + ") is at " +
                     upToOneDecimal(gpu.temperatureC) + " C.");
  }
}

constexpr std::string_view kLostCondition = "gpu-lost";
constexpr std::string_view kLostTitle = "GPU lost";

// The snapshot before has lacked the GPU as well, so it is its alert that remembers it.
void raiseLostBefore(const ServerState& server, const AppSnapshot& previous, AlertList& alerts) {
  constexpr double kDay = 24 * 60 * 60;
  std::unordered_set<UUID> back;
  for (const GPUStat& gpu : server.gpus) {
    back.insert(alerts.idOf(kLostCondition, std::to_string(gpu.index)));
  }
  for (const TavrineAlert& alert : previous.alerts) {
    const bool isOurs = alert.title == kLostTitle && alert.serverName == server.name;
    if (!isOurs || (server.takenAt - alert.timestamp).count() > kDay) continue;
    if (!back.contains(alert.id)) alerts.keep(alert);
  }
}

void raiseLost(const ServerState& server, const AppSnapshot* previous, AlertList& alerts) {
  if (previous == nullptr || !server.gpusAreKnown) return;
  raiseLostBefore(server, *previous, alerts);
  const ServerSummary* const before = previousServer(previous, server.name);
  if (before == nullptr) return;
  std::unordered_set<std::int64_t> there;
  for (const GPUStat& gpu : server.gpus) there.insert(gpu.index);
  for (const GPUStat& gpu : before->gpus) {
    if (there.contains(gpu.index)) continue;
    alerts.raise(kLostCondition,
                 std::to_string(gpu.index),
                 AlertSeverity::critical,
                 std::string(kLostTitle),
                 gpuName(gpu.index) + " (" + gpu.name + ") is no longer there.");
  }
}

void raiseRun(const TrainingRun& run, AlertList& alerts) {
  if (run.status == RunStatus::stalled) {
    alerts.raise("run-stalled",
                 run.name,
                 AlertSeverity::warning,
                 "Run stalled",
                 run.name + " makes no progress.",
                 run.name);
  }
  if (run.status == RunStatus::failed) {
    alerts.raise("run-failed",
                 run.name,
                 AlertSeverity::critical,
                 "Run failed",
                 run.name + " has failed, by what its log says.",
                 run.name);
  }
}

void raiseDisk(const ServerState& server, AlertList& alerts) {
  constexpr double kPercent = 100;
  if (!server.disk || !(server.disk->freeFraction() < thresholds::kDiskNearlyFull)) return;
  const bool isFull = server.disk->freeFraction() < thresholds::kDiskFull;
  alerts.raise("disk",
               "",
               isFull ? AlertSeverity::critical : AlertSeverity::warning,
               isFull ? "Disk full" : "Disk nearly full",
               gibibytes(server.disk->freeGB()) + " are left, " +
                   upToOneDecimal(server.disk->freeFraction() * kPercent) + "%.");
}

void raiseOrphans(const ServerState& server, AlertList& alerts) {
  for (const GPUProcessStat& orphan : server.orphans) {
    alerts.raise("orphaned-memory",
                 orphan.id(),
                 AlertSeverity::warning,
                 "Orphaned GPU memory",
                 "Process " + std::to_string(orphan.pid) + " holds " +
                     gibibytesOfMB(orphan.usedMemoryMB) +
                     " of GPU memory, and the process table does not have it.");
  }
}

}  // namespace

std::vector<TavrineAlert> alertsOf(const ServerState& server, std::span<const TrainingRun> runs,
                                   const AppSnapshot* previous) {
  AlertList alerts(server, previous);
  if (server.connection == ServerConnectionState::offline) {
    alerts.raise("offline",
                 "",
                 AlertSeverity::critical,
                 "Server offline",
                 server.problem ? asSentence(*server.problem) : server.name + " did not answer.");
  }
  raiseHot(server, alerts);
  raiseLost(server, previous, alerts);
  for (const TrainingRun& run : runs) raiseRun(run, alerts);
  raiseDisk(server, alerts);
  raiseOrphans(server, alerts);
  return alerts.take();
}

}  // namespace tavrine
