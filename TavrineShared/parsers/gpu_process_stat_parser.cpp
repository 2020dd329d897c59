#include <TavrineShared/parsers/gpu_process_stat_parser.h>

#include <TavrineShared/foundation/list_room.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/line_teller.h>
#include <TavrineShared/parsers/text_rules.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace tavrine::GPUProcessStatParser {

namespace {

constexpr std::size_t kColumnCount = 4;
constexpr std::size_t kNeededColumns = 3;
constexpr std::string_view kUnit = "MiB";

using Cells = std::array<std::string_view, kColumnCount + 1>;

// True when there was something to replace.
bool replaceEvery(std::string& text, std::string_view what, std::string_view with) {
  std::size_t found = text.find(what);
  if (found == std::string::npos) return false;
  std::string replaced;
  replaced.reserve(text.size());
  std::size_t from = 0;
  for (; found != std::string::npos; found = text.find(what, from)) {
    replaced.append(text, from, found - from).append(with);
    from = found + what.size();
  }
  replaced.append(text, from);
  text = std::move(replaced);
  return true;
}

// The number in a cell that is nothing but a number and perhaps its unit, which is nearly every
// cell. Behind a digit no literal can hold anything that the full rules would replace.
std::optional<double> plainNumber(std::string_view cell) {
  if (cell.empty() || cell.front() < '0' || cell.front() > '9') return std::nullopt;
  if (cell.ends_with(kUnit)) cell = trimmed(cell.substr(0, cell.size() - kUnit.size()));
  return readFloat(cell);
}

double number(const LineTeller& line, std::string_view cell) {
  if (const std::optional<double> plain = plainNumber(cell)) return *plain;
  // Repaired first: what is removed could stand between the halves of a character.
  std::string text = repairedUTF8(cell);
  replaceEvery(text, kUnit, "");
  const bool hadBrackets = replaceEvery(text, "[N/A]", "0");
  const bool isNotAvailable = replaceEvery(text, "N/A", "0") || hadBrackets;
  const std::string_view cleaned = trimmed(text);
  const std::optional<double> value = readFloat(cleaned);
  if (!value || (isNotAvailable && *value == 0)) {
    line.tell(FindingOutcome::readAsZero,
              cell,
              kFieldName<&GPUProcessStat::usedMemoryMB>,
              cleaned.empty() || value ? "not available" : "not a number");
  }
  return value.value_or(0);
}

void parseLine(const LineTeller& line, std::vector<GPUProcessStat>& records) {
  Cells cells;
  const std::size_t count = splitAtCommas(line.line(), cells);
  if (count < kNeededColumns) {
    return line.tellLine(FindingOutcome::lineDropped, "fewer than 3 columns");
  }
  const std::optional<std::int64_t> pid = readInteger(cells[0]);
  if (!pid) {
    if (isHeading(cells[0], "pid")) {
      return line.tellLine(FindingOutcome::headerSkipped, "the names of the columns");
    }
    return line.tellLine(FindingOutcome::lineDropped, "the first column is not an integer");
  }
  using R = GPUProcessStat;
  // Braces see to it that the columns are read, and told of, from left to right.
  R record{
      .pid = *pid,
      .processName = line.text(cells[1], kFieldName<&R::processName>),
      .usedMemoryMB = number(line, cells[2]),
      .gpuBusID = std::nullopt,
  };
  if (count > kNeededColumns && !cells[3].empty()) {
    record.gpuBusID = line.text(cells[3], kFieldName<&R::gpuBusID>);
  }
  records.push_back(std::move(record));
  if (count > kColumnCount) {
    line.tell(FindingOutcome::ignored, cells[kColumnCount], "", "more columns than the query has");
  }
}

}  // namespace

std::vector<GPUProcessStat> parse(std::string_view text, Findings* findings) {
  std::vector<GPUProcessStat> records;
  for (LineCursor lines(text); lines.next();) {
    if (records.size() == records.capacity()) {
      makeRoom(records, static_cast<std::size_t>(lines.line().data() - text.data()), text.size());
    }
    parseLine(LineTeller(lines.line(), lines.lineNumber(), findings), records);
  }
  return records;
}

}  // namespace tavrine::GPUProcessStatParser
