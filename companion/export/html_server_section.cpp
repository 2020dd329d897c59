#include "companion/export/html_sections.h"

#include "companion/export/html_parts.h"
#include "companion/export/svg_chart.h"
#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/snapshot_cells.h"
#include "companion/views/snapshot_parts.h"
#include "companion/views/table_layout.h"

#include <array>
#include <string>
#include <string_view>

namespace tavrine {

namespace {

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

}  // namespace

Markup serverSection(const AppSnapshot& snapshot) {
  Markup articles;
  const auto shown = firstOf(snapshot.servers);
  for (const ServerSummary& server : shown) articles += serverArticle(server, snapshot.timestamp);
  return section("Servers", shown.size(), snapshot.servers.size(), articles);
}

}  // namespace tavrine
