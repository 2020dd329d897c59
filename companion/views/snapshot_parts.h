// What the overviews of a snapshot have in common, be they text or a page.
#pragma once

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

inline constexpr double kHotC = 85;  ///< where data centre GPUs begin to slow themselves down

/// What an alert is about: the run, the server, or both.
std::optional<std::string> subjectOf(const TavrineAlert& alert);

}  // namespace tavrine
