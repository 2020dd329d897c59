// The made-up lab in motion.
#pragma once

#include "companion/watch/snapshot_source.h"

#include <cstdint>

namespace tavrine {

/// One tick a second, from `tick` on, which is one of those that the lab knows; it stands still on
/// the last one.
SnapshotSource demoSource(std::int64_t tick);

}  // namespace tavrine
