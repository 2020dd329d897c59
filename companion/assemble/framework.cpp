#include "companion/assemble/framework.h"

#include <TavrineShared/foundation/unicode_text.h>

#include <array>

namespace tavrine {

namespace {

struct Framework {
  std::string_view word;
  std::string_view name;
};

// The more special one stands first: who trains with DeepSpeed has torch in sight as well.
constexpr auto kFrameworks = std::to_array<Framework>({
    {"megatron", "Megatron"},
    {"deepspeed", "PyTorch + DeepSpeed"},
    {"accelerate", "PyTorch + Accelerate"},
    {"lightning", "PyTorch Lightning"},
    {"torchrun", "PyTorch"},
    {"torch", "PyTorch"},
    {"tensorflow", "TensorFlow"},
    {"keras", "Keras"},
    {"jax", "JAX"},
});

}  // namespace

std::string frameworkIn(std::string_view words) {
  const std::string lower = lowercased(words);
  for (const Framework& each : kFrameworks) {
    if (lower.find(each.word) != std::string::npos) return std::string(each.name);
  }
  return "unknown";
}

}  // namespace tavrine
