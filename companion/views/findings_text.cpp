#include "companion/views/findings_text.h"

#include "companion/views/quantity_text.h"
#include "companion/views/visible_text.h"

#include <string_view>

namespace tavrine {

namespace {

std::string place(const Finding& finding) {
  std::string text;
  const auto add = [&text](std::string_view part) {
    if (!text.empty()) text.append(", ");
    text.append(part);
  };
  if (finding.line) add("line " + std::to_string(*finding.line));
  if (finding.column) add("column " + std::to_string(*finding.column));
  if (!finding.path.empty()) add(visibleText(finding.path));
  return text;
}

std::string findingLine(const Finding& finding) {
  std::string text = place(finding);
  if (!text.empty()) text.append(": ");
  if (!finding.found.empty()) {
    // JSON brings its own quotation marks, where it is a text that stood there.
    const std::string_view quote = finding.line ? "\"" : "";
    text.append(quote).append(visibleText(finding.found)).append(quote).append(" ");
  }
  text.append(finding.outcome.title()).append(": ").append(visibleText(finding.reason));
  return text;
}

std::string countLine(const Findings& findings, std::size_t told) {
  const std::size_t losses = findings.lossCount();
  if (losses == 0) return "nothing was lost";
  std::string text = counted(losses, "loss", "losses");
  std::string_view before = " (";
  for (const FindingOutcome outcome : FindingOutcome::allCases()) {
    const std::size_t count = findings.count(outcome);
    if (!outcome.isLoss() || count == 0) continue;
    text.append(before).append(outcome.title()).append(": ").append(std::to_string(count));
    before = ", ";
  }
  text.append(")");
  if (told < losses) text.append(", ").append(std::to_string(told)).append(" of them told above");
  return text;
}

template <class Wanted>
std::string textOf(const Findings& findings, const Wanted& isWanted) {
  std::string text;
  std::size_t told = 0;
  for (const Finding& finding : findings.list()) {
    if (!isWanted(finding.outcome)) continue;
    text.append(findingLine(finding)).append("\n");
    if (finding.outcome.isLoss()) ++told;
  }
  return text.append(countLine(findings, told)).append("\n");
}

}  // namespace

std::string findingsText(const Findings& findings) {
  return textOf(findings, [](FindingOutcome outcome) { return outcome.isTold(); });
}

std::string lossesText(const Findings& findings) {
  return textOf(findings, [](FindingOutcome outcome) { return outcome.isLoss(); });
}

}  // namespace tavrine
