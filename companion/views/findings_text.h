// What was lost on the way, in plain words.
#pragma once

#include <TavrineShared/model/findings.h>

#include <string>

namespace tavrine {

/// One line for each loss, and for each place of a value, that `findings` keeps in full, such as
///
///     line 2, column 29, utilizationPercent: "[N/A]" read as 0: not available
///     line 7: "No devices were found" line dropped: fewer than 8 columns
///
/// and a closing line that counts all losses by what became of them. Whatever a reader is meant to
/// pass over, such as a line of headings, is not told. No loss at all is one line that says so.
std::string findingsText(const Findings& findings);

/// The same without the places of values.
std::string lossesText(const Findings& findings);

}  // namespace tavrine
