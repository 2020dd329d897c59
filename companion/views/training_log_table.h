// What a training log tells of its run, as a table for people.
#pragma once

#include "companion/views/text_table.h"

#include <TavrineShared/parsers/training_log_parser.h>

#include <string>

namespace tavrine {

/// One line per signal that the log gives, warnings first, then one per step of validation.
std::string trainingLogTable(const ParsedLogSignals& signals, const TableStyle& style);

}  // namespace tavrine
