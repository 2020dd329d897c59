#include "companion/watch/arrangement.h"

#include "companion/views/snapshot_cells.h"
#include "companion/views/snapshot_parts.h"
#include "companion/views/snapshot_tables.h"

#include <TavrineShared/foundation/unicode_text.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>

namespace tavrine {

namespace {

// What a filter is looked for in.
class Sieve {
 public:
  explicit Sieve(std::string_view filter) : wanted_(lowercased(filter)) {}

  bool isOpen() const { return wanted_.empty(); }
  bool keeps(std::string_view text) const {
    return isOpen() || lowercased(text).find(wanted_) != std::string::npos;
  }
  bool keepsAny(std::initializer_list<std::string_view> texts) const {
    return std::any_of(texts.begin(), texts.end(), [this](std::string_view text) {
      return keeps(text);
    });
  }

 private:
  std::string wanted_;
};

// --- What is no table ---

std::vector<Item> serverItems(const ServerSummary& server, std::size_t place, const Sieve& sieve) {
  const bool keepsServer =
      sieve.keepsAny({server.name, server.host, std::string_view(server.state.title())});
  std::vector<Item> items = {{ItemKind::title, place}};
  for (std::size_t i = 0; i < server.gpus.size(); ++i) {
    if (keepsServer || sieve.keeps(server.gpus[i].name)) items.push_back({ItemKind::row, place, i});
  }
  if (!keepsServer && items.size() == 1) items.clear();
  return items;
}

std::vector<Item> runItems(const AppSnapshot& snapshot, ItemKind kind, const Sieve& sieve) {
  std::vector<Item> items;
  for (std::size_t i = 0; i < snapshot.runs.size(); ++i) {
    const TrainingRun& run = snapshot.runs[i];
    if (sieve.keepsAny({run.name,
                        run.serverName,
                        run.framework,
                        run.status.title(),
                        run.health.title(),
                        run.modelName.value_or(""),
                        run.datasetName.value_or("")})) {
      items.push_back({kind, 0, i});
    }
  }
  return items;
}

std::vector<Item> alertItems(const AppSnapshot& snapshot, const Sieve& sieve) {
  std::vector<Item> items;
  for (const AlertRow& row : alertRows(snapshot)) {
    const TavrineAlert& alert = *row.alert;
    if (alert.severity == AlertSeverity::info) continue;
    if (!sieve.keepsAny({alert.title, alert.message, subjectOf(alert).value_or("")})) continue;
    items.push_back(
        {ItemKind::alert, 0, static_cast<std::size_t>(&alert - snapshot.alerts.data())});
  }
  return items;
}

void addBlock(std::vector<Item>& items, const std::vector<Item>& block) {
  if (!items.empty() && !block.empty()) items.push_back({ItemKind::gap});
  items.insert(items.end(), block.begin(), block.end());
}

std::vector<Item> overviewItems(const AppSnapshot& snapshot, const Sieve& sieve) {
  std::vector<Item> items;
  for (std::size_t i = 0; i < snapshot.servers.size(); ++i) {
    addBlock(items, serverItems(snapshot.servers[i], i, sieve));
  }
  addBlock(items, runItems(snapshot, ItemKind::run, sieve));
  addBlock(items, alertItems(snapshot, sieve));
  return items;
}

// --- Tables ---

bool keepsRow(const ScreenTable& table, std::size_t row, const Sieve& sieve) {
  if (sieve.isOpen()) return true;
  for (std::size_t column = 0; column < table.columns.size(); ++column) {
    if (sieve.keeps(table.cell(row, column).text)) return true;
  }
  return false;
}

struct SortKey {
  double number;
  std::string text;

  bool operator<(const SortKey& other) const {
    // The largest number first: it is what somebody who sorts is after.
    if (number != other.number) return number > other.number;
    return text < other.text;
  }
};

SortKey sortKey(const ScreenTable& table, std::size_t row, std::size_t column) {
  const std::optional<double> number = table.number(row, column);
  if (!number) return {0, lowercased(table.cell(row, column).text)};
  // Where no order is possible, the last place is one.
  return {std::isnan(*number) ? -std::numeric_limits<double>::infinity() : *number, {}};
}

void sortRows(std::vector<std::size_t>& rows, const ScreenTable& table, const Sorting& sorting) {
  if (sorting.column && *sorting.column < table.columns.size()) {
    std::vector<SortKey> keys(table.rowCount);
    for (const std::size_t row : rows) keys[row] = sortKey(table, row, *sorting.column);
    std::stable_sort(rows.begin(), rows.end(), [&keys](std::size_t a, std::size_t b) {
      return keys[a] < keys[b];
    });
  }
  if (sorting.isReversed) std::reverse(rows.begin(), rows.end());
}

std::vector<std::size_t> rowsOf(const ScreenTable& table, const Sieve& sieve,
                                const Sorting& sorting) {
  std::vector<std::size_t> rows;
  for (std::size_t row = 0; row < table.rowCount; ++row) {
    if (keepsRow(table, row, sieve)) rows.push_back(row);
  }
  sortRows(rows, table, sorting);
  return rows;
}

void addTable(std::vector<Item>& items, const ScreenTable& table, std::size_t place,
              const std::vector<std::size_t>& rows) {
  if (rows.empty()) return;
  if (!table.title.empty()) {
    if (!items.empty()) items.push_back({ItemKind::gap});
    items.push_back({ItemKind::title, place});
    items.push_back({ItemKind::heading, place});
  }
  for (const std::size_t row : rows) items.push_back({ItemKind::row, place, row});
}

}  // namespace

std::vector<Item> arrangedItems(View view, const AppSnapshot& snapshot,
                                std::span<const ScreenTable> tables, std::string_view filter,
                                const Sorting& sorting) {
  const Sieve sieve(filter);
  if (view == View::overview) return overviewItems(snapshot, sieve);
  if (view == View::runs) return runItems(snapshot, ItemKind::row, sieve);
  std::vector<Item> items;
  for (std::size_t place = 0; place < tables.size(); ++place) {
    const ScreenTable& table = tables[place];
    addTable(items, table, place, rowsOf(table, sieve, sorting));
  }
  return items;
}

}  // namespace tavrine
