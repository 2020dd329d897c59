// Showing what a source tells, until somebody has seen enough.
#pragma once

#include "companion/shell/exit_status.h"
#include "companion/views/styled_line.h"
#include "companion/watch/snapshot_source.h"

namespace tavrine {

/// Takes the terminal over and gives it back. Sleeps but for keys, a few looks at the source and
/// one line each second. Throws `std::runtime_error` where there is no terminal for it.
ExitStatus watchSource(const SnapshotSource& source, Paint paint);

}  // namespace tavrine
