// The verb `export`: a snapshot for other programs.
#pragma once

#include "companion/shell/usage.h"

namespace tavrine {

/// Adds the verb to the program; when it is what the user asked for, `chosen` is set.
void addExportVerb(CLI::App& program, Action& chosen);

}  // namespace tavrine
