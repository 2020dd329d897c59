#include "companion/export/html_page.h"

#include "companion/export/html_style.h"
#include "companion/export/html_text.h"
#include "companion/export/svg_chart.h"
#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/snapshot_cells.h"
#include "companion/views/snapshot_parts.h"
#include "companion/views/snapshot_tables.h"
#include "companion/views/status_ink.h"
#include "companion/views/table_layout.h"
#include "companion/views/text_lines.h"

#include <TavrineShared/parsers/text_rules.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace tavrine {

namespace {

constexpr std::size_t kTopProcesses = 20;
constexpr std::size_t kMostListed = 200;  // of all else; a page that long is read by nobody
constexpr std::size_t kLogLines = 30;

// --- Words and their colours ---

std::string_view styleOf(Ink ink) {
  switch (ink) {
    case Ink::green:
      return "good";
    case Ink::yellow:
      return "fair";
    case Ink::red:
      return "bad";
    case Ink::plain:
    case Ink::bold:
    case Ink::faint:
    case Ink::cyan:
    case Ink::reversed:
      break;
  }
  return "plain";
}

std::string classes(std::string_view names) {
  return names.empty() ? std::string() : attribute("class", names);
}

template <VocabularyType V>
Markup badge(V value) {
  return element("span", value.title(), classes("badge " + std::string(styleOf(inkOf(value)))));
}

// --- Small parts ---

Markup ago(Timestamp time, Timestamp takenAt) { return timeMarkup(time, agoText(time, takenAt)); }

std::string perSecond(double kibibytes) {
  constexpr double kKibiPerMebi = 1024;
  return kibibytes < kKibiPerMebi ? oneDecimal(kibibytes) + " KiB/s"
                                  : oneDecimal(kibibytes / kKibiPerMebi) + " MiB/s";
}

void addFact(Markup& facts, std::string_view name, const Markup& value) {
  Markup fact = element("dt", name);
  fact += element("dd", value);
  facts += element("div", fact);
}

void addFact(Markup& facts, std::string_view name, std::string_view value) {
  addFact(facts, name, markup(value));
}

// A section of its own, or nothing where there is nothing to show.
Markup section(std::string_view title, std::size_t shown, std::size_t all, const Markup& content) {
  if (all == 0) return {};
  Markup heading = markup(title);
  const std::string count = std::to_string(all);
  heading += element("small", shown < all ? std::to_string(shown) + " of " + count : count);
  Markup made = element("h2", heading);
  made += content;
  return element("section", made);
}

template <class R>
std::span<const R> firstOf(const std::vector<R>& list, std::size_t count = kMostListed) {
  return std::span(list).first(std::min(list.size(), count));
}

// --- Tables ---

template <class R>
struct PageColumn {
  std::string_view heading;
  std::string_view style;
  Markup (*cell)(const R& record);
};

template <class R>
Markup pageTable(std::span<const R> records, std::span<const PageColumn<R>> columns) {
  Markup headings;
  for (const PageColumn<R>& column : columns) {
    headings += element("th", column.heading, classes(column.style) + " scope=\"col\"");
  }
  Markup rows;
  for (const R& record : records) {
    Markup cells;
    for (const PageColumn<R>& column : columns) {
      cells += element("td", column.cell(record), classes(column.style));
    }
    rows += element("tr", cells);
  }
  Markup table = element("thead", element("tr", headings));
  table += element("tbody", rows);
  return element("div", element("table", table), "class=\"table\"");
}

// --- The lab ---

Markup labHeader(const AppSnapshot& snapshot) {
  std::size_t gpus = 0;
  std::size_t reached = 0;
  for (const ServerSummary& server : snapshot.servers) {
    gpus += server.gpus.size();
    if (server.state != ServerConnectionState::offline) ++reached;
  }
  Markup tiles;
  addFact(tiles,
          "servers reached",
          std::to_string(reached) + " of " + std::to_string(snapshot.servers.size()));
  addFact(tiles, "GPUs", std::to_string(gpus));
  if (gpus > 0) {
    addFact(tiles, "GPU utilisation", withUnit(snapshot.averageGPUUtilization(), "%"));
    addFact(tiles, "GPU power", watts(snapshot.totalPowerDrawW()));
  }
  addFact(tiles, "active runs", std::to_string(snapshot.activeRunCount()));
  addFact(tiles,
          "processes train",
          std::to_string(snapshot.trainingProcessCount()) + " of " +
              std::to_string(snapshot.activeProcessCount()));
  const auto critical =
      std::count_if(snapshot.alerts.begin(), snapshot.alerts.end(), [](const TavrineAlert& alert) {
        return alert.severity == AlertSeverity::critical;
      });
  addFact(tiles, "critical alerts", std::to_string(critical));

  Markup header = element("h1", "GPU lab");
  Markup when = markup("as of ");
  when += timeMarkup(snapshot.timestamp, timeText(snapshot.timestamp));
  header += element("p", when);
  header += element("dl", tiles, "class=\"tiles\"");
  return element("header", header);
}

// --- Servers ---

Markup gauge(std::string_view left, std::string_view right, double share, std::string_view style) {
  Markup words = element("span", left);
  if (!right.empty()) words += element("span", right, "class=\"soft spare\"");
  Markup made = element("span", words);
  made += shareBar(share, style);
  return made;
}

constexpr auto kGPUColumns = std::to_array<PageColumn<GPUStat>>({
    {"GPU", "number", [](const GPUStat& gpu) { return markup(std::to_string(gpu.index)); }},
    {"Utilisation",
     "gauge",
     [](const GPUStat& gpu) {
       constexpr double kWhole = 100;
       return gauge(withUnit(gpu.utilizationPercent, "%"), "", gpu.utilizationPercent / kWhole, "");
     }},
    {"Memory",
     "gauge",
     [](const GPUStat& gpu) {
       return gauge(oneDecimal(gibibytesIn(gpu.memoryUsedMB)) + " GiB",
                    "of " + oneDecimal(gibibytesIn(gpu.memoryTotalMB)),
                    gpu.memoryFraction(),
                    "violet");
     }},
    {"Power",
     "gauge",
     [](const GPUStat& gpu) {
       return gauge(watts(gpu.powerDrawW),
                    "of " + oneDecimal(gpu.powerLimitW),
                    gpu.powerFraction(),
                    "teal");
     }},
    {"Temp",
     "number",
     [](const GPUStat& gpu) {
       const std::string text = upToOneDecimal(gpu.temperatureC) + " \u00B0C";
       return gpu.temperatureC >= kHotC ? element("span", text, "class=\"hot\"") : markup(text);
     }},
    {"Product", "spare", [](const GPUStat& gpu) { return markup(gpu.name); }},
    {"PCIe link",
     "spare",
     [](const GPUStat& gpu) { return markup(gpu.pcieLinkText().value_or(std::string(kAbsent))); }},
});

Markup serverArticle(const ServerSummary& server, Timestamp takenAt) {
  Markup head = element("h3", server.name);
  head += badge(server.state);
  Markup facts;
  addFact(facts, "Host", server.host);
  addFact(facts, "Last seen", timeMarkup(server.lastSeen, lastSeen(server, takenAt)));
  addFact(facts, "Active runs", std::to_string(server.activeRuns));
  if (server.diskFreeGB) addFact(facts, "Disk free", gibibytes(*server.diskFreeGB));
  Markup content = element("div", head, "class=\"head\"");
  content += element("dl", facts, "class=\"facts\"");
  if (server.gpus.empty()) {
    content += element("p", "No GPU reported.", "class=\"none\"");
  } else {
    content += pageTable<GPUStat>(firstOf(server.gpus), kGPUColumns);
  }
  return element("article", content);
}

Markup serverSection(const AppSnapshot& snapshot) {
  Markup articles;
  const auto shown = firstOf(snapshot.servers);
  for (const ServerSummary& server : shown) articles += serverArticle(server, snapshot.timestamp);
  return section("Servers", shown.size(), snapshot.servers.size(), articles);
}

// --- Runs ---

ChartCurve curveOf(std::string_view style, const std::vector<TrainingMetric>& metrics,
                   double TrainingMetric::*figure) {
  ChartCurve curve{style, {}};
  curve.points.reserve(metrics.size());
  for (const TrainingMetric& metric : metrics) {
    curve.points.push_back({static_cast<double>(metric.step), metric.*figure});
  }
  return curve;
}

Markup captionOf(std::string_view name, std::string_view value) {
  Markup caption = element("b", name);
  caption += markup(value);
  return caption;
}

Markup runCharts(const TrainingRun& run) {
  const std::array losses{curveOf("loss", run.metrics, &TrainingMetric::loss),
                          curveOf("validation", run.valMetrics, &TrainingMetric::loss)};
  const std::array speeds{curveOf("throughput", run.metrics, &TrainingMetric::throughput)};
  Markup loss = captionOf("Loss", lossText(run.currentLoss));
  if (!run.valMetrics.empty()) {
    loss += element("span", " validation " + lossText(run.valMetrics.back().loss), "class=\"key\"");
  }
  Markup charts = curveChart(loss, "Loss", "step", losses);
  charts += curveChart(captionOf("Throughput", oneDecimal(run.throughput) + " /s"),
                       "Throughput",
                       "step",
                       speeds);
  if (charts.html.empty()) return element("p", "No steps logged.", "class=\"none\"");
  return element("div", charts, "class=\"charts\"");
}

Markup logDetails(const TrainingRun& run) {
  if (run.logTail.empty()) return {};
  Markup shown;
  for (const std::string_view line : linesOf(lastLines(run.logTail, kLogLines))) {
    shown += markup(line.ends_with('\r') ? line.substr(0, line.size() - 1) : line);
    shown.html.push_back('\n');
  }
  Markup details = element("summary", "End of the log");
  details += element("pre", shown);
  return element("details", details);
}

Markup runArticle(const TrainingRun& run, Timestamp takenAt) {
  Markup head = element("h3", run.name);
  head += badge(run.status);
  // A run that failed is in health "failed", too.
  if (run.health.title() != run.status.title()) head += badge(run.health);
  Markup facts;
  addFact(facts, "Server", run.serverName);
  if (run.modelName) addFact(facts, "Model", *run.modelName);
  if (run.datasetName) addFact(facts, "Data", *run.datasetName);
  addFact(facts, "Framework", run.framework);
  addFact(facts, "Started", ago(run.startedAt, takenAt));
  if (run.etaSeconds) addFact(facts, "To go", durationText(*run.etaSeconds));
  addFact(facts, "GPU", withUnit(run.gpuUtilization, "%"));
  addFact(facts, "GPU memory", runMemory(run));
  addFact(facts, "Power", watts(run.powerDrawW));
  addFact(facts, "Compute", oneDecimal(run.flopsTFLOPs) + " TFLOP/s");
  Markup content = element("div", head, "class=\"head\"");
  content += element("dl", facts, "class=\"facts\"");
  content += runCharts(run);
  content += logDetails(run);
  return element("article", content);
}

Markup runSection(const AppSnapshot& snapshot) {
  Markup articles;
  const auto shown = firstOf(snapshot.runs);
  for (const TrainingRun& run : shown) articles += runArticle(run, snapshot.timestamp);
  return section("Runs", shown.size(), snapshot.runs.size(), articles);
}

// --- Alerts ---

Markup alertSection(const AppSnapshot& snapshot) {
  const std::vector<const TavrineAlert*> alerts = alertsByGravity(snapshot);
  const auto shown = firstOf(alerts);
  Markup items;
  for (const TavrineAlert* const alert : shown) {
    Markup item = badge(alert->severity);
    item += element("b", alert->title);
    item += element("p", alert->message);
    const std::string about = subjectOf(*alert).value_or("");
    Markup where = markup(about.empty() ? about : about + " \u00B7 ");
    where += ago(alert->timestamp, snapshot.timestamp);
    item += element("span", where, "class=\"soft\"");
    items += element("li", item);
  }
  return section("Alerts",
                 shown.size(),
                 alerts.size(),
                 element("div", element("ul", items), "class=\"table\""));
}

// --- Processes, users, sensors ---

constexpr auto kProcessColumns = std::to_array<PageColumn<ProcessRow>>({
    {"Server", "", [](const ProcessRow& row) { return markup(row->serverName); }},
    {"PID", "number", [](const ProcessRow& row) { return markup(std::to_string(row->pid)); }},
    {"User", "", [](const ProcessRow& row) { return markup(row->owner); }},
    {"Kind", "spare", [](const ProcessRow& row) { return markup(row->kind.title()); }},
    {"GPU memory",
     "number",
     [](const ProcessRow& row) {
       return markup(row->gpuMemoryMB ? gibibytesOfMB(*row->gpuMemoryMB) : std::string(kAbsent));
     }},
    {"CPU", "number", [](const ProcessRow& row) { return markup(withUnit(row->cpuPercent, "%")); }},
    {"Memory",
     "number",
     [](const ProcessRow& row) { return markup(gibibytes(row->residentMemoryGB())); }},
    {"Elapsed", "number spare", [](const ProcessRow& row) { return markup(row->elapsed); }},
    {"Command", "long mono", [](const ProcessRow& row) { return markup(row->command); }},
});

Markup processSection(const AppSnapshot& snapshot) {
  const std::vector<ProcessRow> top = topProcesses(snapshot, kTopProcesses);
  return section("Processes",
                 top.size(),
                 snapshot.processes.size(),
                 pageTable<ProcessRow>(top, kProcessColumns));
}

constexpr auto kUserColumns = std::to_array<PageColumn<UserRow>>({
    {"User", "", [](const UserRow& row) { return element("b", row.user->username); }},
    {"Server", "", [](const UserRow& row) { return markup(row.summary->serverName); }},
    {"Days",
     "number spare",
     [](const UserRow& row) { return markup(std::to_string(row.summary->days)); }},
    {"Processes",
     "number",
     [](const UserRow& row) { return markup(std::to_string(row.user->processCount)); }},
    {"Training",
     "number",
     [](const UserRow& row) { return markup(std::to_string(row.user->trainingProcessCount)); }},
    {"CPU",
     "number",
     [](const UserRow& row) { return markup(withUnit(row.user->cpuPercent, "%")); }},
    {"Memory", "number", [](const UserRow& row) { return markup(gibibytes(row.user->memoryGB)); }},
    {"GPU memory",
     "number",
     [](const UserRow& row) { return markup(gibibytes(row.user->gpuMemoryGB)); }},
    {"Logins",
     "number",
     [](const UserRow& row) { return markup(std::to_string(row.user->loginCount)); }},
    {"Last login",
     "spare",
     [](const UserRow& row) { return markup(orAbsent(row.user->lastLogin)); }},
});

Markup userSection(const AppSnapshot& snapshot) {
  const std::vector<UserRow> rows = userRows(snapshot);
  const auto shown = firstOf(rows);
  return section("Users", shown.size(), rows.size(), pageTable<UserRow>(shown, kUserColumns));
}

std::string joined(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) text.append(text.empty() ? "" : ", ").append(part);
  return text.empty() ? std::string(kAbsent) : text;
}

