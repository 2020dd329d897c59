// Sensors, network and agents of a lab as tables.
#pragma once

#include "companion/watch/screen_table.h"

#include <TavrineShared/model/app_snapshot.h>

#include <vector>

namespace tavrine {

/// Those that have rows.
std::vector<ScreenTable> sensorViewTables(const AppSnapshot& snapshot);

}  // namespace tavrine
