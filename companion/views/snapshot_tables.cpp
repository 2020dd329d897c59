#include "companion/views/snapshot_tables.h"

#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/snapshot_cells.h"
#include "companion/views/snapshot_parts.h"

#include <TavrineShared/parsers/text_rules.h>

#include <array>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tavrine {

namespace {

// "9-03:44:02" and "05:12:42", as process tables print it; what is not of that form comes last.
double elapsedSeconds(std::string_view text) {
  constexpr double kHoursPerDay = 24;
  constexpr double kSixty = 60;
  double seconds = 0;
  while (true) {
    const std::size_t end = text.find_first_of("-:");
    const std::optional<std::int64_t> part = readInteger(text.substr(0, end));
    if (!part) return -1;
    seconds += static_cast<double>(*part);
    if (end == std::string_view::npos) return seconds;
    seconds *= text[end] == '-' ? kHoursPerDay : kSixty;
    text.remove_prefix(end + 1);
  }
}

template <class Row, class R>
std::vector<Row> rowsOf(const std::vector<R>& records, Timestamp takenAt) {
  std::vector<Row> rows;
  rows.reserve(records.size());
  for (const R& record : records) rows.push_back({&record, takenAt});
  return rows;
}

// Of the last minute.
std::string loadNow(const SystemSensors* sensors) {
  if (sensors == nullptr || sensors->loadAverage.empty()) return std::string(kAbsent);
  return upToOneDecimal(sensors->loadAverage.front());
}

std::string peakTemperature(const SystemSensors* sensors) {
  return withUnit(sensors == nullptr ? std::nullopt : sensors->peakCPUTempC(), " C");
}

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
     [](const ServerRow& row) -> Cell { return gibibytes(row.server->diskFreeGB); }},
    {{"Load", Alignment::right, Need::ifItFits},
     [](const ServerRow& row) -> Cell { return loadNow(row.sensors); }},
    {{"CPU", Alignment::right, Need::ifItFits},
     [](const ServerRow& row) -> Cell { return peakTemperature(row.sensors); }},
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
    {{"Severity"},
     [](const AlertRow& row) -> Cell { return titleCell(row.alert->severity); },
     [](const AlertRow& row) -> double {
       return static_cast<double>(row.alert->severity.index());
     }},
    {{"When"},
     [](const AlertRow& row) -> Cell { return agoText(row.alert->timestamp, row.takenAt); },
     [](const AlertRow& row) -> double { return row.alert->timestamp.time_since_epoch().count(); }},
    {{"About", Alignment::left, Need::ifItFits},
     [](const AlertRow& row) -> Cell { return orAbsent(subjectOf(*row.alert)); }},
    {{"Alert"}, [](const AlertRow& row) -> Cell { return row.alert->title; }},
    {{"Message"}, [](const AlertRow& row) -> Cell { return row.alert->message; }},
});

constexpr auto kProcessColumns = std::to_array<RecordColumn<ProcessRow>>({
    {{"Server"}, [](const ProcessRow& row) -> Cell { return row->serverName; }},
    {{"PID", Alignment::right},
     [](const ProcessRow& row) -> Cell { return std::to_string(row->pid); },
     [](const ProcessRow& row) -> double { return static_cast<double>(row->pid); }},
    {{"User"}, [](const ProcessRow& row) -> Cell { return row->owner; }},
    {{"Kind", Alignment::left, Need::ifItFits},
     [](const ProcessRow& row) -> Cell { return std::string(row->kind.title()); }},
    {{"GPU memory", Alignment::right},
     [](const ProcessRow& row) -> Cell { return gibibytesOfMB(row->gpuMemoryMB); },
     [](const ProcessRow& row) -> double { return row->gpuMemoryMB.value_or(-1); }},
    {{"CPU", Alignment::right, Need::ifItFits},
     [](const ProcessRow& row) -> Cell { return withUnit(row->cpuPercent, "%"); },
     [](const ProcessRow& row) -> double { return row->cpuPercent; }},
    {{"Memory", Alignment::right, Need::ifItFits},
     [](const ProcessRow& row) -> Cell { return gibibytes(row->residentMemoryGB()); },
     [](const ProcessRow& row) -> double { return row->residentMemoryGB(); }},
    {{"Elapsed", Alignment::right, Need::ifItFits},
     [](const ProcessRow& row) -> Cell { return row->elapsed; },
     [](const ProcessRow& row) -> double { return elapsedSeconds(row->elapsed); }},
    {{"Command"}, [](const ProcessRow& row) -> Cell { return commandLine(*row); }},
});