constexpr auto kSensorColumns = std::to_array<PageColumn<SystemSensors>>({
    {"Server", "", [](const SystemSensors& sensors) { return element("b", sensors.serverName); }},
    {"Load 1, 5, 15 min",
     "number",
     [](const SystemSensors& sensors) {
       std::vector<std::string> loads;
       for (const double load : sensors.loadAverage) loads.push_back(upToOneDecimal(load));
       return markup(joined(loads));
     }},
    {"Hottest",
     "number",
     [](const SystemSensors& sensors) {
       return markup(withUnit(sensors.peakCPUTempC(), " \u00B0C"));
     }},
    {"Read",
     "number",
     [](const SystemSensors& sensors) { return markup(perSecond(sensors.totalDiskReadKBps())); }},
    {"Written",
     "number",
     [](const SystemSensors& sensors) { return markup(perSecond(sensors.totalDiskWriteKBps())); }},
    {"Temperatures",
     "long",
     [](const SystemSensors& sensors) {
       std::vector<std::string> readings;
       for (const auto& [label, celsius] : sensors.cpuTemperatures) {
         readings.push_back(label + " " + upToOneDecimal(celsius) + " \u00B0C");
       }
       return markup(joined(readings));
     }},
});

Markup sensorSection(const AppSnapshot& snapshot) {
  const auto shown = firstOf(snapshot.sensors);
  return section("Sensors",
                 shown.size(),
                 snapshot.sensors.size(),
                 pageTable<SystemSensors>(shown, kSensorColumns));
}

// Nothing from anywhere else, whatever stands in the page.
constexpr std::string_view kHead = R"(<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; base-uri 'none'; form-action 'none'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="referrer" content="no-referrer">
<meta name="color-scheme" content="light dark">
)";

}  // namespace

std::string htmlPage(const AppSnapshot& snapshot) {
  Markup head{std::string(kHead)};
  head += element("title", "GPU lab, " + timeText(snapshot.timestamp));
  head += element("style", Markup{std::string(kPageStyle)});

  Markup content = alertSection(snapshot);
  content += serverSection(snapshot);
  content += runSection(snapshot);
  content += processSection(snapshot);
  content += userSection(snapshot);
  content += sensorSection(snapshot);
  if (content.html.empty()) {
    content = element("p", "There is nothing in this snapshot.", "class=\"none\"");
  }
  Markup body = labHeader(snapshot);
  body += element("main", content);
  body += element("footer", "Times are told from when the snapshot was taken. Made by tavrine.");

  Markup page = element("head", head);
  page += element("body", body);
  return "<!DOCTYPE html>\n" + element("html", page, "lang=\"en\"").html + "\n";
}

}  // namespace tavrine
