// The verb `query`: the command whose output `parse` expects.
#pragma once

#include "companion/shell/usage.h"

namespace tavrine {

/// Adds the verb to the program; when it is what the user asked for, `chosen` is set.
void addQueryVerb(CLI::App& program, Action& chosen);

}  // namespace tavrine
