// Findings as lines of text, so that a test shows them as they would be said.
#pragma once

#include <TavrineShared/model/findings.h>

#include <string>
#include <vector>

namespace tavrine {

/// Such as `2:7 utilizationPercent read_as_zero "[N/A]" not available`: line, column (0 for none),
/// field if any, outcome, what was found and why.
inline std::vector<std::string> toldLines(const Findings& findings) {
  std::vector<std::string> lines;
  for (const Finding& finding : findings.list()) {
    std::string line = std::to_string(finding.line.value_or(-1)) + ":" +
                       std::to_string(finding.column.value_or(0)) + " " + finding.path;
    line += finding.path.empty() ? "" : " ";
    line.append(finding.outcome.rawValue()).append(" \"").append(finding.found).append("\" ");
    lines.push_back(line + finding.reason);
  }
  return lines;
}

}  // namespace tavrine
