// A slow and obvious RecorderLineParser, to hold the real one against: characters one by one, the
// document of each line decoded by itself, an insertion sort.
#pragma once

#include <TavrineShared/recorder/recorder_records.h>

#include <cstddef>
#include <string_view>
#include <vector>

namespace tavrine::naive {

/// What `RecorderLineParser::parse` has to give. `lines` counts the pieces that are not blank.
std::vector<RecorderLogPoint> parseRecorderLines(std::string_view text,
                                                 std::size_t* lines = nullptr);

}  // namespace tavrine::naive
