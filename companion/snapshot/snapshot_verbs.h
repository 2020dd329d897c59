// The verbs that work on a whole snapshot: `check`, `demo`, `schema` and `show`.
#pragma once

#include "companion/shell/usage.h"

#include <string>
#include <vector>

namespace tavrine {

/// Each adds its verb to the program; when it is what the user asked for, `chosen` is set.
void addCheckVerb(CLI::App& program, Action& chosen);
void addDemoVerb(CLI::App& program, Action& chosen);
void addSchemaVerb(CLI::App& program, Action& chosen);
void addShowVerb(CLI::App& program, Action& chosen);

/// The records whose schema `schema` prints.
std::vector<std::string> schemaNames();

}  // namespace tavrine
