// The one kind that gives no list of records but one record of the text as a whole.
#pragma once

#include "companion/parse/kinds.h"

namespace tavrine {

/// With findings, not only tells what was lost but also from where each value was read.
ParseResult parseTrainingLog(const ParseRequest& request);

}  // namespace tavrine
