// The list of processes that hold GPU memory, one line per process and GPU, becomes
// `GPUProcessStat` records.
//
// The query must ask for these columns, in this order: pid, process name, used memory, bus
// identifier of the GPU; the last may be missing. A header line and the unit of the memory may be
// there or not. There is no quoting.
//
// Nothing fails as a whole. A line with fewer than 3 columns, or whose first column is no integer
// (so also the header), is dropped. A memory that cannot be read, or that the tool does not know,
// is 0; an empty bus identifier is absent. Columns behind the fourth are ignored.
#pragma once

#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/process.h>

#include <string_view>
#include <vector>

namespace tavrine::GPUProcessStatParser {

/// The records, in the order of the lines. With `findings`, tells of every line that gave none
/// (headers as such), every memory read as 0, every text repaired and of columns too many.
std::vector<GPUProcessStat> parse(std::string_view text, Findings* findings = nullptr);

}  // namespace tavrine::GPUProcessStatParser
