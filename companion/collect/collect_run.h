// What `collect` and `refresh` have in common: asking, and saying how it went.
#pragma once

#include "companion/collect/collect.h"
#include "companion/collect/collect_options.h"

#include <string>
#include <vector>

namespace tavrine {

/// Asks all hosts, with a progress line where standard error is a terminal, takes secrets out of
/// what they print and keeps the captures if that is wanted, and tells of each host that did not
/// answer, or not to the end. `request` is what the options come to. Once interrupted, keeps
/// nothing and gives nothing.
std::vector<Capture> collectTold(const CollectRequest& request, const CollectOptions& options);

/// Whether every host answered to the end.
bool areWhole(const std::vector<Capture>& captures);

}  // namespace tavrine
