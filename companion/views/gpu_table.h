// GPUs as a table for people.
#pragma once

#include "companion/views/text_table.h"

#include <TavrineShared/model/gpu_server.h>

#include <span>
#include <string>

namespace tavrine {

/// One line per GPU, in the order given, with units; memory in GiB. A dash stands for what is
/// absent, also for the share of a memory whose size is unknown. A 0 is shown as 0, even where the
/// tool had nothing better to offer: that is for findings to tell.
std::string gpuTable(std::span<const GPUStat> gpus, const TableStyle& style);

}  // namespace tavrine