constexpr auto kUserColumns = std::to_array<RecordColumn<UserRow>>({
    {{"User"}, [](const UserRow& row) -> Cell { return row.user->username; }},
    {{"Server"}, [](const UserRow& row) -> Cell { return row.summary->serverName; }},
    {{"Days", Alignment::right, Need::ifItFits},
     [](const UserRow& row) -> Cell { return std::to_string(row.summary->days); },
     [](const UserRow& row) -> double { return static_cast<double>(row.summary->days); }},
    {{"Processes", Alignment::right},
     [](const UserRow& row) -> Cell { return std::to_string(row.user->processCount); },
     [](const UserRow& row) -> double { return static_cast<double>(row.user->processCount); }},
    {{"Training", Alignment::right, Need::ifItFits},
     [](const UserRow& row) -> Cell { return std::to_string(row.user->trainingProcessCount); },
     [](const UserRow& row) -> double {
       return static_cast<double>(row.user->trainingProcessCount);
     }},
    {{"CPU", Alignment::right, Need::ifItFits},
     [](const UserRow& row) -> Cell { return withUnit(row.user->cpuPercent, "%"); },
     [](const UserRow& row) -> double { return row.user->cpuPercent; }},
    {{"Memory", Alignment::right, Need::ifItFits},
     [](const UserRow& row) -> Cell { return gibibytes(row.user->memoryGB); },
     [](const UserRow& row) -> double { return row.user->memoryGB; }},
    {{"GPU memory", Alignment::right},
     [](const UserRow& row) -> Cell { return gibibytes(row.user->gpuMemoryGB); },
     [](const UserRow& row) -> double { return row.user->gpuMemoryGB; }},
    {{"Logins", Alignment::right, Need::ifItFits},
     [](const UserRow& row) -> Cell { return std::to_string(row.user->loginCount); },
     [](const UserRow& row) -> double { return static_cast<double>(row.user->loginCount); }},
    {{"Last login", Alignment::left, Need::ifItFits},
     [](const UserRow& row) -> Cell { return orAbsent(row.user->lastLogin); }},
});

}  // namespace

std::vector<ServerRow> serverRows(const AppSnapshot& snapshot) {
  std::unordered_map<std::string_view, const SystemSensors*> sensors;
  for (const SystemSensors& each : snapshot.sensors) sensors.try_emplace(each.serverName, &each);
  std::vector<ServerRow> rows;
  rows.reserve(snapshot.servers.size());
  for (const ServerSummary& server : snapshot.servers) {
    const auto found = sensors.find(server.name);
    rows.push_back({&server, found == sensors.end() ? nullptr : found->second, snapshot.timestamp});
  }
  return rows;
}

std::vector<GPURow> gpuRows(const AppSnapshot& snapshot) {
  std::vector<GPURow> rows;
  for (const ServerSummary& server : snapshot.servers) {
    for (const GPUStat& gpu : server.gpus) rows.push_back({&server, &gpu});
  }
  return rows;
}

std::vector<RunRow> runRows(const AppSnapshot& snapshot) {
  return rowsOf<RunRow>(snapshot.runs, snapshot.timestamp);
}

std::vector<AlertRow> alertRows(const AppSnapshot& snapshot) {
  std::vector<AlertRow> rows;
  for (const TavrineAlert* const alert : alertsByGravity(snapshot)) {
    rows.push_back({alert, snapshot.timestamp});
  }
  return rows;
}

std::vector<ProcessRow> processRows(const AppSnapshot& snapshot) {
  return topProcesses(snapshot, snapshot.processes.size());
}

std::vector<UserRow> userRows(const AppSnapshot& snapshot) {
  std::vector<UserRow> rows;
  for (const UsageSummary& summary : snapshot.usageSummaries) {
    for (const StudentUsage& user : summary.students) rows.push_back({&summary, &user});
  }
  return rows;
}

std::span<const RecordColumn<ServerRow>> serverColumns() { return kServerColumns; }

std::span<const RecordColumn<GPURow>> gpuColumns() { return kGPUColumns; }

std::span<const RecordColumn<RunRow>> runColumns() { return kRunColumns; }

std::span<const RecordColumn<AlertRow>> alertColumns() { return kAlertColumns; }

std::span<const RecordColumn<ProcessRow>> processColumns() { return kProcessColumns; }

std::span<const RecordColumn<UserRow>> userColumns() { return kUserColumns; }

}  // namespace tavrine
