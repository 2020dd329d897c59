// Snapshots from a file that somebody else replaces.
#pragma once

#include "companion/watch/snapshot_source.h"

#include <filesystem>

namespace tavrine {

/// Reads `file` whenever it has become another one: replaced, rewritten, gone, or back again. What
/// cannot be read, or holds no snapshot, is told as a problem, and so is what was lost in one.
SnapshotSource fileSource(const std::filesystem::path& file);

}  // namespace tavrine
