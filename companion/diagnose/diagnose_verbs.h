// The verbs that tell what a training run is doing: `diagnose` and `classify`.
#pragma once

#include "companion/shell/usage.h"

namespace tavrine {

/// Each adds its verb to the program; when it is what the user asked for, `chosen` is set.
void addDiagnoseVerb(CLI::App& program, Action& chosen);
void addClassifyVerb(CLI::App& program, Action& chosen);

}  // namespace tavrine
