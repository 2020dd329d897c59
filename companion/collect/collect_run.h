// What `collect` and `refresh` have in common: asking, and saying how it went.
#pragma once

#include "companion/collect/collect.h"
#include "companion/collect/collect_options.h"

#include <filesystem>
#include <vector>

namespace tavrine {

struct Collected {
  std::vector<Capture> captures;
  std::vector<std::filesystem::path> kept;  ///< their folders, of those that could be written
  bool isWhole = true;  ///< every host answered to the end, and what was to be kept is
};

/// Asks all hosts, with a progress line where standard error is a terminal, takes secrets out of
/// what they print and keeps the captures if that is wanted, and tells of each host that did not
/// answer, or not to the end. `request` is what the options come to. Once interrupted, keeps
/// nothing and gives nothing.
Collected collectTold(const CollectRequest& request, const CollectOptions& options);

}  // namespace tavrine
