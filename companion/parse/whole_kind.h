// How a kind is parsed whose records come out of the text as a whole: what a line gives depends on
// others, or the records do not stand in the order of the lines.
#pragma once

#include "companion/parse/parse_report.h"

#include <utility>
#include <vector>

namespace tavrine {

/// `ParseText` and `Table` are what they are for a kind of lines; `NameOf` says of a record, which
/// no line number would find here, what it is called when JSON has no form for it.
template <class R, auto ParseText, auto Table, auto NameOf>
ParseResult parseWholeKind(const ParseRequest& request) {
  const auto encodable = [&request](std::vector<R> records, Findings& leftOut) {
    std::vector<R> kept;
    for (R& record : records) {
      EncodingProblem problem;
      if (isEncodable(record, problem)) {
        kept.push_back(std::move(record));
        continue;
      }
      detail::tellLeftOut(request, leftOut, FindingOutcome::elementDropped, [&] {
        Finding finding{};
        finding.path = problem.path;
        finding.found = excerpt(NameOf(record));
        finding.reason = problem.reason;
        return finding;
      });
    }
    return kept;
  };
  return reportOf(request,
                  ParseText(request.text, request.options, request.findings),
                  Table,
                  encodable);
}

}  // namespace tavrine
