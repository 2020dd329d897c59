// Figures of several GPUs taken together.
#pragma once

#include <TavrineShared/model/gpu_server.h>

#include <optional>
#include <span>

namespace tavrine {

/// 0 where there is no GPU.
double sumOver(std::span<const GPUStat> gpus, double GPUStat::*figure);

/// No value where there is no GPU.
std::optional<double> meanOver(std::span<const GPUStat> gpus, double GPUStat::*figure);

}  // namespace tavrine
