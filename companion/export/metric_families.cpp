#include "companion/export/metric_families.h"

#include "companion/export/metric_tables.h"

#include <array>
#include <cstddef>
#include <initializer_list>
#include <map>
#include <optional>
#include <span>
#include <unordered_set>
#include <utility>

namespace tavrine {

namespace {

// --- Labels ---

struct Label {
  std::string_view name;
  std::string_view value;
};

void addLabel(std::string& labels, const Label& label) {
  if (label.value.empty()) return;
  labels.append(labels.empty() ? "" : ",").append(label.name).append("=\"");
  for (const char c : label.value) {
    if (c == '\\' || c == '"') labels.push_back('\\');
    if (c == '\n') {
      labels.append("\\n");
    } else {
      labels.push_back(c);
    }
  }
  labels.push_back('"');
}

std::string labelsOf(std::initializer_list<Label> list, std::string labels = {}) {
  for (const Label& label : list) addLabel(labels, label);
  return labels;
}

/// What gets the same families, each with labels of its own.
template <class R>
class Rows {
 public:
  struct Row {
    std::string labels;
    const R* record;
  };

  void add(const R& record, std::initializer_list<Label> list) {
    std::string labels = labelsOf(list);
    if (known_.insert(labels).second) {
      rows_.push_back({std::move(labels), &record});
    } else if (++leftOut_ == 1) {
      firstLeftOut_ = std::move(labels);
    }
  }

  auto begin() const { return rows_.begin(); }
  auto end() const { return rows_.end(); }

  void tell(std::string_view what, std::vector<std::string>& leftOut) const {
    if (leftOut_ == 0) return;
    leftOut.push_back(std::to_string(leftOut_)
                          .append(" of the ")
                          .append(what)
                          .append(" left out, for another has the same labels: {")
                          .append(firstLeftOut_)
                          .append(leftOut_ == 1 ? "}" : "} and others"));
  }

 private:
  std::vector<Row> rows_;
  std::unordered_set<std::string> known_;
  std::size_t leftOut_ = 0;
  std::string firstLeftOut_;
};

// --- Families ---

class Exporter {
 public:
  MetricFamily& begin(std::string_view name, std::string_view help,
                      MetricType type = MetricType::gauge, std::string_view unit = {}) {
    return made_.families.emplace_back(
        MetricFamily{"tavrine_" + std::string(name), help, unit, type, {}});
  }

  template <class R>
  void addNumbers(const Rows<R>& rows, std::span<const Metric<R>> metrics) {
    for (const Metric<R>& metric : metrics) {
      MetricFamily& family = begin(metric.name, metric.help, metric.type, metric.unit);
      for (const auto& row : rows) {
        const std::optional<double> value = metric.value(*row.record);
        // A counter counts up from 0; below that, the number is none of it.
        const bool isPossible = value && (metric.type != MetricType::counter || *value >= 0);
        if (isPossible) family.samples.push_back({row.labels, *value});
      }
    }
  }

  /// What is told of each row in the labels that `more` adds.
  template <class R, class More>
  void addInfo(const Rows<R>& rows, std::string_view name, std::string_view help,
               const More& more) {
    MetricFamily& family = begin(name, help, MetricType::info);
    for (const auto& row : rows) {
      family.samples.push_back({more(*row.record, row.labels), 1});
    }
  }

  /// A sample for each case that could be. The format wants its label called like the family.
  template <class R, VocabularyType V>
  void addStates(const Rows<R>& rows, std::string_view name, std::string_view help, V R::*state) {
    MetricFamily& family = begin(name, help, MetricType::stateSet);
    for (const auto& row : rows) {
      for (const V possible : V::allCases()) {
        std::string labels = labelsOf({{family.name, possible.rawValue()}}, row.labels);
        family.samples.push_back({std::move(labels), row.record->*state == possible ? 1.0 : 0.0});
      }
    }
  }

  template <class R>
  void tell(std::string_view what, const Rows<R>& rows) {
    rows.tell(what, made_.leftOut);
  }

