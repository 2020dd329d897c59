// Processes as tables for people.
#pragma once

#include "companion/views/text_table.h"

#include <TavrineShared/model/process.h>

#include <span>
#include <string>

namespace tavrine {

/// One line per process, in the order given; memory in MiB. The command comes last and
/// without the blanks in front that the process table pads it with.
std::string processTable(std::span<const ProcessStat> processes, const TableStyle& style);

/// One line per process and GPU, in the order given; memory in MiB. A 0 is shown as 0, even where
/// the tool had nothing better to offer: that is for findings to tell.
std::string gpuProcessTable(std::span<const GPUProcessStat> processes, const TableStyle& style);

}  // namespace tavrine
