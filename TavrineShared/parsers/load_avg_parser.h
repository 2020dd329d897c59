// The load averages of a host, out of the one line of /proc/loadavg.
#pragma once

#include <TavrineShared/model/findings.h>

#include <string_view>
#include <vector>

namespace tavrine::LoadAvgParser {

/// The averages over 1, 5 and 15 minutes: of the first three fields, which only blanks (U+0020)
/// separate, those that are numbers. So there may be fewer than three, and behind one that is no
/// number the others move up. Further fields are ignored. With `findings`, tells of each of the
/// three that is no number.
std::vector<double> parse(std::string_view text, Findings* findings = nullptr);

}  // namespace tavrine::LoadAvgParser
