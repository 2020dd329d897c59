#include "companion/export/html_sections.h"

#include "companion/export/html_parts.h"
#include "companion/export/svg_chart.h"
#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/snapshot_cells.h"
#include "companion/views/text_lines.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

namespace tavrine {

namespace {

constexpr std::size_t kLogLines = 30;

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

}  // namespace

Markup runSection(const AppSnapshot& snapshot) {
  Markup articles;
  const auto shown = firstOf(snapshot.runs);
  for (const TrainingRun& run : shown) articles += runArticle(run, snapshot.timestamp);
  return section("Runs", shown.size(), snapshot.runs.size(), articles);
}

}  // namespace tavrine
