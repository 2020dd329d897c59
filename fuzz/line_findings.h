// What must hold of the findings of every parser that tells of lines.
#pragma once

#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/findings.h>
#include <TavrineShared/parsers/text_rules.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/require.h"
#include "tests/support/naive_text.h"

namespace tavrine::fuzz {

/// Each finding is about a line of the text and shows what stands there.
inline void requireTellLines(std::string_view text, const Findings& findings) {
  std::vector<std::u32string> lines(1);  // by number
  for (const naive::Line& line : naive::linesOf(naive::decodedUTF8(text))) {
    lines.resize(line.number + 1);
    lines[line.number] = line.characters;
  }
  for (const Finding& finding : findings.list()) {
    require(finding.line && *finding.line >= 1 && std::cmp_less(*finding.line, lines.size()),
            "a finding is about a line of the text");
    const std::u32string& line = lines[static_cast<std::size_t>(*finding.line)];
    require(!line.empty(), "a finding is about a line that is not empty");
    require(!finding.column ||
                (*finding.column >= 1 && std::cmp_less_equal(*finding.column, line.size() + 1)),
            "a finding is about a place in the line");
    const std::u32string found = naive::decodedUTF8(finding.found);
    require(found.size() <= 80 && isWellFormedUTF8(finding.found), "what is shown is short");
    require(!finding.reason.empty(), "a finding has a reason");
    const std::size_t start = finding.column ? static_cast<std::size_t>(*finding.column) - 1 : 0;
    const bool isCut = found.ends_with(U'\u2026') && found.size() == 80;
    require(isCut || line.compare(start, found.size(), found) == 0,
            "what is shown stands where the finding says");
  }
  require(findings.list().size() == findings.count(), "there is room for all findings");
}

/// And they come in the order of the text, one for each place.
inline void requireInOrder(const Findings& findings) {
  std::pair<std::int64_t, std::int64_t> last;
  for (const Finding& finding : findings.list()) {
    const auto place = std::pair(finding.line.value_or(0), finding.column.value_or(0));
    require(last < place, "findings come in the order of the text, one for each place");
    last = place;
  }
}

/// Every line is a record, or told of as one that gave none.
inline void requireEveryLine(std::string_view text, std::size_t records, const Findings& findings) {
  std::size_t lines = 0;
  for (LineCursor cursor(text); cursor.next();) ++lines;
  require(records + findings.count(FindingOutcome::headerSkipped) +
                  findings.count(FindingOutcome::lineDropped) ==
              lines,
          "every line is a record or told of");
}

}  // namespace tavrine::fuzz
