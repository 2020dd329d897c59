// The sections of a page, in the order in which they stand there: nothing where a snapshot has
// nothing for one.
#pragma once

#include "companion/export/html_text.h"

#include <TavrineShared/model/app_snapshot.h>

namespace tavrine {

Markup alertSection(const AppSnapshot& snapshot);
Markup serverSection(const AppSnapshot& snapshot);
Markup runSection(const AppSnapshot& snapshot);
Markup processSection(const AppSnapshot& snapshot);
Markup userSection(const AppSnapshot& snapshot);
Markup sensorSection(const AppSnapshot& snapshot);

}  // namespace tavrine
