// Any text as the JSON of a whole snapshot, and so as that of every record in it. What must hold:
//  - decoding throws nothing but DecodingError, and does the same with and without findings;
//  - what was decoded encodes, times outside the calendar apart, and decodes to itself, with the
//    same text when encoded again; only fractions of a second are lost on the way;
//  - equal snapshots have equal hashes;
//  - no figure of a snapshot fails, whatever its numbers are.
#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/json_conventions.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/decoded.h"
#include "fuzz/require.h"

namespace tavrine::fuzz {
namespace {

using Seconds = Timestamp::duration;

/// Applies `change` to every time that need not come from a text: those which may also be numbers,
/// with fractions and of any size, or the time of decoding.
template <class Change>
void changeFreeTimes(AppSnapshot& snapshot, const Change& change) {
  for (TrainingRun& run : snapshot.runs) {
    for (RecorderLogPoint& point : run.recorderPoints) change(point.t);
  }
  for (RecorderHealth& health : snapshot.recorderHealth) {
    for (RecorderActiveEntry& entry : health.activeRecorders) change(entry.openedAt);
    if (health.lastAlertSentAt) change(*health.lastAlertSentAt);
  }
}

/// The snapshot with one time for all that may be the time of decoding it, which was not before
/// `start`.
AppSnapshot withoutPresent(AppSnapshot snapshot, Timestamp start, Timestamp end) {
  changeFreeTimes(snapshot, [start, end](Timestamp& time) {
    if (time >= start && time <= end) time = start;
  });
  return snapshot;
}

/// The snapshot as its text tells it.
AppSnapshot withWholeSeconds(AppSnapshot snapshot) {
  changeFreeTimes(snapshot, [](Timestamp& time) {
    time = Timestamp(Seconds(std::floor(time.time_since_epoch().count())));
  });
  return snapshot;
}

bool endsWithTime(std::string_view path) {
  // Of a list of times there is none; a path's last part is a key.
  constexpr std::string_view kTimes[] = {"cacheGeneratedAt",
                                         "capturedAt",
                                         "firstSeen",
                                         "generatedAt",
                                         "lastAlertSentAt",
                                         "lastEmailAt",
                                         "lastRecorderPointAt",
                                         "lastSeen",
                                         "lastTestEmailAt",
                                         "openedAt",
                                         "startedAt",
                                         "t",
                                         "timestamp"};
  const std::string_view last = path.substr(path.rfind('.') + 1);
  return std::find(std::begin(kTimes), std::end(kTimes), last) != std::end(kTimes);
}

void requireEncodes(const AppSnapshot& snapshot) {
  std::string compact;
  try {
    compact = encode(snapshot);
  } catch (const EncodingError& error) {
    // A number of seconds, or the offset of a text, can lead out of the years that have a text.
    require(endsWithTime(error.path()), "what was decoded encodes, but for times");
    return;
  }
  const AppSnapshot want = withWholeSeconds(snapshot);
  const std::string pretty = encode(snapshot, JSONStyle::pretty);
  for (const std::string& text : {compact, pretty}) {
    Findings findings;
    const auto again = decode<AppSnapshot>(text, &findings);
    require(again == want, "a snapshot decodes to itself");
    require(findings.count() == 0, "nothing is lost in what was encoded");
    // The same text, and not only an equal snapshot: the sign of a zero is in the text alone.
    require(encode(again) == compact && encode(again, JSONStyle::pretty) == pretty,
            "a snapshot encodes to the same text again");
    require(std::hash<AppSnapshot>()(again) == std::hash<AppSnapshot>()(want),
            "equal snapshots have equal hashes");
  }
}

void requireFiguresMakeSense(const AppSnapshot& snapshot) {
  const auto isCountOf = [](std::int64_t count, std::size_t all) {
    return count >= 0 && static_cast<std::size_t>(count) <= all;
  };
  require(isCountOf(snapshot.activeRunCount(), snapshot.runs.size()), "active runs are runs");
  require(isCountOf(snapshot.trainingProcessCount(), snapshot.processes.size()),
          "training processes are processes");
  require(snapshot.activeProcessCount() == static_cast<std::int64_t>(snapshot.processes.size()),
          "every process is active");
  // Any finite numbers may stand there, even such whose sum is none.
  const bool hasGPU = std::any_of(snapshot.servers.begin(),
                                  snapshot.servers.end(),
                                  [](const ServerSummary& server) { return !server.gpus.empty(); });
  const double utilization = snapshot.averageGPUUtilization();
  const double power = snapshot.totalPowerDrawW();
  require(hasGPU || (utilization == 0 && power == 0), "without a GPU there is nothing to sum up");

  for (const ServerSummary& server : snapshot.servers) {
    for (const GPUStat& gpu : server.gpus) {
      for (const double fraction : {gpu.memoryFraction(), gpu.powerFraction()}) {
        require(fraction >= 0 && fraction <= 1, "a fraction lies in [0, 1]");
      }
    }
  }
  for (const ProcessStat& process : snapshot.processes) {
    require(process.mergingGPU(std::nullopt) == process, "without a GPU nothing is merged");
    require(process.gpuMemoryGB().has_value() == process.gpuMemoryMB.has_value(),
            "a memory is known in every unit");
  }
  for (const NetworkSummary& network : snapshot.networkSummaries) {
    require(!network.retention || network.retention->fillFraction() <= 1, "no store overflows");
    for (const NetworkConnectionStat& connection : network.connections) {
      require(connection.coordinate().has_value() == (connection.lat && connection.lon),
              "a place has both degrees");
    }
  }
  for (const SystemSensors& sensors : snapshot.sensors) {
    require(sensors.peakCPUTempC().has_value() == !sensors.cpuTemperatures.empty(),
            "of any temperatures one is the highest");
  }
  for (const ModelManager& manager : snapshot.modelManagers) {
    const auto found = snapshot.modelManager(manager.serverName);
    require(found && found->serverName == manager.serverName, "a model manager is found");
  }
}

}  // namespace
}  // namespace tavrine::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine;
  using namespace tavrine::fuzz;
  const std::string_view document(reinterpret_cast<const char*>(data), size);

  const Timestamp start = currentTime();
  const Decoded<AppSnapshot> decoded(document, nullptr);
  Findings findings = roomyFindings();
  Findings counts(0);
  for (Findings* const told : {&findings, &counts}) {
    const Decoded<AppSnapshot> again(document, told);
    const Timestamp end = currentTime();
    require(again.value.has_value() == decoded.value.has_value(), "findings change no outcome");
    require(decoded.value ? withoutPresent(*again.value, start, end) ==
                                withoutPresent(*decoded.value, start, end)
                          : areSame(again.error, decoded.error),
            "findings change no value and no error");
  }
  if (!decoded.value) {
    requireErrorIsTold(document, decoded.error);
    return 0;
  }
  requireSameCounts(counts, findings);
  requireFindingsAreTold(findings);
  requireEncodes(*decoded.value);
  requireFiguresMakeSense(*decoded.value);
  return 0;
}
