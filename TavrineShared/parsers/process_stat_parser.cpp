#include <TavrineShared/parsers/process_stat_parser.h>

#include <TavrineShared/foundation/keyword_table.h>
#include <TavrineShared/foundation/list_room.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/line_teller.h>
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

// A kind's place among all kinds is its rank: they are declared in the order in which they decide.
constexpr Keyword keyword(std::string_view text, ProcessKind::Case kind) {
  return {text, static_cast<std::size_t>(kind)};
}

// They are looked for anywhere, so a script named pretrain.py counts as training, whoever runs it.
constexpr auto kKeywords = std::to_array<Keyword>({
    keyword("torchrun", ProcessKind::training),
    keyword("deepspeed", ProcessKind::training),
    keyword("accelerate", ProcessKind::training),
    keyword("train.py", ProcessKind::training),
    keyword("trainer", ProcessKind::training),
    keyword("pytorch", ProcessKind::training),
    keyword("tensorflow", ProcessKind::training),
    keyword("nvidia-smi", ProcessKind::gpu),
    keyword("nvtop", ProcessKind::gpu),
    keyword("dcgm", ProcessKind::gpu),
    keyword("cuda", ProcessKind::gpu),
    keyword("slurm", ProcessKind::scheduler),
    keyword("srun", ProcessKind::scheduler),
    keyword("sbatch", ProcessKind::scheduler),
    keyword("ray::", ProcessKind::scheduler),
    keyword("raylet", ProcessKind::scheduler),
    keyword("jupyter", ProcessKind::notebook),
    keyword("ipykernel", ProcessKind::notebook),
    keyword("notebook", ProcessKind::notebook),
    keyword("labapp", ProcessKind::notebook),
    keyword("systemd", ProcessKind::system),
    keyword("sshd:", ProcessKind::system),
});

constexpr std::array<std::string_view, 5> kSystemOwners = {
    "root", "daemon", "messagebus", "systemd-network", "systemd-resolve"};

// Both texts as they stand: no keyword has a blank, so none spans the one between them.
std::optional<ProcessKind> kindByKeyword(std::string_view executable, std::string_view command) {
  static const KeywordTable table(kKeywords);
  const std::array<std::string_view, 2> texts = {executable, command};
  const std::optional<std::size_t> rank = table.lowestRank(texts);
  if (!rank) return std::nullopt;
  return ProcessKind::allCases()[*rank];
}

ProcessKind classify(std::string_view executable, std::string_view command,
                     std::string_view owner) {
  if (const std::optional<ProcessKind> kind = kindByKeyword(executable, command)) return *kind;
  const bool isSystem =
      std::find(kSystemOwners.begin(), kSystemOwners.end(), owner) != kSystemOwners.end();
  return isSystem ? ProcessKind::system : ProcessKind::other;
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
      .kind = classify(cells[8], cells[9], cells[2]),
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
