#include "companion/assemble/assembly_output.h"

#include "companion/redact/text_redaction.h"
#include "companion/shell/output.h"
#include "companion/views/findings_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/visible_text.h"

#include <algorithm>
#include <string_view>

namespace tavrine {

namespace {

std::string indented(std::string_view lines) {
  std::string text;
  while (!lines.empty()) {
    const std::size_t end = std::min(lines.find('\n'), lines.size() - 1) + 1;
    text.append("  ").append(lines.substr(0, end));
    lines.remove_prefix(end);
  }
  return text;
}

}  // namespace

std::string sourceFindingsText(const FindingsBook& book) {
  std::string text;
  for (const SourceFindings& each : book.sources()) {
    if (each.findings.lossCount() == 0) continue;
    text.append(visibleText(each.source)).append("\n").append(indented(lossesText(each.findings)));
  }
  return text;
}

std::string lossSummary(const FindingsBook& book) {
  const std::size_t losses = book.lossCount();
  if (losses == 0) return "";
  const auto sources =
      std::count_if(book.sources().begin(), book.sources().end(), [](const SourceFindings& each) {
        return each.findings.lossCount() > 0;
      });
  return counted(losses, "loss", "losses") + " in " +
         counted(static_cast<std::size_t>(sources), "source", "sources");
}

bool tellLosses(const FindingsBook& book, bool inFull, bool redact) {
  const std::string summary = lossSummary(book);
  if (inFull) {
    const std::string text = sourceFindingsText(book);
    writeWords(redact ? redacted(text) : text);
  } else if (!summary.empty()) {
    say(summary + "; --findings tells of what, and why");
  }
  return !summary.empty();
}

}  // namespace tavrine
