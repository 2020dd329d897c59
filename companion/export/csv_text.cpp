#include "companion/export/csv_text.h"

#include <TavrineShared/foundation/json_writer.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_conventions.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

namespace tavrine {

namespace {

// --- Kinds ---

using Snapshot = AppSnapshot;
using Visit = CSVRowVisitor;
using Run = TrainingRun;

constexpr std::array<std::string_view, 0> kNoOwner{};
constexpr auto kServer = std::to_array<std::string_view>({"serverName"});
constexpr auto kServerAndRun = std::to_array<std::string_view>({"serverName", "runName"});
constexpr auto kServerAndDays = std::to_array<std::string_view>({"serverName", "days"});
constexpr auto kServerDaysAndUser =
    std::to_array<std::string_view>({"serverName", "days", "username"});

template <auto List>
void visitList(const Snapshot& snapshot, const Visit& visit) {
  for (const auto& record : snapshot.*List) visit({}, &record);
}

template <auto List>
void visitServers(const Snapshot& snapshot, const Visit& visit) {
  for (const ServerSummary& server : snapshot.servers) {
    for (const auto& record : server.*List) visit(std::array{server.name}, &record);
  }
}

template <auto List>
void visitRuns(const Snapshot& snapshot, const Visit& visit) {
  for (const Run& run : snapshot.runs) {
    const std::array owners{run.serverName, run.name};
    for (const auto& record : run.*List) visit(owners, &record);
  }
}

/// The lists within records that carry the name of their server.
template <auto Outer, auto List>
void visitWithin(const Snapshot& snapshot, const Visit& visit) {
  for (const auto& outer : snapshot.*Outer) {
    const std::array owners{outer.serverName};
    for (const auto& record : outer.*List) visit(owners, &record);
  }
}

void visitUsers(const Snapshot& snapshot, const Visit& visit) {
  for (const UsageSummary& summary : snapshot.usageSummaries) {
    const std::array owners{summary.serverName, std::to_string(summary.days)};
    for (const StudentUsage& user : summary.students) visit(owners, &user);
  }
}

void visitConnectionSources(const Snapshot& snapshot, const Visit& visit) {
  for (const UsageSummary& summary : snapshot.usageSummaries) {
    for (const StudentUsage& user : summary.students) {
      const std::array owners{summary.serverName, std::to_string(summary.days), user.username};
      for (const ConnectionSource& source : user.connectionSources) visit(owners, &source);
    }
  }
}

template <auto List>
constexpr auto kVisitNetwork = visitWithin<&Snapshot::networkSummaries, List>;
template <auto List>
constexpr auto kVisitSensors = visitWithin<&Snapshot::sensors, List>;

using Network = NetworkSummary;
using Sensors = SystemSensors;
constexpr auto kKinds = std::to_array<CSVKind>({
    {"servers", ServerSummary::table, kNoOwner, visitList<&Snapshot::servers>},
    {"gpus", GPUStat::table, kServer, visitServers<&ServerSummary::gpus>},
    {"runs", Run::table, kNoOwner, visitList<&Snapshot::runs>},
    {"metrics", TrainingMetric::table, kServerAndRun, visitRuns<&Run::metrics>},
    {"validation-metrics", TrainingMetric::table, kServerAndRun, visitRuns<&Run::valMetrics>},
    {"checkpoints", CheckpointSummary::table, kServerAndRun, visitRuns<&Run::checkpoints>},
    {"recorder-points", RecorderLogPoint::table, kServerAndRun, visitRuns<&Run::recorderPoints>},
    {"alerts", TavrineAlert::table, kNoOwner, visitList<&Snapshot::alerts>},
    {"processes", ProcessStat::table, kNoOwner, visitList<&Snapshot::processes>},
    {"usage", UsageSummary::table, kNoOwner, visitList<&Snapshot::usageSummaries>},
    {"users", StudentUsage::table, kServerAndDays, visitUsers},
    {"connection-sources", ConnectionSource::table, kServerDaysAndUser, visitConnectionSources},
    {"networks", Network::table, kNoOwner, visitList<&Snapshot::networkSummaries>},
    {"interfaces", NetworkInterfaceStat::table, kServer, kVisitNetwork<&Network::interfaces>},
    {"connections", NetworkConnectionStat::table, kServer, kVisitNetwork<&Network::connections>},
    {"insights", NetworkInsight::table, kServer, kVisitNetwork<&Network::insights>},
    {"packet-analyses",
     PacketThreatAnalysis::table,
     kServer,
     kVisitNetwork<&Network::packetAnalyses>},
    {"ssh-events", SSHAuthEvent::table, kServer, kVisitNetwork<&Network::sshEvents>},
    {"agents", AgentStatus::table, kNoOwner, visitList<&Snapshot::agentStatuses>},
    {"events", LabEvent::table, kNoOwner, visitList<&Snapshot::labEvents>},
    {"event-stores", LabEventStoreSummary::table, kNoOwner, visitList<&Snapshot::labEventStores>},
    {"sensors", Sensors::table, kNoOwner, visitList<&Snapshot::sensors>},
    {"temperatures", CPUTemperature::table, kServer, kVisitSensors<&Sensors::cpuTemperatures>},
    {"disks", DiskIORate::table, kServer, kVisitSensors<&Sensors::diskIO>},
    {"recorders", RecorderHealth::table, kNoOwner, visitList<&Snapshot::recorderHealth>},
    {"active-recorders",
     RecorderActiveEntry::table,
     kServer,
     visitWithin<&Snapshot::recorderHealth, &RecorderHealth::activeRecorders>},
    {"model-managers", ModelManager::table, kNoOwner, visitList<&Snapshot::modelManagers>},
    {"models",
     ModelManager::Available::table,
     kServer,
     visitWithin<&Snapshot::modelManagers, &ModelManager::available>},
});

// --- Cells ---

bool isPlainNumber(std::string_view text) {
  if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
  if (text.empty() || text.front() < '.' || text.front() > '9') return false;
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return end == text.data() + text.size() && error != std::errc::invalid_argument;
}

// What spreadsheets take for the beginning of a formula, or pass over in front of one; the last
// four are the wide forms of the first, which some take for the same.
constexpr auto kFormulaStarts = std::to_array<std::string_view>(
    {"=", "+", "-", "@", "\t", "\r", "\n", "\uFF1D", "\uFF0B", "\uFF0D", "\uFF20"});

bool looksLikeFormula(std::string_view text) {
  return std::any_of(kFormulaStarts.begin(),
                     kFormulaStarts.end(),
                     [text](std::string_view start) { return text.starts_with(start); }) &&
         !isPlainNumber(text);
}

void addCell(std::string& line, std::string_view text) {
  std::string guarded;
  if (looksLikeFormula(text)) text = guarded.append("'").append(text);
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
    line.append(text);
    return;
  }
  line.push_back('"');
  for (const char c : text) line.append(c == '"' ? std::size_t{2} : 1, c);
  line.push_back('"');
}

std::string cellText(const Field& field, const void* record, CSVText& made) {
  const void* const member = field.member(record);
  if (field.type->isPresent != nullptr && !field.type->isPresent(member)) return {};
  JSONWriter writer(JSONStyle::compact);
  EncodingProblem problem;
  if (!field.type->encode(writer, member, {.problem = &problem})) {
    if (++made.emptied == 1) made.whyEmptied = problem.reason;
    return {};
  }
  std::string json = writer.take();
  return json.starts_with('"') ? decode<std::string>(json) : json;
}

std::vector<const Field*> columnsOf(const RecordTable& table) {
  std::vector<const Field*> columns;
  for (const Field& field : table.fields) {
    if (field.type->visitRecords == nullptr) columns.push_back(&field);
  }
  return columns;
}

}  // namespace

std::span<const CSVKind> csvKinds() { return kKinds; }

const CSVKind* findCSVKind(std::string_view name) {
  const auto* const found = std::find_if(kKinds.begin(), kKinds.end(), [name](const CSVKind& kind) {
    return kind.name == name;
  });
  return found == kKinds.end() ? nullptr : found;
}

CSVText csvText(const AppSnapshot& snapshot, const CSVKind& kind) {
  const std::vector<const Field*> columns = columnsOf(kind.table());
  CSVText made;
  std::string& text = made.text;
  const auto addSeparated = [&text, isFirst = true](std::string_view cell) mutable {
    if (!isFirst) text.push_back(',');
    isFirst = false;
    addCell(text, cell);
  };
  auto headings = addSeparated;
  for (const std::string_view owner : kind.owners) headings(owner);
  for (const Field* const column : columns) headings(column->key);
  text.push_back('\n');
  kind.visit(snapshot, [&](std::span<const std::string> owners, const void* record) {
    auto cells = addSeparated;
    for (const std::string& owner : owners) cells(owner);
    for (const Field* const column : columns) cells(cellText(*column, record, made));
    text.push_back('\n');
  });
  return made;
}

}  // namespace tavrine
