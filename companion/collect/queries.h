// The exact commands whose output the parsers read: each stands in the program once.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tavrine {

/// One column of the GPU query.
struct GPUQueryColumn {
  std::string_view property;  ///< what the GPU tool calls it
  std::string_view field;     ///< the field of `GPUStat` that it fills
};

/// In the order in which the parser expects them, which is the order of the fields.
std::span<const GPUQueryColumn> gpuQueryColumns();

/// Prints a header and one line per GPU. Needs no quoting in a shell.
std::string gpuQueryCommand();

}  // namespace tavrine
