// The verb `watch`.
#pragma once

#include "companion/shell/usage.h"

namespace tavrine {

/// Adds the verb to the program; when it is what the user asked for, `chosen` is set.
void addWatchVerb(CLI::App& program, Action& chosen);

}  // namespace tavrine
