// Where alerts and the health of runs draw the line; docs/program/lab.md lists them for users.
#pragma once

#include "companion/views/snapshot_parts.h"

namespace tavrine::thresholds {

inline constexpr double kHotGPUC = kHotC;        ///< what is shown in red
inline constexpr double kScorchingGPUC = 95;     ///< where GPUs stop
inline constexpr double kFullGPUMemory = 0.97;   ///< one allocation away from running out
inline constexpr double kDiskNearlyFull = 0.05;  ///< part that is left
inline constexpr double kDiskFull = 0.01;
inline constexpr double kOrphanMB = 64;  ///< what drivers and display servers hold is less

}  // namespace tavrine::thresholds
