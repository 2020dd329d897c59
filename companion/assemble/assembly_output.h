// What verbs say of an assembly besides the snapshot itself.
#pragma once

#include "companion/assemble/source_findings.h"

#include <string>

namespace tavrine {

/// Each source of which there is something to tell, with its findings below.
std::string sourceFindingsText(const FindingsBook& book);

/// How much was lost in how many sources, in a few words; empty when nothing was.
std::string lossSummary(const FindingsBook& book);

/// Says on standard error what was lost: all of it, or the one line. False when nothing was.
bool tellLosses(const FindingsBook& book, bool inFull, bool redact);

}  // namespace tavrine
