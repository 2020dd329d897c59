#include <TavrineShared/parsers/process_stat_parser.h>

#include <TavrineShared/foundation/list_room.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/line_teller.h>
#include <TavrineShared/parsers/process_kinds.h>
#include <TavrineShared/parsers/text_rules.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace tavrine::ProcessStatParser {

namespace {

constexpr std::size_t kColumnCount = 10;

struct Columns {
  std::array<std::string_view, kColumnCount> cells;
  std::size_t count = 0;
};

constexpr bool isSeparator(char c) { return c == ' ' || c == '\t'; }

Columns columnsOf(std::string_view line) {
  Columns columns;
  const char* p = line.data();
  const char* const end = p + line.size();
  while (columns.count + 1 < kColumnCount) {
    p = std::find_if_not(p, end, isSeparator);
    if (p == end) return columns;
    const char* const start = p;
    p = std::find_if(p, end, isSeparator);
    columns.cells[columns.count++] = std::string_view(start, p);
  }
  // One separator ends the ninth column; all behind it is the tenth, further separators included.
  if (end - p > 1) columns.cells[columns.count++] = std::string_view(p + 1, end);
  return columns;
}

double numberOrZero(const LineTeller& line, std::string_view cell, std::string_view field) {
  if (const std::optional<double> number = readFloat(cell)) return *number;
  line.tell(FindingOutcome::readAsZero, cell, field, "not a number");
  return 0;
}

std::int64_t integerOrZero(const LineTeller& line, std::string_view cell, std::string_view field) {
  if (const std::optional<std::int64_t> integer = readInteger(cell)) return *integer;
  line.tell(FindingOutcome::readAsZero, cell, field, "not an integer");
  return 0;
}

void parseLine(const LineTeller& line, std::string_view serverName, Timestamp capturedAt,
               std::vector<ProcessStat>& records) {
  const Columns columns = columnsOf(line.line());
  const auto& cells = columns.cells;
  if (columns.count < kColumnCount) {
    return line.tellLine(FindingOutcome::lineDropped, "fewer than 10 columns");
  }
  const std::optional<std::int64_t> pid = readInteger(cells[0]);
  if (!pid) {
    if (isHeading(cells[0], "PID")) {
      return line.tellLine(FindingOutcome::headerSkipped, "the names of the columns");
    }
    return line.tellLine(FindingOutcome::lineDropped, "the first column is not an integer");
  }
  const std::optional<std::int64_t> parentPID = readInteger(cells[1]);
  if (!parentPID) {
    return line.tellLine(FindingOutcome::lineDropped, "the second column is not an integer");
  }
  using R = ProcessStat;
  R record{
      .serverName = std::string(serverName),
      .pid = *pid,
      .parentPID = *parentPID,
      .owner = line.text(cells[2], kFieldName<&R::owner>),
      .state = line.text(cells[3], kFieldName<&R::state>),
      .cpuPercent = numberOrZero(line, cells[4], kFieldName<&R::cpuPercent>),
      .memoryPercent = numberOrZero(line, cells[5], kFieldName<&R::memoryPercent>),
      .residentMemoryKB = 0,
      .gpuMemoryMB = std::nullopt,
      .gpuBusID = std::nullopt,
      .elapsed = line.text(cells[6], kFieldName<&R::elapsed>),
      .executable = {},
      .command = {},
      .kind = process_kinds::classify(cells[8], cells[9], cells[2]),
      .capturedAt = capturedAt,
  };
  // Only now, since the record has it before the elapsed time and the table behind: what is lost
  // is told from left to right.
  record.residentMemoryKB = integerOrZero(line, cells[7], kFieldName<&R::residentMemoryKB>);
  record.executable = line.text(cells[8], kFieldName<&R::executable>);
  record.command = line.text(cells[9], kFieldName<&R::command>);
  records.push_back(std::move(record));
}

}  // namespace

std::vector<ProcessStat> parse(std::string_view text, std::string_view serverName,
                               Timestamp capturedAt, Findings* findings) {
  std::vector<ProcessStat> records;
  const std::string server = repairedUTF8(serverName);
  for (LineCursor lines(text); lines.next();) {
    if (records.size() == records.capacity()) {
      makeRoom(records, static_cast<std::size_t>(lines.line().data() - text.data()), text.size());
    }
    parseLine(LineTeller(lines.line(), lines.lineNumber(), findings), server, capturedAt, records);
  }
  return records;
}

}  // namespace tavrine::ProcessStatParser
