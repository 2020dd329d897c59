// The lines around what the live screen shows: what it is, which views there are, what keys do.
#pragma once

#include "companion/views/styled_line.h"
#include "companion/watch/screen_model.h"

#include <TavrineShared/foundation/timestamp.h>

namespace tavrine {

/// How much there is of what, from where, and how old it is.
StyledLine titleLine(const ScreenModel& model, Timestamp now);

/// The names of the views; on a narrow screen the numbers of those that are not shown.
StyledLine tabsLine(const ScreenModel& model);

/// The filter that is being typed, what is wrong, or else the keys of the page; and how the page is
/// filtered, sorted and scrolled.
StyledLine footerLine(const ScreenModel& model);

}  // namespace tavrine
