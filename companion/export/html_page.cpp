#include "companion/export/html_page.h"

#include "companion/export/html_parts.h"
#include "companion/export/html_sections.h"
#include "companion/export/html_style.h"
#include "companion/views/quantity_text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace tavrine {

namespace {

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
