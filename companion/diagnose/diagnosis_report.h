// A diagnosis as JSON, for programs. Times are seconds since 1970, as in the log.
#pragma once

#include "companion/diagnose/log_diagnosis.h"

#include <TavrineShared/foundation/json_writer.h>

#include <span>
#include <string>

namespace tavrine {

/// One object.
std::string diagnosisJSON(const LogDiagnosis& diagnosis, JSONStyle style);

/// A list of them.
std::string diagnosesJSON(std::span<const LogDiagnosis> diagnoses, JSONStyle style);

}  // namespace tavrine
