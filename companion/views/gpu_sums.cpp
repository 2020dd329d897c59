#include "companion/views/gpu_sums.h"

namespace tavrine {

double sumOver(std::span<const GPUStat> gpus, double GPUStat::*figure) {
  double sum = 0;
  for (const GPUStat& gpu : gpus) sum += gpu.*figure;
  return sum;
}

std::optional<double> meanOver(std::span<const GPUStat> gpus, double GPUStat::*figure) {
  if (gpus.empty()) return std::nullopt;
  return sumOver(gpus, figure) / static_cast<double>(gpus.size());
}

}  // namespace tavrine