  MetricExport take() {
    std::erase_if(made_.families,
                  [](const MetricFamily& family) { return family.samples.empty(); });
    return std::move(made_);
  }

 private:
  MetricExport made_;
};

void addServers(const AppSnapshot& snapshot, Exporter& exporter) {
  Rows<ServerSummary> rows;
  for (const ServerSummary& server : snapshot.servers) rows.add(server, {{"server", server.name}});
  exporter.addInfo(rows,
                   "server",
                   "How the server is reached.",
                   [](const ServerSummary& server, const std::string& labels) {
                     return labelsOf({{"host", server.host}}, labels);
                   });
  exporter.addStates(rows, "server_state", "How the server can be reached.", &ServerSummary::state);
  exporter.addNumbers(rows, serverMetrics());
  exporter.tell("servers", rows);
}

void addGPUs(const AppSnapshot& snapshot, Exporter& exporter) {
  Rows<GPUStat> rows;
  for (const ServerSummary& server : snapshot.servers) {
    for (const GPUStat& gpu : server.gpus) {
      rows.add(gpu, {{"server", server.name}, {"gpu", std::to_string(gpu.index)}});
    }
  }
  exporter.addInfo(rows, "gpu", "The product.", [](const GPUStat& gpu, const std::string& labels) {
    return labelsOf({{"name", gpu.name}}, labels);
  });
  exporter.addNumbers(rows, gpuMetrics());
  exporter.tell("GPUs", rows);
}

void addRuns(const AppSnapshot& snapshot, Exporter& exporter) {
  Rows<TrainingRun> rows;
  for (const TrainingRun& run : snapshot.runs) {
    rows.add(run, {{"server", run.serverName}, {"run", run.name}});
  }
  exporter.addInfo(rows,
                   "run",
                   "What is trained.",
                   [](const TrainingRun& run, const std::string& labels) {
                     return labelsOf({{"framework", run.framework},
                                      {"model", run.modelName.value_or("")},
                                      {"dataset", run.datasetName.value_or("")}},
                                     labels);
                   });
  exporter.addStates(rows, "run_status", "Where the run stands in its life.", &TrainingRun::status);
  exporter.addStates(rows, "run_health", "How well the run does.", &TrainingRun::health);
  exporter.addNumbers(rows, runMetrics());
  exporter.tell("runs", rows);
}

void addAlerts(const AppSnapshot& snapshot, Exporter& exporter) {
  MetricFamily& family = exporter.begin("alerts", "Alerts by their severity.");
  for (const AlertSeverity severity : AlertSeverity::allCases()) {
    double count = 0;
    for (const TavrineAlert& alert : snapshot.alerts) count += alert.severity == severity ? 1 : 0;
    family.samples.push_back({labelsOf({{"severity", severity.rawValue()}}), count});
  }
}

void addSensors(const AppSnapshot& snapshot, Exporter& exporter) {
  Rows<CPUTemperature> temperatures;
  Rows<DiskIORate> disks;
  Rows<SystemSensors> loads;
  for (const SystemSensors& sensors : snapshot.sensors) {
    // Two drives have a sensor of one name each.
    std::map<std::string_view, int> met;
    for (const CPUTemperature& reading : sensors.cpuTemperatures) {
      temperatures.add(reading,
                       {{"server", sensors.serverName},
                        {"sensor", reading.label},
                        {"number", std::to_string(++met[reading.label])}});
    }
    for (const DiskIORate& rate : sensors.diskIO) {
      disks.add(rate, {{"server", sensors.serverName}, {"device", rate.device}});
    }
    loads.add(sensors, {{"server", sensors.serverName}});
  }
  exporter.addNumbers(loads, loadMetrics());
  exporter.addNumbers(temperatures, temperatureMetrics());
  exporter.addNumbers(disks, diskMetrics());
  exporter.tell("sensor reports", loads);
  exporter.tell("temperatures", temperatures);
  exporter.tell("disks", disks);
}

void addUsers(const AppSnapshot& snapshot, Exporter& exporter) {
  Rows<StudentUsage> rows;
  for (const UsageSummary& summary : snapshot.usageSummaries) {
    for (const StudentUsage& user : summary.students) {
      rows.add(user,
               {{"server", summary.serverName},
                {"user", user.username},
                {"days", std::to_string(summary.days)}});
    }
  }
  exporter.addNumbers(rows, userMetrics());
  exporter.tell("users", rows);
}

void addAgents(const AppSnapshot& snapshot, Exporter& exporter) {
  Rows<RecorderHealth> recorders;
  for (const RecorderHealth& health : snapshot.recorderHealth) {
    recorders.add(health, {{"server", health.serverName}});
  }
  exporter.addNumbers(recorders, recorderMetrics());
  exporter.tell("recorder reports", recorders);

  Rows<AgentStatus> agents;
  for (const AgentStatus& agent : snapshot.agentStatuses) {
    agents.add(agent, {{"server", agent.serverName}});
  }
  exporter.addInfo(agents,
                   "agent",
                   "The agent of the server.",
                   [](const AgentStatus& agent, const std::string& labels) {
                     return labelsOf({{"version", agent.version}}, labels);
                   });
  exporter.addNumbers(agents, agentMetrics());
  exporter.tell("agents", agents);
}

void addInterfaces(const AppSnapshot& snapshot, Exporter& exporter) {
  Rows<NetworkInterfaceStat> rows;
  for (const NetworkSummary& summary : snapshot.networkSummaries) {
    for (const NetworkInterfaceStat& stat : summary.interfaces) {
      rows.add(stat, {{"server", summary.serverName}, {"interface", stat.name}});
    }
  }
  exporter.addNumbers(rows, interfaceMetrics());
  exporter.tell("network interfaces", rows);
}

void addProcessCounts(const AppSnapshot& snapshot, Exporter& exporter) {
  using Counts = std::array<double, ProcessKind::kEntries.size()>;
  std::map<std::string_view, Counts> counts;  // of the servers, none among them for a kind as well
  for (const ServerSummary& server : snapshot.servers) counts.try_emplace(server.name, Counts{});
  for (const ProcessStat& process : snapshot.processes) {
    Counts& ofServer = counts.try_emplace(process.serverName, Counts{}).first->second;
    ofServer.at(process.kind.index()) += 1;
  }
  MetricFamily& family = exporter.begin("processes", "Processes by what they are there for.");
  for (const auto& [server, ofServer] : counts) {
    for (const ProcessKind kind : ProcessKind::allCases()) {
      family.samples.push_back(
          {labelsOf({{"server", server}, {"kind", kind.rawValue()}}), ofServer.at(kind.index())});
    }
  }
}

void addProcesses(const AppSnapshot& snapshot, Exporter& exporter) {
  Rows<ProcessStat> rows;
  for (const ProcessStat& process : snapshot.processes) {
    rows.add(process,
             {{"server", process.serverName},
              {"pid", std::to_string(process.pid)},
              {"user", process.owner},
              {"command", process.command}});
  }
  exporter.addNumbers(rows, processMetrics());
  exporter.tell("processes", rows);
}

}  // namespace

MetricExport metricFamilies(const AppSnapshot& snapshot, const MetricOptions& options) {
  Exporter exporter;
  Rows<AppSnapshot> lab;
  lab.add(snapshot, {});
  exporter.addNumbers(lab, labMetrics());
  addServers(snapshot, exporter);
  addGPUs(snapshot, exporter);
  addRuns(snapshot, exporter);
  addAlerts(snapshot, exporter);
  addSensors(snapshot, exporter);
  addUsers(snapshot, exporter);
  addAgents(snapshot, exporter);
  addInterfaces(snapshot, exporter);
  addProcessCounts(snapshot, exporter);
  if (options.processes) addProcesses(snapshot, exporter);
  return exporter.take();
}

}  // namespace tavrine
