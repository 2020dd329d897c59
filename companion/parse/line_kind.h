// How a kind is parsed whose every line stands for itself and gives one record or none.
#pragma once

#include "companion/parse/parse_report.h"

#include <TavrineShared/parsers/text_rules.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace tavrine {

namespace detail {

/// The records once more, read line by line to know where each stands, without those that JSON has
/// no form for.
template <class R, auto ParseText>
std::vector<R> encodableLines(const ParseRequest& request, Findings& leftOut) {
  std::vector<R> kept;
  for (LineCursor lines(request.text); lines.next();) {
    for (R& record : ParseText(lines.line(), request.options, nullptr)) {
      EncodingProblem problem;
      if (isEncodable(record, problem)) {
        kept.push_back(std::move(record));
        continue;
      }
      tellLeftOut(request, leftOut, FindingOutcome::lineDropped, [&] {
        Finding finding{};
        finding.line = static_cast<std::int64_t>(lines.lineNumber());
        finding.path = problem.path;
        finding.found = excerpt(lines.line());
        finding.reason = problem.reason;
        return finding;
      });
    }
  }
  return kept;
}

}  // namespace detail

/// `ParseText` is the parser, from text, options and findings to a list of records `R`; `Table` the
/// view, from a span of them and a style to text.
template <class R, auto ParseText, auto Table>
ParseResult parseLineKind(const ParseRequest& request) {
  return reportOf(request,
                  ParseText(request.text, request.options, request.findings),
                  Table,
                  [&request](const std::vector<R>&, Findings& leftOut) {
                    return detail::encodableLines<R, ParseText>(request, leftOut);
                  });
}

}  // namespace tavrine
