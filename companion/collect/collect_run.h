// What `collect` and `refresh` have in common: asking, and saying how it went.
#pragma once

#include "companion/collect/collect.h"
#include "companion/collect/collect_options.h"

#include <string>
#include <vector>

namespace tavrine {

/// Asks all hosts, with a progress line where standard error is a terminal, keeps the captures
/// where a folder is given for them, and tells of each host that did not answer, or not to the end.
std::vector<Capture> collectTold(const CollectRequest& request,
                                 const std::optional<std::string>& captureFolder);

/// Whether every host answered to the end.
bool areWhole(const std::vector<Capture>& captures);

}  // namespace tavrine
