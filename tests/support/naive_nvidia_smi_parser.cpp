// Each step is one rule, in the order of the rules, and no step knows what the next one will need.
#include "tests/support/naive_nvidia_smi_parser.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/support/naive_text.h"

namespace tavrine::naive {
namespace {

/// An integer column holds a number that is no 64-bit integer: the real parser stops the process.
struct Stop {};

using Columns = std::vector<std::u32string>;

Columns columnsOf(const std::u32string& line) {
  Columns columns(1);
  for (const char32_t c : line) {
    if (c == U',') {
      columns.emplace_back();
    } else {
      columns.back() += c;
    }
  }
  return columns;
}

std::u32string without(const std::u32string& unwanted, const std::u32string& text) {
  std::u32string rest;
  std::size_t i = 0;
  while (i < text.size()) {
    if (text.compare(i, unwanted.size(), unwanted) == 0) {
      i += unwanted.size();
    } else {
      rest += text[i++];
    }
  }
  return rest;
}

std::u32string clean(std::u32string text) {
  for (const char32_t* unwanted : {U"%", U"MiB", U"MHz", U" W", U"[Not Supported]", U"[N/A]"}) {
    text = without(unwanted, text);
  }
  return trimmed(text);
}

double requiredNumber(const Columns& columns, std::size_t i, Losses& losses) {
  const std::optional<double> number = readFloat(clean(columns[i]));
  if (!number) ++losses.readAsZero;
  return number.value_or(0);
}

std::optional<double> optionalNumber(const Columns& columns, std::size_t i, Losses& losses) {
  if (i >= columns.size()) return std::nullopt;
  const std::u32string text = clean(columns[i]);
  if (text.empty()) return std::nullopt;
  const std::optional<double> number = readFloat(text);
  if (!number) ++losses.readAsAbsent;
  return number;
}

std::optional<std::int64_t> optionalInt(const Columns& columns, std::size_t i, Losses& losses) {
  if (i >= columns.size()) return std::nullopt;
  const std::u32string text = clean(columns[i]);
  if (text.empty()) return std::nullopt;
  if (const std::optional<std::int64_t> integer = readInteger(text)) return integer;
  const std::optional<double> number = readFloat(text);
  if (!number) ++losses.readAsZero;
  const double truncated = std::trunc(number.value_or(0));
  if (std::isnan(truncated) || truncated < -0x1p63 || truncated >= 0x1p63) throw Stop();
  if (number && truncated != *number) ++losses.truncated;
  return static_cast<std::int64_t>(truncated);
}

std::optional<std::string> optionalString(const Columns& columns, std::size_t i) {
  if (i >= columns.size()) return std::nullopt;
  const std::u32string text = trimmed(columns[i]);
  if (text.empty() || text == U"[N/A]" || text == U"[Not Supported]") return std::nullopt;
  return encodedUTF8(text);
}

std::optional<GPUStat> parseLine(const std::u32string& line, Losses& losses) {
  Columns columns = columnsOf(line);
  for (std::u32string& column : columns) column = trimmed(column);
  if (columns.size() < 8) {
    ++losses.lines;
    return std::nullopt;
  }
  const std::optional<std::int64_t> index = readInteger(columns[0]);
  if (!index) {
    const bool isHeader = columns[0] == U"index" || columns[0] == U"\uFEFFindex";
    ++(isHeader ? losses.headers : losses.lines);
    return std::nullopt;
  }
  if (columns.size() > 15) ++losses.columns;
  return GPUStat{
      .index = *index,
      .name = encodedUTF8(columns[1]),
      .utilizationPercent = requiredNumber(columns, 2, losses),
      .memoryUsedMB = requiredNumber(columns, 3, losses),
      .memoryTotalMB = requiredNumber(columns, 4, losses),
      .temperatureC = requiredNumber(columns, 5, losses),
      .powerDrawW = requiredNumber(columns, 6, losses),
      .powerLimitW = requiredNumber(columns, 7, losses),
      .fanSpeedPercent = optionalNumber(columns, 8, losses),
      .smClockMHz = optionalNumber(columns, 9, losses),
      .memClockMHz = optionalNumber(columns, 10, losses),
      .eccErrorsTotal = optionalInt(columns, 11, losses),
      .pcieLinkGen = optionalInt(columns, 12, losses),
      .pcieLinkWidth = optionalInt(columns, 13, losses),
      .pstate = optionalString(columns, 14),
  };
}

}  // namespace

std::optional<std::vector<GPUStat>> parseCSV(std::string_view text, Losses* losses) {
  std::vector<GPUStat> records;
  Losses found;
  try {
    for (const Line& line : linesOf(decodedUTF8(text))) {
      if (const std::optional<GPUStat> record = parseLine(line.characters, found)) {
        records.push_back(*record);
      }
    }
  } catch (const Stop&) {
    return std::nullopt;
  }
  if (losses != nullptr) *losses = found;
  return records;
}

bool areSameBits(const GPUStat& a, const GPUStat& b) {
  return a.index == b.index && a.name == b.name &&
         areSameBits(a.utilizationPercent, b.utilizationPercent) &&
         areSameBits(a.memoryUsedMB, b.memoryUsedMB) &&
         areSameBits(a.memoryTotalMB, b.memoryTotalMB) &&
         areSameBits(a.temperatureC, b.temperatureC) && areSameBits(a.powerDrawW, b.powerDrawW) &&
         areSameBits(a.powerLimitW, b.powerLimitW) &&
         areSameBits(a.fanSpeedPercent, b.fanSpeedPercent) &&
         areSameBits(a.smClockMHz, b.smClockMHz) && areSameBits(a.memClockMHz, b.memClockMHz) &&
         a.eccErrorsTotal == b.eccErrorsTotal && a.pcieLinkGen == b.pcieLinkGen &&
         a.pcieLinkWidth == b.pcieLinkWidth && a.pstate == b.pstate;
}

bool areSameBits(const std::vector<GPUStat>& a, const std::vector<GPUStat>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!areSameBits(a[i], b[i])) return false;
  }
  return true;
}

}  // namespace tavrine::naive
