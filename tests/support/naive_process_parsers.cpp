// Each step is one rule, in the order of the rules, and no step knows what the next one will need.
#include "tests/support/naive_process_parsers.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <optional>
#include <string>

#include "tests/support/naive_text.h"

namespace tavrine::naive {
namespace {

using Columns = std::vector<std::u32string>;

std::u32string lowercased(const std::u32string& text) {
  std::string lower;
  icu::UnicodeString::fromUTF8(encodedUTF8(text))
      .toLower(icu::Locale::getRoot())
      .toUTF8String(lower);
  return decodedUTF8(lower);
}

bool containsAny(const std::u32string& text, const std::vector<std::u32string>& words) {
  for (const std::u32string& word : words) {
    if (text.find(word) != std::u32string::npos) return true;
  }
  return false;
}

ProcessKind classify(const std::u32string& executable, const std::u32string& command,
                     const std::u32string& owner) {
  const std::u32string haystack = lowercased(executable + U' ' + command);
  if (containsAny(haystack,
                  {U"torchrun",
                   U"deepspeed",
                   U"accelerate",
                   U"train.py",
                   U"trainer",
                   U"pytorch",
                   U"tensorflow"})) {
    return ProcessKind::training;
  }
  if (containsAny(haystack, {U"nvidia-smi", U"nvtop", U"dcgm", U"cuda"})) return ProcessKind::gpu;
  if (containsAny(haystack, {U"slurm", U"srun", U"sbatch", U"ray::", U"raylet"})) {
    return ProcessKind::scheduler;
  }
  if (containsAny(haystack, {U"jupyter", U"ipykernel", U"notebook", U"labapp"})) {
    return ProcessKind::notebook;
  }
  for (const char32_t* system :
       {U"root", U"daemon", U"messagebus", U"systemd-network", U"systemd-resolve"}) {
    if (owner == system) return ProcessKind::system;
  }
  return containsAny(haystack, {U"systemd", U"sshd:"}) ? ProcessKind::system : ProcessKind::other;
}

/// At most ten: nine words, then whatever is left.
Columns processColumns(const std::u32string& line) {
  Columns columns;
  std::u32string word;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] != U' ' && line[i] != U'\t') {
      word += line[i];
      continue;
    }
    if (word.empty()) continue;
    columns.push_back(word);
    word.clear();
    if (columns.size() == 9) {
      word = line.substr(i + 1);
      break;
    }
  }
  if (!word.empty()) columns.push_back(word);
  return columns;
}

Columns commaColumns(const std::u32string& line) {
  Columns columns(1);
  for (const char32_t c : line) {
    if (c == U',') {
      columns.emplace_back();
    } else {
      columns.back() += c;
    }
  }
  for (std::u32string& column : columns) column = trimmed(column);
  return columns;
}

std::u32string replaced(const std::u32string& text, const std::u32string& what,
                        const std::u32string& with) {
  std::u32string result;
  std::size_t i = 0;
  while (i < text.size()) {
    if (text.compare(i, what.size(), what) == 0) {
      result += with;
      i += what.size();
    } else {
      result += text[i++];
    }
  }
  return result;
}

double usedMemory(const std::u32string& cell, ProcessLosses& losses) {
  const std::u32string withoutUnit = replaced(cell, U"MiB", U"");
  const std::u32string known = replaced(replaced(withoutUnit, U"[N/A]", U"0"), U"N/A", U"0");
  const std::optional<double> number = readFloat(trimmed(known));
  if (!number || (*number == 0 && known != withoutUnit)) ++losses.readAsZero;
  return number.value_or(0);
}

double numberOrZero(const std::u32string& cell, ProcessLosses& losses) {
  const std::optional<double> number = readFloat(cell);
  if (!number) ++losses.readAsZero;
  return number.value_or(0);
}

bool isHeading(const std::u32string& cell, const std::u32string& word) {
  return cell == word || cell == U'\uFEFF' + word;
}

}  // namespace

std::vector<ProcessStat> parseProcesses(std::string_view text, std::string_view serverName,
                                        Timestamp capturedAt, ProcessLosses* losses) {
  std::vector<ProcessStat> records;
  ProcessLosses lost;
  for (const Line& line : linesOf(decodedUTF8(text))) {
    const Columns columns = processColumns(line.characters);
    if (columns.size() < 10) {
      ++lost.lines;
      continue;
    }
    const std::optional<std::int64_t> pid = readInteger(columns[0]);
    const std::optional<std::int64_t> parentPID = readInteger(columns[1]);
    if (!pid || !parentPID) {
      ++(isHeading(columns[0], U"PID") ? lost.headers : lost.lines);
      continue;
    }
    const std::optional<std::int64_t> resident = readInteger(columns[7]);
    if (!resident) ++lost.readAsZero;
    records.push_back({
        .serverName = encodedUTF8(decodedUTF8(serverName)),
        .pid = *pid,
        .parentPID = *parentPID,
        .owner = encodedUTF8(columns[2]),
        .state = encodedUTF8(columns[3]),
        .cpuPercent = numberOrZero(columns[4], lost),
        .memoryPercent = numberOrZero(columns[5], lost),
        .residentMemoryKB = resident.value_or(0),
        .gpuMemoryMB = std::nullopt,
        .gpuBusID = std::nullopt,
        .elapsed = encodedUTF8(columns[6]),
        .executable = encodedUTF8(columns[8]),
        .command = encodedUTF8(columns[9]),
        .kind = classify(columns[8], columns[9], columns[2]),
        .capturedAt = capturedAt,
    });
  }
  if (losses != nullptr) *losses = lost;
  return records;
}

std::vector<GPUProcessStat> parseGPUProcesses(std::string_view text, ProcessLosses* losses) {
  std::vector<GPUProcessStat> records;
  ProcessLosses lost;
  for (const Line& line : linesOf(decodedUTF8(text))) {
    const Columns columns = commaColumns(line.characters);
    if (columns.size() < 3) {
      ++lost.lines;
      continue;
    }
    const std::optional<std::int64_t> pid = readInteger(columns[0]);
    if (!pid) {
      ++(isHeading(columns[0], U"pid") ? lost.headers : lost.lines);
      continue;
    }
    if (columns.size() > 4) ++lost.columns;
    const bool hasBus = columns.size() > 3 && !columns[3].empty();
    records.push_back({
        .pid = *pid,
        .processName = encodedUTF8(columns[1]),
        .usedMemoryMB = usedMemory(columns[2], lost),
        .gpuBusID = hasBus ? std::optional(encodedUTF8(columns[3])) : std::nullopt,
    });
  }
  if (losses != nullptr) *losses = lost;
  return records;
}

bool areSameBits(const std::vector<ProcessStat>& a, const std::vector<ProcessStat>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!areSameBits(a[i].cpuPercent, b[i].cpuPercent) ||
        !areSameBits(a[i].memoryPercent, b[i].memoryPercent)) {
      return false;
    }
    // What is left compares as it is; a NaN would not.
    ProcessStat left = a[i];
    ProcessStat right = b[i];
    left.cpuPercent = left.memoryPercent = right.cpuPercent = right.memoryPercent = 0;
    if (left != right) return false;
  }
  return true;
}

bool areSameBits(const std::vector<GPUProcessStat>& a, const std::vector<GPUProcessStat>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i].pid != b[i].pid || a[i].processName != b[i].processName ||
        !areSameBits(a[i].usedMemoryMB, b[i].usedMemoryMB) || a[i].gpuBusID != b[i].gpuBusID) {
      return false;
    }
  }
  return true;
}

}  // namespace tavrine::naive
