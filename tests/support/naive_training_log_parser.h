// A slow and obvious TrainingLogParser, to hold the real one against: the patterns as they are
// written down, each applied to the whole text. Some lines of a few hundred bytes take it minutes.
#pragma once

#include <TavrineShared/parsers/training_log_parser.h>

#include <string_view>

namespace tavrine::naive {

/// What `TrainingLogParser::parse` has to give for `text` at the time `now`.
ParsedLogSignals parseTrainingLog(std::string_view text, Timestamp now);

/// Whether two results are the same to the bit.
bool areSameBits(const ParsedLogSignals& a, const ParsedLogSignals& b);

}  // namespace tavrine::naive
