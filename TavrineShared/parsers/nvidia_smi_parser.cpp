// A cell is nearly always a number with or without its unit. Such a cell is read in place; only a
// cell that this does not explain is copied and cleaned by the full rules, which give the same
// value for every cell that both can read.

#include <TavrineShared/parsers/nvidia_smi_parser.h>

#include <TavrineShared/foundation/ascii.h>
#include <TavrineShared/foundation/list_room.h>
#include <TavrineShared/foundation/precondition.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/line_teller.h>
#include <TavrineShared/parsers/text_rules.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace tavrine::NVIDIASMIParser {

namespace {

constexpr std::size_t kColumnCount = 15;
constexpr std::size_t kNeededColumns = 8;

// In the order in which they are removed.
constexpr std::array<std::string_view, 6> kNoise = {
    "%", "MiB", "MHz", " W", "[Not Supported]", "[N/A]"};
constexpr std::array<std::string_view, 2> kNotAvailable = {"[N/A]", "[Not Supported]"};

bool isNotAvailable(std::string_view cell) {
  return cell == kNotAvailable[0] || cell == kNotAvailable[1];
}

std::string_view fieldName(std::size_t column) { return GPUStat::table().fields[column].key; }

// One line, split at its commas, with the means to tell what was lost in it.
class Row {
 public:
  Row(std::string_view line, std::size_t lineNumber, Findings* findings)
      : teller_(line, lineNumber, findings), count_(splitAtCommas(line, cells_)) {}

  std::size_t lineNumber() const { return teller_.lineNumber(); }
  /// Columns found, counting no further than one too many.
  std::size_t count() const { return count_; }
  /// A column, trimmed.
  std::string_view operator[](std::size_t column) const { return cells_[column]; }

  void tell(FindingOutcome outcome, std::size_t column, std::string_view reason) const {
    teller_.tell(outcome, cells_[column], column < kColumnCount ? fieldName(column) : "", reason);
  }
  void tellLine(FindingOutcome outcome, std::string_view reason) const {
    teller_.tellLine(outcome, reason);
  }

