#include "companion/assemble/disk_free.h"

#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/line_teller.h>
#include <TavrineShared/parsers/text_rules.h>

#include <cmath>
#include <vector>

namespace tavrine {

namespace {

std::vector<std::string_view> wordsOf(std::string_view line) {
  std::vector<std::string_view> words;
  for (std::string_view word = takeWord(line); !word.empty(); word = takeWord(line)) {
    words.push_back(word);
  }
  return words;
}

bool isAmount(std::optional<double> number) {
  return number && std::isfinite(*number) && *number >= 0;
}

// Device, total, used, free, per cent, folder. The per cent sign tells where the numbers end, since
// both names may hold blanks.
std::optional<DiskSpace> spaceIn(std::string_view line) {
  const std::vector<std::string_view> words = wordsOf(line);
  for (std::size_t i = 4; i < words.size(); ++i) {
    if (!words[i].ends_with('%') && words[i] != "-") continue;
    const auto total = readFloat(words[i - 3]);
    const auto free = readFloat(words[i - 1]);
    if (isAmount(total) && isAmount(free)) return DiskSpace{*total, *free};
  }
  return std::nullopt;
}

}  // namespace

std::optional<DiskSpace> parseDiskFree(std::string_view text, Findings* findings) {
  std::optional<DiskSpace> fullest;
  for (LineCursor lines(text); lines.next();) {
    const LineTeller line(lines.line(), lines.lineNumber(), findings);
    const std::optional<DiskSpace> space = spaceIn(lines.line());
    if (space) {
      if (!fullest || space->freeFraction() < fullest->freeFraction()) fullest = space;
    } else if (trimmed(lines.line()).starts_with("Filesystem")) {
      line.tellLine(FindingOutcome::headerSkipped, "the names of the columns");
    } else {
      line.tellLine(FindingOutcome::lineDropped, "not the line of a file system");
    }
  }
  return fullest;
}

}  // namespace tavrine
