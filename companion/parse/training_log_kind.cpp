#include "companion/parse/training_log_kind.h"

#include "companion/parse/parse_report.h"
#include "companion/views/training_log_table.h"

#include <TavrineShared/parsers/training_log_parser.h>

#include <vector>

namespace tavrine {

namespace {

/// The document that tells the signals and where they stand.
struct TrainingLogReport {
  std::vector<Finding> findings;  ///< where values stand, and losses
  std::optional<std::int64_t> findingsNotListed;
  ParsedLogSignals signals;

  static const RecordTable& table() {
    using Report = TrainingLogReport;
    static constexpr auto fields = fieldsOf<Report>(field<&Report::findings>(),
                                                    field<&Report::findingsNotListed>(),
                                                    field<&Report::signals>());
    static constexpr RecordTable table{"TrainingLogReport", fields};
    return table;
  }
};

}  // namespace

ParseResult parseTrainingLog(const ParseRequest& request) {
  TrainingLogReport report{};
  report.signals =
      TrainingLogParser::detail::parse(request.text, request.options.capturedAt, request.findings);
  ParseResult result;
  result.recordCount = 1;
  if (request.form == OutputForm::table) {
    result.output = trainingLogTable(report.signals, request.style);
    return result;
  }
  const JSONStyle style = detail::jsonStyle(request.form);
  if (request.findingsInDocument) {
    addTold(report, *request.findings);
    result.output = encode(report, style);
  } else {
    result.output = encode(report.signals, style);
  }
  return result;
}

}  // namespace tavrine