 private:
  LineTeller teller_;
  std::array<std::string_view, kColumnCount + 1> cells_;
  std::size_t count_;
};

void removeEvery(std::string& text, std::string_view noise) {
  std::size_t found = text.find(noise);
  if (found == std::string::npos) return;
  std::string kept;
  kept.reserve(text.size());
  std::size_t from = 0;
  for (; found != std::string::npos; found = text.find(noise, from)) {
    kept.append(text, from, found - from);
    from = found + noise.size();
  }
  kept.append(text, from);
  text = std::move(kept);
}

std::string clean(std::string_view cell) {
  // Repaired first: what is removed could stand between the halves of a character.
  std::string text = repairedUTF8(cell);
  for (const std::string_view noise : kNoise) removeEvery(text, noise);
  return std::string(trimmed(text));
}

// The number in a cell that is nothing but a number and perhaps its unit, as "87 %": such a cell
// holds nothing else to clean away. No value means only that the full rules must decide.
// Not inline: a copy for each kind of column would be a sixth slower, since the processor learns
// the order of the units from all columns together.
[[gnu::noinline]] std::optional<double> plainNumber(std::string_view cell) {
  static constexpr std::array<std::string_view, 4> kUnits = {" %", " MiB", " MHz", " W"};
  if (cell.empty()) return std::nullopt;
  const char last = cell.back();
  if (ascii::isDigit(last)) return readFloat(cell);
  for (const std::string_view unit : kUnits) {
    if (last == unit.back() && cell.ends_with(unit)) {
      return readFloat(cell.substr(0, cell.size() - unit.size()));
    }
  }
  return std::nullopt;
}

double requiredNumber(const Row& row, std::size_t column) {
  if (const std::optional<double> number = plainNumber(row[column])) return *number;
  const std::string cleaned = clean(row[column]);
  if (const std::optional<double> number = readFloat(cleaned)) return *number;
  row.tell(FindingOutcome::readAsZero, column, cleaned.empty() ? "not available" : "not a number");
  return 0;
}

std::optional<double> optionalNumber(const Row& row, std::size_t column) {
  if (column >= row.count()) return std::nullopt;
  if (const std::optional<double> number = plainNumber(row[column])) return number;
  if (row[column].empty() || isNotAvailable(row[column])) return std::nullopt;
  const std::string cleaned = clean(row[column]);
  const std::optional<double> number = readFloat(cleaned);
  if (!number && !cleaned.empty()) {
    row.tell(FindingOutcome::readAsAbsent, column, "not a number");
  }
  return number;
}

// The limits are powers of two, so a double holds them exactly; a NaN passes neither test.
bool isWithinIntegers(double number) {
  constexpr double kBeyond = 9223372036854775808.0;
  return number >= -kBeyond && number < kBeyond;
}

std::optional<std::int64_t> optionalInt(const Row& row, std::size_t column) {
  if (column >= row.count()) return std::nullopt;
  if (const std::optional<std::int64_t> plain = readInteger(row[column])) return plain;
  if (row[column].empty() || isNotAvailable(row[column])) return std::nullopt;

  const std::string cleaned = clean(row[column]);
  if (cleaned.empty()) return std::nullopt;
  if (const std::optional<std::int64_t> integer = readInteger(cleaned)) return integer;
  const std::optional<double> number = readFloat(cleaned);
  if (!number) {
    row.tell(FindingOutcome::readAsZero, column, "not a number");
    return 0;
  }
  if (!isWithinIntegers(*number)) {
    preconditionFailure("GPU query, line " + std::to_string(row.lineNumber()) + ": \"" +
                        excerpt(cleaned) + "\" in the column " + std::string(fieldName(column)) +
                        " is no 64-bit integer");
  }
  const auto integer = static_cast<std::int64_t>(*number);
  if (static_cast<double>(integer) != *number) {
    row.tell(FindingOutcome::truncated, column, "not a whole number");
  }
  return integer;
}

std::string text(const Row& row, std::size_t column) {
  if (isWellFormedUTF8(row[column])) return std::string(row[column]);
  row.tell(FindingOutcome::repaired, column, "ill-formed UTF-8");
  return repairedUTF8(row[column]);
}

std::optional<std::string> optionalString(const Row& row, std::size_t column) {
  if (column >= row.count() || row[column].empty() || isNotAvailable(row[column])) {
    return std::nullopt;
  }
  return text(row, column);
}

void tellNoIndex(const Row& row) {
  if (isHeading(row[0], "index")) {
    row.tellLine(FindingOutcome::headerSkipped, "the names of the columns");
  } else {
    row.tellLine(FindingOutcome::lineDropped, "the first column is not an integer");
  }
}

void parseLine(const Row& row, std::vector<GPUStat>& records) {
  if (row.count() < kNeededColumns) {
    return row.tellLine(FindingOutcome::lineDropped, "fewer than 8 columns");
  }
  const std::optional<std::int64_t> index = readInteger(row[0]);
  if (!index) return tellNoIndex(row);
  // Braces see to it that the columns are read, and told of, from left to right.
  records.push_back(GPUStat{
      .index = *index,
      .name = text(row, 1),
      .utilizationPercent = requiredNumber(row, 2),
      .memoryUsedMB = requiredNumber(row, 3),
      .memoryTotalMB = requiredNumber(row, 4),
      .temperatureC = requiredNumber(row, 5),
      .powerDrawW = requiredNumber(row, 6),
      .powerLimitW = requiredNumber(row, 7),
      .fanSpeedPercent = optionalNumber(row, 8),
      .smClockMHz = optionalNumber(row, 9),
      .memClockMHz = optionalNumber(row, 10),
      .eccErrorsTotal = optionalInt(row, 11),
      .pcieLinkGen = optionalInt(row, 12),
      .pcieLinkWidth = optionalInt(row, 13),
      .pstate = optionalString(row, 14),
  });
  if (row.count() > kColumnCount) {
    row.tell(FindingOutcome::ignored, kColumnCount, "more columns than the query has");
  }
}

bool isFatalCell(std::string_view cell) {
  if (cell.empty() || readInteger(cell) || isNotAvailable(cell)) return false;
  const std::string cleaned = clean(cell);
  if (readInteger(cleaned)) return false;
  const std::optional<double> number = readFloat(cleaned);
  return number && !isWithinIntegers(*number);
}

}  // namespace

std::vector<GPUStat> parseCSV(std::string_view text, Findings* findings) {
  std::vector<GPUStat> records;
  LineCursor lines(text);
  while (lines.next()) {
    if (records.size() == records.capacity()) {
      makeRoom(records, static_cast<std::size_t>(lines.line().data() - text.data()), text.size());
    }
    parseLine(Row(lines.line(), lines.lineNumber(), findings), records);
  }
  return records;
}

bool isFatal(std::string_view text) {
  constexpr std::size_t kFirstInteger = 11;
  constexpr std::size_t kLastInteger = 13;
  for (LineCursor lines(text); lines.next();) {
    const Row row(lines.line(), lines.lineNumber(), nullptr);
    if (row.count() < kNeededColumns || !readInteger(row[0])) continue;
    for (std::size_t i = kFirstInteger; i <= kLastInteger && i < row.count(); ++i) {
      if (isFatalCell(row[i])) return true;
    }
  }
  return false;
}

}  // namespace tavrine::NVIDIASMIParser
