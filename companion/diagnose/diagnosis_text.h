// A diagnosis in words and charts, for people.
#pragma once

#include "companion/diagnose/log_diagnosis.h"
#include "companion/views/chart.h"
#include "companion/views/text_table.h"

#include <TavrineShared/foundation/timestamp.h>

#include <span>
#include <string>

namespace tavrine {

struct DiagnosisView {
  TableStyle style;
  Glyphs glyphs = Glyphs::ascii;
  Timestamp now;  ///< what ages are counted from
};

/// The verdict, the tests on the way to it, the phases as bars, utilisation and power over the time
/// of the whole log, and what gives reason to doubt.
std::string diagnosisText(const LogDiagnosis& diagnosis, const DiagnosisView& view);

/// One line for each.
std::string diagnosesTable(std::span<const LogDiagnosis> diagnoses, const DiagnosisView& view);

}  // namespace tavrine
