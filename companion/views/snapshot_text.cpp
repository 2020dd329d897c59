#include "companion/views/snapshot_text.h"

#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/record_table.h"
#include "companion/views/snapshot_parts.h"

#include <TavrineShared/foundation/unicode_text.h>

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tavrine {

namespace {

// --- Rows: a record, and what of its surroundings its line shows ---
// What lies back is counted from the time of the snapshot: its head line tells how long that is
// ago.

struct ServerRow {
  const ServerSummary* server;
  Timestamp takenAt;
};

struct GPURow {
  const ServerSummary* server;
  const GPUStat* gpu;
};

struct RunRow {
  const TrainingRun* run;
  Timestamp takenAt;
};

struct AlertRow {
  const TavrineAlert* alert;
  Timestamp takenAt;
};

struct UserRow {
  const UsageSummary* summary;
  const StudentUsage* user;
};

template <VocabularyType V>
Cell titleCell(V value) {
  return {std::string(value.title()), inkOf(value)};
}

// --- Cells ---

double sumOver(const std::vector<GPUStat>& gpus, double GPUStat::*figure) {
  double sum = 0;
  for (const GPUStat& gpu : gpus) sum += gpu.*figure;
  return sum;
}

std::string gpuMemory(double usedMB, double totalMB) {
  return totalMB > 0 ? gibibytesUsed(gibibytesIn(usedMB), gibibytesIn(totalMB))
                     : std::string(kAbsent);
}

std::string gpuMemory(const ServerSummary& server) {
  return gpuMemory(sumOver(server.gpus, &GPUStat::memoryUsedMB),
                   sumOver(server.gpus, &GPUStat::memoryTotalMB));
}

std::string meanUtilization(const ServerSummary& server) {
  if (server.gpus.empty()) return std::string(kAbsent);
  const double sum = sumOver(server.gpus, &GPUStat::utilizationPercent);
  return withUnit(sum / static_cast<double>(server.gpus.size()), "%");
}

std::string sumOfPower(const ServerSummary& server) {
  if (server.gpus.empty()) return std::string(kAbsent);
  return watts(sumOver(server.gpus, &GPUStat::powerDrawW));
}

// The GPUs of a run are not known while its server's tool does not answer.
std::string runMemory(const TrainingRun& run) {
  return run.vramTotalGB > 0 ? gibibytesUsed(run.vramUsedGB, run.vramTotalGB)
                             : gibibytes(run.vramUsedGB);
}

// The beginning of time stands for a server that has never answered.
std::string lastSeen(const ServerSummary& server, Timestamp takenAt) {
  return server.lastSeen == Timestamp{} ? "never" : agoText(server.lastSeen, takenAt);
}

// A process table pads what stands in front of the command line.
std::string commandLine(const ProcessStat& process) {
  return std::string(trimmed(process.command));
}

Cell temperature(const GPUStat& gpu) {
  return {withUnit(gpu.temperatureC, " C"), isHot(gpu) ? Ink::red : Ink::plain};
}

// --- Tables ---

constexpr auto kServerColumns = std::to_array<RecordColumn<ServerRow>>({
    {{"Server"}, [](const ServerRow& row) -> Cell { return row.server->name; }},
    {{"State"}, [](const ServerRow& row) -> Cell { return titleCell(row.server->state); }},
    {{"GPUs", Alignment::right},
     [](const ServerRow& row) -> Cell { return std::to_string(row.server->gpus.size()); }},
    {{"Util", Alignment::right},
     [](const ServerRow& row) -> Cell { return meanUtilization(*row.server); }},
    {{"GPU memory", Alignment::right},
     [](const ServerRow& row) -> Cell { return gpuMemory(*row.server); }},
    {{"Power", Alignment::right, Need::ifItFits},
     [](const ServerRow& row) -> Cell { return sumOfPower(*row.server); }},
    {{"Runs", Alignment::right, Need::ifItFits},
     [](const ServerRow& row) -> Cell { return std::to_string(row.server->activeRuns); }},
    {{"Disk free", Alignment::right, Need::ifItFits},
     [](const ServerRow& row) -> Cell {
       return row.server->diskFreeGB ? gibibytes(*row.server->diskFreeGB) : std::string(kAbsent);
     }},
    {{"Last seen"},
     [](const ServerRow& row) -> Cell { return lastSeen(*row.server, row.takenAt); }},
    {{"Host", Alignment::left, Need::ifItFits},
     [](const ServerRow& row) -> Cell { return row.server->host; }},
});

constexpr auto kGPUColumns = std::to_array<RecordColumn<GPURow>>({
    {{"Server"}, [](const GPURow& row) -> Cell { return row.server->name; }},
    {{"GPU", Alignment::right},
     [](const GPURow& row) -> Cell { return std::to_string(row.gpu->index); }},
    {{"Util", Alignment::right},
     [](const GPURow& row) -> Cell { return withUnit(row.gpu->utilizationPercent, "%"); }},
    {{"Memory", Alignment::right},
     [](const GPURow& row) -> Cell {
       return gpuMemory(row.gpu->memoryUsedMB, row.gpu->memoryTotalMB);
     }},
    {{"Temp", Alignment::right}, [](const GPURow& row) -> Cell { return temperature(*row.gpu); }},
    {{"Power", Alignment::right},
     [](const GPURow& row) -> Cell { return watts(row.gpu->powerDrawW); }},
    {{"Limit", Alignment::right, Need::ifItFits},
     [](const GPURow& row) -> Cell { return watts(row.gpu->powerLimitW); }},
    {{"Name"}, [](const GPURow& row) -> Cell { return row.gpu->name; }},
});

constexpr auto kRunColumns = std::to_array<RecordColumn<RunRow>>({
    {{"Run"}, [](const RunRow& row) -> Cell { return row.run->name; }},
    {{"Server"}, [](const RunRow& row) -> Cell { return row.run->serverName; }},
    {{"Status"}, [](const RunRow& row) -> Cell { return titleCell(row.run->status); }},
    {{"Health"}, [](const RunRow& row) -> Cell { return titleCell(row.run->health); }},
    {{"Loss", Alignment::right},
     [](const RunRow& row) -> Cell { return lossText(row.run->currentLoss); }},
    {{"GPU", Alignment::right, Need::ifItFits},
     [](const RunRow& row) -> Cell { return withUnit(row.run->gpuUtilization, "%"); }},
    {{"GPU memory", Alignment::right, Need::ifItFits},
     [](const RunRow& row) -> Cell { return runMemory(*row.run); }},
    {{"Power", Alignment::right, Need::ifItFits},
     [](const RunRow& row) -> Cell { return watts(row.run->powerDrawW); }},
    {{"Started", Alignment::left, Need::ifItFits},
     [](const RunRow& row) -> Cell { return agoText(row.run->startedAt, row.takenAt); }},
    {{"To go", Alignment::right, Need::ifItFits},
     [](const RunRow& row) -> Cell {
       return row.run->etaSeconds ? durationText(*row.run->etaSeconds) : std::string(kAbsent);
     }},
    {{"Model", Alignment::left, Need::ifItFits},
     [](const RunRow& row) -> Cell { return orAbsent(row.run->modelName); }},
});

constexpr auto kAlertColumns = std::to_array<RecordColumn<AlertRow>>({
    {{"Severity"}, [](const AlertRow& row) -> Cell { return titleCell(row.alert->severity); }},
    {{"When"},
     [](const AlertRow& row) -> Cell { return agoText(row.alert->timestamp, row.takenAt); }},
    {{"About", Alignment::left, Need::ifItFits},
     [](const AlertRow& row) -> Cell { return orAbsent(subjectOf(*row.alert)); }},
    {{"Alert"}, [](const AlertRow& row) -> Cell { return row.alert->title; }},
    {{"Message"}, [](const AlertRow& row) -> Cell { return row.alert->message; }},
});

using ProcessRow = const ProcessStat*;
constexpr auto kProcessColumns = std::to_array<RecordColumn<ProcessRow>>({
    {{"Server"}, [](const ProcessRow& row) -> Cell { return row->serverName; }},
    {{"PID", Alignment::right},
     [](const ProcessRow& row) -> Cell { return std::to_string(row->pid); }},
    {{"User"}, [](const ProcessRow& row) -> Cell { return row->owner; }},
    {{"Kind", Alignment::left, Need::ifItFits},
     [](const ProcessRow& row) -> Cell { return std::string(row->kind.title()); }},
    {{"GPU memory", Alignment::right},
     [](const ProcessRow& row) -> Cell {
       return row->gpuMemoryMB ? gibibytesOfMB(*row->gpuMemoryMB) : std::string(kAbsent);
     }},
    {{"CPU", Alignment::right, Need::ifItFits},
     [](const ProcessRow& row) -> Cell { return withUnit(row->cpuPercent, "%"); }},
    {{"Memory", Alignment::right, Need::ifItFits},
     [](const ProcessRow& row) -> Cell { return gibibytes(row->residentMemoryGB()); }},
    {{"Elapsed", Alignment::right, Need::ifItFits},
     [](const ProcessRow& row) -> Cell { return row->elapsed; }},
    {{"Command"}, [](const ProcessRow& row) -> Cell { return commandLine(*row); }},
});

constexpr auto kUserColumns = std::to_array<RecordColumn<UserRow>>({
    {{"User"}, [](const UserRow& row) -> Cell { return row.user->username; }},
    {{"Server"}, [](const UserRow& row) -> Cell { return row.summary->serverName; }},
    {{"Days", Alignment::right, Need::ifItFits},
     [](const UserRow& row) -> Cell { return std::to_string(row.summary->days); }},
    {{"Processes", Alignment::right},
     [](const UserRow& row) -> Cell { return std::to_string(row.user->processCount); }},
    {{"Training", Alignment::right, Need::ifItFits},
     [](const UserRow& row) -> Cell { return std::to_string(row.user->trainingProcessCount); }},
    {{"CPU", Alignment::right, Need::ifItFits},
     [](const UserRow& row) -> Cell { return withUnit(row.user->cpuPercent, "%"); }},
    {{"Memory", Alignment::right, Need::ifItFits},
     [](const UserRow& row) -> Cell { return gibibytes(row.user->memoryGB); }},
    {{"GPU memory", Alignment::right},
     [](const UserRow& row) -> Cell { return gibibytes(row.user->gpuMemoryGB); }},
    {{"Logins", Alignment::right, Need::ifItFits},
     [](const UserRow& row) -> Cell { return std::to_string(row.user->loginCount); }},
    {{"Last login", Alignment::left, Need::ifItFits},
     [](const UserRow& row) -> Cell { return orAbsent(row.user->lastLogin); }},
});

// --- What goes into them ---

std::vector<GPURow> gpuRows(const AppSnapshot& snapshot) {
  std::vector<GPURow> rows;
  for (const ServerSummary& server : snapshot.servers) {
    for (const GPUStat& gpu : server.gpus) rows.push_back({&server, &gpu});
  }
  return rows;
}

std::vector<AlertRow> alertRows(const AppSnapshot& snapshot) {
  std::vector<AlertRow> rows;
  for (const TavrineAlert* const alert : alertsByGravity(snapshot)) {
    rows.push_back({alert, snapshot.timestamp});
  }
  return rows;
}

std::vector<UserRow> userRows(const AppSnapshot& snapshot) {
  std::vector<UserRow> rows;
  for (const UsageSummary& summary : snapshot.usageSummaries) {
    for (const StudentUsage& user : summary.students) rows.push_back({&summary, &user});
  }
  return rows;
}

template <class Row, class R>
std::vector<Row> rowsOf(const std::vector<R>& records, Timestamp takenAt) {
  std::vector<Row> rows;
  rows.reserve(records.size());
  for (const R& record : records) rows.push_back({&record, takenAt});
  return rows;
}

template <class Row>
void addSection(std::string& text, std::string_view title, const std::vector<Row>& rows,
                std::span<const RecordColumn<Row>> columns, const TableStyle& style) {
  if (rows.empty()) return;
  text.append("\n").append(inked(title, Ink::bold, style.paint)).append("\n");
  text.append(recordTable<Row>(rows, columns, style));
}

std::string counted(std::int64_t count, std::string_view one, std::string_view many) {
  return std::to_string(count).append(" ").append(count == 1 ? one : many);
}

std::string summary(const AppSnapshot& snapshot, Timestamp now) {
  std::int64_t gpus = 0;
  for (const ServerSummary& server : snapshot.servers) {
    gpus += static_cast<std::int64_t>(server.gpus.size());
  }
  const auto servers = static_cast<std::int64_t>(snapshot.servers.size());
  std::string text = "Snapshot of " + timeText(snapshot.timestamp);
  text.append(snapshot.timestamp > now ? ", by a clock that is ahead of this one, " : ", taken ");
  text.append(agoText(snapshot.timestamp, now)).append("\n");
  text.append(counted(servers, "server", "servers")).append(", ");
  text.append(counted(gpus, "GPU", "GPUs"));
  if (gpus > 0) {
    text.append(" at ").append(withUnit(snapshot.averageGPUUtilization(), "%"));
    text.append(" and ").append(watts(snapshot.totalPowerDrawW()));
  }
  text.append("; ").append(counted(snapshot.activeRunCount(), "active run", "active runs"));
  text.append(", ").append(counted(snapshot.activeProcessCount(), "process", "processes"));
  text.append(" (").append(std::to_string(snapshot.trainingProcessCount())).append(" training)");
  return text.append("\n");
}

}  // namespace

std::string snapshotText(const AppSnapshot& snapshot, const SnapshotView& view) {
  const TableStyle& style = view.style;
  const auto servers = rowsOf<ServerRow>(snapshot.servers, snapshot.timestamp);
  const auto runs = rowsOf<RunRow>(snapshot.runs, snapshot.timestamp);
  const auto top = topProcesses(snapshot, view.processes);
  const std::string topTitle = top.size() < snapshot.processes.size()
                                   ? "Top processes, " + std::to_string(top.size()) + " of " +
                                         std::to_string(snapshot.processes.size())
                                   : "Processes";

  std::string text = summary(snapshot, view.now);
  addSection<ServerRow>(text, "Servers", servers, kServerColumns, style);
  addSection<GPURow>(text, "GPUs", gpuRows(snapshot), kGPUColumns, style);
  addSection<RunRow>(text, "Runs", runs, kRunColumns, style);
  addSection<AlertRow>(text, "Alerts", alertRows(snapshot), kAlertColumns, style);
  addSection<ProcessRow>(text, topTitle, top, kProcessColumns, style);
  addSection<UserRow>(text, "Users", userRows(snapshot), kUserColumns, style);
  return text;
}

}  // namespace tavrine
