#include "companion/assemble/assemble.h"

#include "companion/assemble/agent_reports.h"
#include "companion/assemble/alert_rules.h"
#include "companion/assemble/previous_snapshot.h"
#include "companion/assemble/run_state.h"
#include "companion/assemble/server_state.h"
#include "companion/shell/encodable.h"

#include <TavrineShared/model/stable_id.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tavrine {

namespace {

// In the order given, and the newest of each server; of several that are that, the first.
std::vector<const Capture*> newestOfEach(std::span<const Capture> captures, FindingsBook& book) {
  std::vector<const Capture*> chosen;
  std::map<std::string, std::size_t> places;
  for (const Capture& capture : captures) {
    const auto [place, isFirst] = places.try_emplace(capture.info.server, chosen.size());
    if (isFirst) {
      chosen.push_back(&capture);
      continue;
    }
    book.open(capture.info.server).add(FindingOutcome::ignored, [] {
      Finding finding{};
      finding.reason = "there is another capture of the same server that is no older";
      return finding;
    });
    const Capture*& other = chosen[place->second];
    if (capture.info.takenAt > other->info.takenAt) other = &capture;
  }
  return chosen;
}

Timestamp lastSeen(const ServerState& server, const AppSnapshot* previous) {
  if (server.connection != ServerConnectionState::offline) return server.takenAt;
  const ServerSummary* const before = previousServer(previous, server.name);
  return before == nullptr ? Timestamp{} : before->lastSeen;
}

ServerSummary summaryOf(const ServerState& server, const std::vector<TrainingRun>& runs,
                        const AppSnapshot* previous) {
  return {.id = StableID::uuid("server:" + server.name),
          .name = server.name,
          .host = server.host,
          .state = server.connection,
          .gpus = server.gpus,
          .activeRuns = std::count_if(runs.begin(),
                                      runs.end(),
                                      [](const auto& run) { return run.status.isActive(); }),
          .diskFreeGB = server.disk ? std::optional(server.disk->freeGB()) : std::nullopt,
          .lastSeen = lastSeen(server, previous)};
}

template <class R>
void append(std::vector<R>& all, std::vector<R> more) {
  std::move(more.begin(), more.end(), std::back_inserter(all));
}

void addServer(const Capture& capture, const AppSnapshot* previous, Assembly& assembly) {
  AppSnapshot& snapshot = assembly.snapshot;
  ServerState server = readServer(capture, assembly.findings);
  std::vector<TrainingRun> runs = server.connection == ServerConnectionState::offline
                                      ? runsLastSeen(server.name, previous, assembly.findings)
                                      : readRuns(capture, server, previous, assembly.findings);
  snapshot.servers.push_back(summaryOf(server, runs, previous));
  append(snapshot.alerts, alertsOf(server, runs, previous));
  append(snapshot.runs, std::move(runs));
  append(snapshot.processes, std::move(server.processes));
  if (server.sensors) snapshot.sensors.push_back(std::move(*server.sensors));
  addAgentReports(capture, snapshot, assembly.findings);
}

}  // namespace

Assembly assemble(std::span<const Capture> captures, const AppSnapshot* previous) {
  Assembly assembly{};
  const std::vector<const Capture*> chosen = newestOfEach(captures, assembly.findings);
  for (const Capture* const capture : chosen) {
    Timestamp& newest = assembly.snapshot.timestamp;
    if (capture == chosen.front() || newest < capture->info.takenAt) {
      newest = capture->info.takenAt;
    }
    addServer(*capture, previous, assembly);
  }
  Findings& findings = assembly.findings.open("snapshot");
  keepEncodable(assembly.snapshot.servers, "servers", findings);
  keepEncodable(assembly.snapshot.alerts, "alerts", findings);
  keepEncodable(assembly.snapshot.sensors, "sensors", findings);
  return assembly;
}

}  // namespace tavrine
