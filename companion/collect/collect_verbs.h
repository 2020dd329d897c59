// The verbs that ask hosts: `collect` and `refresh`.
#pragma once

#include "companion/shell/usage.h"

namespace tavrine {

/// Each adds its verb to the program; when it is what the user asked for, `chosen` is set.
void addCollectVerb(CLI::App& program, Action& chosen);
void addRefreshVerb(CLI::App& program, Action& chosen);

}  // namespace tavrine
