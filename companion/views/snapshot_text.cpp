#include "companion/views/snapshot_text.h"

#include "companion/views/quantity_text.h"
#include "companion/views/snapshot_cells.h"
#include "companion/views/snapshot_tables.h"

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace tavrine {

namespace {

template <class Row>
void addSection(std::string& text, std::string_view title, const std::vector<Row>& rows,
                std::span<const RecordColumn<Row>> columns, const TableStyle& style) {
  if (rows.empty()) return;
  text.append("\n").append(inked(title, Ink::bold, style.paint)).append("\n");
  text.append(recordTable<Row>(rows, columns, style));
}

std::string summary(const AppSnapshot& snapshot, Timestamp now) {
  std::size_t gpus = 0;
  for (const ServerSummary& server : snapshot.servers) gpus += server.gpus.size();
  const auto runs = static_cast<std::size_t>(snapshot.activeRunCount());
  std::string text = "Snapshot of " + timeText(snapshot.timestamp);
  text.append(snapshot.timestamp > now ? ", by a clock that is ahead of this one, " : ", taken ");
  text.append(agoText(snapshot.timestamp, now)).append("\n");
  text.append(counted(snapshot.servers.size(), "server", "servers")).append(", ");
  text.append(counted(gpus, "GPU", "GPUs"));
  if (gpus > 0) {
    text.append(" at ").append(withUnit(snapshot.averageGPUUtilization(), "%"));
    text.append(" and ").append(watts(snapshot.totalPowerDrawW()));
  }
  text.append("; ").append(counted(runs, "active run", "active runs"));
  text.append(", ").append(counted(snapshot.processes.size(), "process", "processes"));
  text.append(" (").append(std::to_string(snapshot.trainingProcessCount())).append(" training)");
  return text.append("\n");
}

}  // namespace

std::string snapshotText(const AppSnapshot& snapshot, const SnapshotView& view) {
  const TableStyle& style = view.style;
  std::vector<ProcessRow> top = processRows(snapshot);
  if (top.size() > view.processes) top.resize(view.processes);
  const std::string topTitle = top.size() < snapshot.processes.size()
                                   ? "Top processes, " + std::to_string(top.size()) + " of " +
                                         std::to_string(snapshot.processes.size())
                                   : "Processes";

  std::string text = summary(snapshot, view.now);
  addSection<ServerRow>(text, "Servers", serverRows(snapshot), serverColumns(), style);
  addSection<GPURow>(text, "GPUs", gpuRows(snapshot), gpuColumns(), style);
  addSection<RunRow>(text, "Runs", runRows(snapshot), runColumns(), style);
  addSection<AlertRow>(text, "Alerts", alertRows(snapshot), alertColumns(), style);
  addSection<ProcessRow>(text, topTitle, top, processColumns(), style);
  addSection<UserRow>(text, "Users", userRows(snapshot), userColumns(), style);
  return text;
}

}  // namespace tavrine
