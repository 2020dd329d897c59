#include "companion/diagnose/diagnosis_report.h"

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_conventions.h>

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tavrine {

namespace {

struct DiagnosisReport {
  std::string log;
  std::string verdict;                        ///< the name of the case, such as "memoryBound"
  std::optional<RuntimePhase> dominantPhase;  ///< of "mixed"
  std::string label;
  DiagnosisTest decidedBy;
  std::vector<DiagnosisStep> steps;
  std::vector<PhaseCount> phases;
  std::int64_t stacks;
  std::optional<double> collectiveShare;
  std::int64_t points;             ///< recent ones
  std::int64_t pointsInLog;        ///< all of them
  std::int64_t droppedLines;       ///< lines of the log that gave no point
  std::optional<double> earliest;  ///< of the recent points
  std::optional<double> newest;
  std::vector<DiagnosisDoubt> doubts;

  static const RecordTable& table();
};

const RecordTable& DiagnosisReport::table() {
  using R = DiagnosisReport;
  static constexpr auto fields = fieldsOf<R>(field<&R::log>(),
                                             field<&R::verdict>(),
                                             field<&R::dominantPhase>(),
                                             field<&R::label>(),
                                             field<&R::decidedBy>(),
                                             field<&R::steps>(),
                                             field<&R::phases>(),
                                             field<&R::stacks>(),
                                             field<&R::collectiveShare>(),
                                             field<&R::points>(),
                                             field<&R::pointsInLog>(),
                                             field<&R::droppedLines>(),
                                             field<&R::earliest>(),
                                             field<&R::newest>(),
                                             field<&R::doubts>());
  static constexpr RecordTable table{"DiagnosisReport", fields};
  return table;
}

std::string_view caseName(const RuntimeDiagnosis& verdict) {
  switch (verdict) {
    case RuntimeDiagnosis::mixed:
      return "mixed";
    case RuntimeDiagnosis::computeBound:
      return "computeBound";
    case RuntimeDiagnosis::memoryBound:
      return "memoryBound";
    case RuntimeDiagnosis::communicationBound:
      return "communicationBound";
    case RuntimeDiagnosis::dataloaderStall:
      return "dataloaderStall";
    case RuntimeDiagnosis::unknown:
      break;
  }
  return "unknown";
}

std::optional<double> secondsOf(const std::optional<Timestamp>& time) {
  return time ? std::optional(time->time_since_epoch().count()) : std::nullopt;
}

DiagnosisReport reportOf(const LogDiagnosis& diagnosis) {
  const DiagnosisEvidence& evidence = diagnosis.evidence;
  return {.log = diagnosis.name,
          .verdict = std::string(caseName(evidence.verdict)),
          .dominantPhase = RuntimePhase::fromRawValue(evidence.verdict.payload()),
          .label = evidence.verdict.label(),
          .decidedBy = evidence.decidedBy(),
          .steps = evidence.steps,
          .phases = evidence.phases,
          .stacks = evidence.stacks,
          .collectiveShare = evidence.collectiveShare,
          .points = evidence.points,
          .pointsInLog = static_cast<std::int64_t>(diagnosis.pointCount),
          .droppedLines = static_cast<std::int64_t>(diagnosis.droppedLines),
          .earliest = secondsOf(evidence.earliest),
          .newest = secondsOf(evidence.newest),
          .doubts = evidence.doubts};
}

}  // namespace

std::string diagnosisJSON(const LogDiagnosis& diagnosis, JSONStyle style) {
  return encode(reportOf(diagnosis), style);
}

std::string diagnosesJSON(std::span<const LogDiagnosis> diagnoses, JSONStyle style) {
  std::vector<DiagnosisReport> reports;
  reports.reserve(diagnoses.size());
  for (const LogDiagnosis& diagnosis : diagnoses) reports.push_back(reportOf(diagnosis));
  return encode(reports, style);
}

}  // namespace tavrine
