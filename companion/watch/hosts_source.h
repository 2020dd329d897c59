// Snapshots of hosts that are asked again and again.
#pragma once

#include "companion/watch/snapshot_source.h"

#include <string>
#include <vector>

namespace tavrine {

/// Runs `tavrine refresh --every SPAN --file FILE HOST...` beside the screen, with a file in a
/// folder of its own, and watches that file. The child ends with the source, and with the process
/// should that die. Without hosts it asks those of the configuration file, or else this machine.
/// Throws `std::system_error` when it cannot be started.
SnapshotSource hostsSource(const std::vector<std::string>& hosts, double everySeconds);

}  // namespace tavrine
