// The live screen as lines of text.
#pragma once

#include "companion/views/chart.h"
#include "companion/views/styled_line.h"
#include "companion/watch/screen_model.h"

#include <TavrineShared/foundation/timestamp.h>

#include <vector>

namespace tavrine {

/// Exactly as many lines as the screen has rows, none wider than it. Whatever came from outside is
/// harmless in them; with ASCII glyphs, all of it is ASCII.
std::vector<StyledLine> screenText(const ScreenModel& model, Timestamp now, Glyphs glyphs);

/// The first of these lines alone, which is the one that changes with the time.
StyledLine titleText(const ScreenModel& model, Timestamp now, Glyphs glyphs);

}  // namespace tavrine
