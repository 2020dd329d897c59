#include "companion/parse/kinds.h"

#include "companion/collect/queries.h"
#include "companion/parse/line_kind.h"
#include "companion/views/gpu_table.h"

#include <TavrineShared/parsers/nvidia_smi_parser.h>

#include <array>

namespace tavrine {

namespace {

constexpr auto kKinds = std::to_array<Kind>({
    {.name = "gpus",
     .input = "the GPU query's output",
     .records = "GPUs",
     .example = "gpus.csv",
     .queryCommand = gpuQueryCommand,
     .parse = parseLineKind<GPUStat, NVIDIASMIParser::parseCSV, gpuTable>},
});

}  // namespace

std::span<const Kind> kinds() { return kKinds; }

}  // namespace tavrine
