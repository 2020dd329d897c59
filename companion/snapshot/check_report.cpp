#include "companion/snapshot/check_report.h"

#include "companion/parse/parse_report.h"
#include "companion/views/findings_text.h"
#include "companion/views/record_table.h"
#include "companion/views/visible_text.h"

#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/model/json_schema.h>

#include <array>
#include <map>

namespace tavrine {

namespace {

std::vector<RecordCount> countRecords(const AppSnapshot& snapshot) {
  std::map<const RecordTable*, std::int64_t> counts;
  visitRecords(AppSnapshot::table(), &snapshot, [&counts](const RecordTable& table, const void*) {
    ++counts[&table];
  });
  std::vector<RecordCount> list;
  for (const RecordTable* const table : recordsWithin(AppSnapshot::table())) {
    if (table == &AppSnapshot::table()) continue;
    list.push_back({std::string(table->name), counts[table]});
  }
  return list;
}

std::optional<CheckError> whyNotWritable(const AppSnapshot& snapshot) {
  try {
    encode(snapshot);
    return std::nullopt;
  } catch (const EncodingError& error) {
    return CheckError{error.path(), error.reason(), ""};
  }
}

std::string errorText(const CheckError& error) {
  std::string text;
  if (!error.path.empty()) text.append(visibleText(error.path)).append(": ");
  text.append(visibleText(error.reason));
  if (!error.found.empty()) text.append(" (").append(visibleText(error.found)).append(")");
  return text.append("\n");
}

constexpr auto kColumns = std::to_array<RecordColumn<RecordCount>>({
    {{"Record"}, [](const RecordCount& row) -> Cell { return row.record; }},
    {{"Count", Alignment::right},
     [](const RecordCount& row) -> Cell { return std::to_string(row.count); }},
});

// Most snapshots hold few kinds, and two dozen rows of 0 would hide them.
std::string countsText(std::vector<RecordCount> records, const TableStyle& style) {
  std::erase_if(records, [](const RecordCount& row) { return row.count == 0; });
  return records.empty() ? "it holds no records\n"
                         : recordTable<RecordCount>(records, kColumns, style);
}

}  // namespace

const RecordTable& RecordCount::table() {
  using R = RecordCount;
  static constexpr auto fields = fieldsOf<R>(field<&R::record>(), field<&R::count>());
  static constexpr RecordTable table{"RecordCount", fields};
  return table;
}

const RecordTable& CheckError::table() {
  using R = CheckError;
  static constexpr auto fields =
      fieldsOf<R>(field<&R::path>(), field<&R::reason>(), field<&R::found>());
  static constexpr RecordTable table{"CheckError", fields};
  return table;
}

const RecordTable& CheckReport::table() {
  using R = CheckReport;
  static constexpr auto fields = fieldsOf<R>(field<&R::isSnapshot>(),
                                             field<&R::error>(),
                                             field<&R::timestamp>(),
                                             field<&R::notWritable>(),
                                             field<&R::records>(),
                                             field<&R::lossCount>(),
                                             field<&R::findings>(),
                                             field<&R::findingsNotListed>());
  static constexpr RecordTable table{"CheckReport", fields};
  return table;
}

CheckReport checkSnapshot(std::string_view document, Findings& findings) {
  CheckReport report{};
  try {
    const auto snapshot = decode<AppSnapshot>(document, &findings);
    report.isSnapshot = true;
    report.timestamp = iso8601Text(snapshot.timestamp);
    report.records = countRecords(snapshot);
    report.notWritable = whyNotWritable(snapshot);
  } catch (const DecodingError& error) {
    report.error = CheckError{error.path(), error.reason(), error.found()};
  }
  report.lossCount = static_cast<std::int64_t>(findings.lossCount());
  addTold(report, findings);
  return report;
}

bool isClean(const CheckReport& report) {
  return report.isSnapshot && report.lossCount == 0 && !report.notWritable;
}

std::string checkText(const CheckReport& report, const Findings& findings,
                      const TableStyle& style) {
  if (report.error) return "no snapshot: " + errorText(*report.error);
  std::string text = "a snapshot of " + report.timestamp.value_or("a time of no calendar") + "\n\n";
  text.append(countsText(report.records, style)).append("\n");
  text.append(findingsText(findings));
  if (report.notWritable) {
    text.append("it cannot be written again: ").append(errorText(*report.notWritable));
  }
  return text;
}

}  // namespace tavrine
