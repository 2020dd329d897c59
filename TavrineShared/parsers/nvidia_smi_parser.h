// The GPU query's comma-separated output, one line per GPU, becomes `GPUStat` records.
//
// The query must ask for these columns, in this order: index, name, GPU utilisation, memory used,
// memory total, GPU temperature, power draw, power limit, fan speed, SM clock, memory clock, total
// ECC errors, current PCIe link generation, current PCIe link width, performance state. A header
// line and unit suffixes may be there or not.
//
// Nothing fails as a whole. A line with fewer than 8 columns, or whose first column is no integer
// (so also the header), is dropped. Of the rest, a number that cannot be read becomes 0 in the
// columns up to the power limit and absent behind it; what is neither empty nor a number becomes 0
// in the three integer columns (ECC errors, link generation, link width). Columns behind the last
// one are ignored. There is no quoting.
//
// One input is fatal: a NaN, an infinity or a number beyond 64 bits in one of the three integer
// columns stops the process, since no such counter exists.
#pragma once

#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/gpu_server.h>

#include <string_view>
#include <vector>

namespace tavrine::NVIDIASMIParser {

/// The records, in the order of the lines. With `findings`, tells of every line that gave none
/// (headers as such), every number read as 0 or cut off, every unreadable optional number, every
/// name that was repaired, and of columns too many.
std::vector<GPUStat> parseCSV(std::string_view text, Findings* findings = nullptr);

/// Whether the output holds the one input that is fatal. Who reads what hosts print that may not be
/// trusted asks line by line, and leaves such a line out.
bool isFatal(std::string_view text);

}  // namespace tavrine::NVIDIASMIParser
