// How a kind is parsed whose every line stands for itself and gives one record or none.
#pragma once

#include "companion/parse/kinds.h"

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/parsers/text_rules.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tavrine {

/// The document that tells records and losses together.
template <class R>
struct ParseReport {
  std::vector<Finding> findings;                  ///< the losses
  std::optional<std::int64_t> findingsNotListed;  ///< losses beyond those, when there were too many
  std::vector<R> records;

  static const RecordTable& table() {
    using Report = ParseReport;
    static constexpr auto fields = fieldsOf<Report>(field<&Report::findings>(),
                                                    field<&Report::findingsNotListed>(),
                                                    field<&Report::records>());
    static constexpr RecordTable table{"ParseReport", fields};
    return table;
  }
};

namespace detail {

template <class R>
void addLosses(ParseReport<R>& report, const Findings& findings) {
  report.findings = findings.losses();
  const std::size_t notListed = findings.lossCount() - report.findings.size();
  if (notListed > 0) report.findingsNotListed = static_cast<std::int64_t>(notListed);
}

/// Throws `EncodingError` when JSON has no form for one of the records.
template <class R>
std::string document(const ParseRequest& request, ParseReport<R>& report) {
  const JSONStyle style =
      request.form == OutputForm::prettyJSON ? JSONStyle::pretty : JSONStyle::compact;
  if (!request.findingsInDocument) return encode(report.records, style);
  addLosses(report, *request.findings);
  return encode(report, style);
}

template <class R>
bool isEncodable(const R& record, EncodingProblem& problem) {
  JSONWriter writer(JSONStyle::compact);
  EncodeContext context;
  context.problem = &problem;
  return ValueForm<R>::encode(writer, record, context);
}

/// The records once more, read line by line to know where each stands, without those that JSON has
/// no form for.
template <class R, auto ParseText>
std::vector<R> encodableRecords(const ParseRequest& request, Findings& leftOut) {
  std::vector<R> kept;
  for (LineCursor lines(request.text); lines.next();) {
    for (R& record : ParseText(lines.line(), nullptr)) {
      EncodingProblem problem;
      if (isEncodable(record, problem)) {
        kept.push_back(std::move(record));
        continue;
      }
      const auto describe = [&] {
        Finding finding{};
        finding.line = static_cast<std::int64_t>(lines.lineNumber());
        finding.path = problem.path;
        finding.found = excerpt(lines.line());
        finding.reason = problem.reason;
        return finding;
      };
      leftOut.add(FindingOutcome::lineDropped, describe);
      if (request.findings != nullptr) {
        request.findings->add(FindingOutcome::lineDropped, describe);
      }
    }
  }
  return kept;
}

}  // namespace detail

/// `ParseText` is the parser, from text and findings to a list of records `R`; `Table` the view,
/// from a span of them and a style to text.
template <class R, auto ParseText, auto Table>
ParseResult parseLineKind(const ParseRequest& request) {
  ParseResult result;
  ParseReport<R> report{};
  report.records = ParseText(request.text, request.findings);
  if (request.form == OutputForm::table) {
    result.output = Table(report.records, request.style);
  } else {
    try {
      result.output = detail::document(request, report);
    } catch (const EncodingError&) {
      // Rare, so the document is tried first and nothing is looked at twice as long as all is well.
      report.records = detail::encodableRecords<R, ParseText>(request, result.leftOut);
      result.output = detail::document(request, report);
    }
  }
  result.recordCount = report.records.size();
  return result;
}

}  // namespace tavrine
