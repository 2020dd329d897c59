#include "companion/watch/sensor_view_tables.h"

#include "companion/views/joined.h"
#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/snapshot_cells.h"
#include "companion/views/snapshot_parts.h"

#include <algorithm>
#include <array>
#include <string>

namespace tavrine {

namespace {

constexpr double kThreatening = 0.5;  // from this score on a connection deserves a look
constexpr double kKiB = 1024;
constexpr double kGiB = kKiB * kKiB * kKiB;

struct AgentRow {
  const AgentStatus* agent;
  Timestamp takenAt;
};

// A part of a server's network report.
template <class R>
struct NetworkRow {
  const NetworkSummary* network;
  const R* record;
  Timestamp takenAt;
};
using InterfaceRow = NetworkRow<NetworkInterfaceStat>;
using InsightRow = NetworkRow<NetworkInsight>;
using LoginRow = NetworkRow<SSHAuthEvent>;
using ConnectionRow = NetworkRow<NetworkConnectionStat>;

// --- Cells ---

std::string loadText(const SystemSensors& sensors) {
  if (sensors.loadAverage.empty()) return std::string(kAbsent);
  return joined(sensors.loadAverage, " ", oneDecimal);
}

std::string diskRate(double kibibytesPerSecond) {
  return oneDecimal(kibibytesPerSecond / kKiB) + " MiB/s";
}

Cell busiestDisk(const SystemSensors& sensors) {
  const auto busy = [](const DiskIORate& disk) { return disk.utilizationPercent.value_or(-1); };
  const auto found = std::max_element(
      sensors.diskIO.begin(),
      sensors.diskIO.end(),
      [&busy](const DiskIORate& a, const DiskIORate& b) { return busy(a) < busy(b); });
  if (found == sensors.diskIO.end() || busy(*found) < 0) return std::string(kAbsent);
  constexpr double kFull = 90;
  return {found->device + " " + withUnit(found->utilizationPercent, "%"),
          busy(*found) >= kFull ? Ink::yellow : Ink::plain};
}

Cell peakTemperature(const SystemSensors& sensors) {
  const std::optional<double> peak = sensors.peakCPUTempC();
  return {withUnit(peak, " C"), peak && *peak >= kHotC ? Ink::red : Ink::plain};
}

std::string traffic(std::int64_t bytes) { return gibibytes(static_cast<double>(bytes) / kGiB); }

Cell threat(const std::optional<double>& score) {
  constexpr int kDigits = 2;
  if (!score) return std::string(kAbsent);
  return {significantDigits(*score, kDigits), *score >= kThreatening ? Ink::red : Ink::plain};
}

std::string lastSeen(const LoginRow& row) {
  return row.record->lastSeen ? agoText(*row.record->lastSeen, row.takenAt) : std::string(kAbsent);
}

// --- Columns ---

using SensorsRow = const SystemSensors*;
constexpr auto kSensorColumns = std::to_array<RecordColumn<SensorsRow>>({
    {{"Server"}, [](const SensorsRow& row) -> Cell { return row->serverName; }},
    {{"Load"}, [](const SensorsRow& row) -> Cell { return loadText(*row); }},
    {{"CPU peak", Alignment::right},
     [](const SensorsRow& row) -> Cell { return peakTemperature(*row); }},
    {{"Disk read", Alignment::right, Need::ifItFits},
     [](const SensorsRow& row) -> Cell { return diskRate(row->totalDiskReadKBps()); }},
    {{"Disk write", Alignment::right, Need::ifItFits},
     [](const SensorsRow& row) -> Cell { return diskRate(row->totalDiskWriteKBps()); }},
    {{"Busiest disk", Alignment::left, Need::ifItFits},
     [](const SensorsRow& row) -> Cell { return busiestDisk(*row); }},
});

constexpr auto kInsightColumns = std::to_array<RecordColumn<InsightRow>>({
    {{"Server"}, [](const InsightRow& row) -> Cell { return row.network->serverName; }},
    {{"Severity"}, [](const InsightRow& row) -> Cell { return titleCell(row.record->severity); }},
    {{"Finding"}, [](const InsightRow& row) -> Cell { return row.record->title; }},
    {{"Detail"}, [](const InsightRow& row) -> Cell { return row.record->detail; }},
});

constexpr auto kLoginColumns = std::to_array<RecordColumn<LoginRow>>({
    {{"Server"}, [](const LoginRow& row) -> Cell { return row.network->serverName; }},
    {{"User"}, [](const LoginRow& row) -> Cell { return row.record->user; }},
    {{"From"}, [](const LoginRow& row) -> Cell { return row.record->remoteIP; }},
    {{"Country", Alignment::left, Need::ifItFits},
     [](const LoginRow& row) -> Cell { return orAbsent(row.record->countryName); }},
    {{"Tries", Alignment::right},
     [](const LoginRow& row) -> Cell { return std::to_string(row.record->attemptCount); }},
    {{"Threat", Alignment::right},
     [](const LoginRow& row) -> Cell { return threat(row.record->threatScore); }},
    {{"Last seen", Alignment::left, Need::ifItFits},
     [](const LoginRow& row) -> Cell { return lastSeen(row); }},
    {{"Kind", Alignment::left, Need::ifItFits},
     [](const LoginRow& row) -> Cell { return row.record->type; }},
});

constexpr auto kConnectionColumns = std::to_array<RecordColumn<ConnectionRow>>({
    {{"Server"}, [](const ConnectionRow& row) -> Cell { return row.network->serverName; }},
    {{"Remote"}, [](const ConnectionRow& row) -> Cell { return row.record->remoteAddress; }},
    {{"Local", Alignment::left, Need::ifItFits},
     [](const ConnectionRow& row) -> Cell { return row.record->localAddress; }},
    {{"State", Alignment::left, Need::ifItFits},
     [](const ConnectionRow& row) -> Cell { return row.record->state; }},
    {{"Threat", Alignment::right},
     [](const ConnectionRow& row) -> Cell { return threat(row.record->threatScore); }},
    {{"Country", Alignment::left, Need::ifItFits},
     [](const ConnectionRow& row) -> Cell { return orAbsent(row.record->countryName); }},
    {{"Process", Alignment::left, Need::ifItFits},
     [](const ConnectionRow& row) -> Cell { return orAbsent(row.record->processName); }},
});

constexpr auto kInterfaceColumns = std::to_array<RecordColumn<InterfaceRow>>({
    {{"Server"}, [](const InterfaceRow& row) -> Cell { return row.network->serverName; }},
    {{"Interface"}, [](const InterfaceRow& row) -> Cell { return row.record->name; }},
    {{"Received", Alignment::right},
     [](const InterfaceRow& row) -> Cell { return traffic(row.record->rxBytes); }},
    {{"Sent", Alignment::right},
     [](const InterfaceRow& row) -> Cell { return traffic(row.record->txBytes); }},
    {{"Kind", Alignment::left, Need::ifItFits},
     [](const InterfaceRow& row) -> Cell { return row.record->kind; }},
    {{"Address", Alignment::left, Need::ifItFits},
     [](const InterfaceRow& row) -> Cell { return orAbsent(row.record->addressSummary); }},
});

constexpr auto kAgentColumns = std::to_array<RecordColumn<AgentRow>>({
    {{"Server"}, [](const AgentRow& row) -> Cell { return row.agent->serverName; }},
    {{"Agent"},
     [](const AgentRow& row) -> Cell {
       return row.agent->ok ? Cell("fine", Ink::green) : Cell("in trouble", Ink::red);
     }},
    {{"Version"}, [](const AgentRow& row) -> Cell { return row.agent->version; }},
    {{"Reported"},
     [](const AgentRow& row) -> Cell { return agoText(row.agent->generatedAt, row.takenAt); }},
});

// --- Rows ---

template <class R>
std::vector<NetworkRow<R>> networkRows(const AppSnapshot& snapshot,
                                       std::vector<R> NetworkSummary::*list) {
  std::vector<NetworkRow<R>> rows;
  for (const NetworkSummary& network : snapshot.networkSummaries) {
    for (const R& record : network.*list) rows.push_back({&network, &record, snapshot.timestamp});
  }
  return rows;
}

std::vector<SensorsRow> sensorsRows(const AppSnapshot& snapshot) {
  std::vector<SensorsRow> rows;
  for (const SystemSensors& sensors : snapshot.sensors) rows.push_back(&sensors);
  return rows;
}

std::vector<AgentRow> agentRows(const AppSnapshot& snapshot) {
  std::vector<AgentRow> rows;
  for (const AgentStatus& agent : snapshot.agentStatuses) {
    rows.push_back({&agent, snapshot.timestamp});
  }
  return rows;
}

}  // namespace

std::vector<ScreenTable> sensorViewTables(const AppSnapshot& snapshot) {
  std::vector<ScreenTable> tables = {
      screenTable<SensorsRow>("Sensors", sensorsRows(snapshot), kSensorColumns),
      screenTable<InsightRow>("Network",
                              networkRows(snapshot, &NetworkSummary::insights),
                              kInsightColumns),
      screenTable<LoginRow>("SSH logins",
                            networkRows(snapshot, &NetworkSummary::sshEvents),
                            kLoginColumns),
      screenTable<ConnectionRow>("Connections",
                                 networkRows(snapshot, &NetworkSummary::connections),
                                 kConnectionColumns),
      screenTable<InterfaceRow>("Interfaces",
                                networkRows(snapshot, &NetworkSummary::interfaces),
                                kInterfaceColumns),
      screenTable<AgentRow>("Agents", agentRows(snapshot), kAgentColumns),
  };
  std::erase_if(tables, [](const ScreenTable& table) { return table.rowCount == 0; });
  return tables;
}

}  // namespace tavrine
