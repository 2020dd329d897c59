// What a diagnosis holds its measurements against. Private: no public header includes it.
#pragma once

#include <cstddef>

namespace tavrine::diagnosis_thresholds {

inline constexpr double kSaturatedTensors = 0.5;   ///< tensor_active above it
inline constexpr double kQuietTensors = 0.3;       ///< tensor_active below it, and ...
inline constexpr double kBusyMemory = 0.7;         ///< ... dram_active above it
inline constexpr double kMostlyCollective = 0.6;   ///< share of the stacks above it
inline constexpr double kLowUtilization = 30;      ///< percent below it, in each of ...
inline constexpr std::size_t kStalledSamples = 3;  ///< ... so many newest samples

}  // namespace tavrine::diagnosis_thresholds
