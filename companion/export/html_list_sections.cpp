#include "companion/export/html_sections.h"

#include "companion/export/html_parts.h"
#include "companion/views/joined.h"
#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/snapshot_parts.h"
#include "companion/views/snapshot_tables.h"
#include "companion/views/table_layout.h"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace tavrine {

namespace {

constexpr std::size_t kTopProcesses = 20;

// The columns are not those of the tables for terminals: where a screen is narrow, a page hides
// others, and it shows whole command lines.

constexpr auto kProcessColumns = std::to_array<PageColumn<ProcessRow>>({
    {"Server", "", [](const ProcessRow& row) { return markup(row->serverName); }},
    {"PID", "number", [](const ProcessRow& row) { return markup(std::to_string(row->pid)); }},
    {"User", "", [](const ProcessRow& row) { return markup(row->owner); }},
    {"Kind", "spare", [](const ProcessRow& row) { return markup(row->kind.title()); }},
    {"GPU memory",
     "number",
     [](const ProcessRow& row) { return markup(gibibytesOfMB(row->gpuMemoryMB)); }},
    {"CPU", "number", [](const ProcessRow& row) { return markup(withUnit(row->cpuPercent, "%")); }},
    {"Memory",
     "number",
     [](const ProcessRow& row) { return markup(gibibytes(row->residentMemoryGB())); }},
    {"Elapsed", "number spare", [](const ProcessRow& row) { return markup(row->elapsed); }},
    {"Command", "long mono", [](const ProcessRow& row) { return markup(row->command); }},
});

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

std::string perSecond(double kibibytes) {
  constexpr double kKibiPerMebi = 1024;
  return kibibytes < kKibiPerMebi ? oneDecimal(kibibytes) + " KiB/s"
                                  : oneDecimal(kibibytes / kKibiPerMebi) + " MiB/s";
}

template <class List, class TextOf>
Markup listed(const List& list, const TextOf& textOf) {
  return list.empty() ? markup(kAbsent) : markup(joined(list, ", ", textOf));
}

constexpr auto kSensorColumns = std::to_array<PageColumn<SystemSensors>>({
    {"Server", "", [](const SystemSensors& sensors) { return element("b", sensors.serverName); }},
    {"Load 1, 5, 15 min",
     "number",
     [](const SystemSensors& sensors) { return listed(sensors.loadAverage, upToOneDecimal); }},
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
       return listed(sensors.cpuTemperatures, [](const CPUTemperature& reading) {
         return reading.label + " " + upToOneDecimal(reading.celsius) + " \u00B0C";
       });
     }},
});

}  // namespace

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

Markup processSection(const AppSnapshot& snapshot) {
  const std::vector<ProcessRow> top = topProcesses(snapshot, kTopProcesses);
  return section("Processes",
                 top.size(),
                 snapshot.processes.size(),
                 pageTable<ProcessRow>(top, kProcessColumns));
}

Markup userSection(const AppSnapshot& snapshot) {
  const std::vector<UserRow> rows = userRows(snapshot);
  const auto shown = firstOf(rows);
  return section("Users", shown.size(), rows.size(), pageTable<UserRow>(shown, kUserColumns));
}

Markup sensorSection(const AppSnapshot& snapshot) {
  const auto shown = firstOf(snapshot.sensors);
  return section("Sensors",
                 shown.size(),
                 snapshot.sensors.size(),
                 pageTable<SystemSensors>(shown, kSensorColumns));
}

}  // namespace tavrine
