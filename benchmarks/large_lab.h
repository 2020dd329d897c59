// The state of a large lab, made up but looking like a real one, and the same on every machine.
#pragma once

#include <TavrineShared/model/app_snapshot.h>

#include <cstddef>
#include <vector>

namespace tavrine::benchmarks {

/// Servers with eight GPUs each.
std::vector<ServerSummary> largeServerList(std::size_t count);

/// 200 servers with everything an agent reports of them: about 70 MB of pretty JSON.
AppSnapshot largeLab();

}  // namespace tavrine::benchmarks
