// What the overviews of a snapshot have in common, be they text or a page.
#pragma once

#include "companion/views/text_table.h"

#include <TavrineShared/model/app_snapshot.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tavrine {

/// At most `count` processes: those that hold most GPU memory, then those that use most CPU. They
/// live as long as the snapshot does.
std::vector<const ProcessStat*> topProcesses(const AppSnapshot& snapshot, std::size_t count);

/// The gravest first, and of these the newest.
std::vector<const TavrineAlert*> alertsByGravity(const AppSnapshot& snapshot);

/// Green for what is well, yellow for what asks for a look, red for what is broken.
Ink inkOf(ServerConnectionState state);
Ink inkOf(RunStatus status);
Ink inkOf(RunHealth health);
Ink inkOf(AlertSeverity severity);

/// Whether it is at 85 degrees or above, where data centre GPUs begin to slow themselves down.
bool isHot(const GPUStat& gpu);

/// What an alert is about: the run, the server, or both.
std::optional<std::string> subjectOf(const TavrineAlert& alert);

}  // namespace tavrine
