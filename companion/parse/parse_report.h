// What all kinds share of parsing: records become a document or a table, and those that JSON has no
// form for are left out of the document and told.
#pragma once

#include "companion/parse/kinds.h"
#include "companion/shell/encodable.h"

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_conventions.h>

#include <cstdint>
#include <optional>
#include <string>
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

/// Fills the findings of a report.
template <class Report>
void addTold(Report& report, const Findings& findings) {
  report.findings = findings.told();
  const std::size_t notListed = findings.toldCount() - report.findings.size();
  if (notListed > 0) report.findingsNotListed = static_cast<std::int64_t>(notListed);
}

namespace detail {

/// Of the two forms that are JSON.
inline JSONStyle jsonStyle(OutputForm form) {
  return form == OutputForm::prettyJSON ? JSONStyle::pretty : JSONStyle::compact;
}

/// Throws `EncodingError` when JSON has no form for one of the records.
template <class R>
std::string document(const ParseRequest& request, ParseReport<R>& report) {
  const JSONStyle style = jsonStyle(request.form);
  if (!request.findingsInDocument) return encode(report.records, style);
  addTold(report, *request.findings);
  return encode(report, style);
}

/// Tells of a record that JSON has no form for.
template <class Describe>
void tellLeftOut(const ParseRequest& request, Findings& leftOut, FindingOutcome outcome,
                 const Describe& describe) {
  leftOut.add(outcome, describe);
  if (request.findings != nullptr) request.findings->add(outcome, describe);
}

}  // namespace detail

/// `table` is the view, from a span of records and a style to text; `encodable(records, leftOut)`
/// gives the records without those that JSON has no form for, which it tells.
template <class R, class Table, class Encodable>
ParseResult reportOf(const ParseRequest& request, std::vector<R> records, const Table& table,
                     const Encodable& encodable) {
  ParseResult result;
  ParseReport<R> report{};
  report.records = std::move(records);
  if (request.form == OutputForm::table) {
    result.output = table(report.records, request.style);
  } else {
    try {
      result.output = detail::document(request, report);
    } catch (const EncodingError&) {
      // Rare, so the document is tried first and nothing is looked at twice as long as all is well.
      report.records = encodable(std::move(report.records), result.leftOut);
      result.output = detail::document(request, report);
    }
  }
  result.recordCount = report.records.size();
  return result;
}

}  // namespace tavrine
