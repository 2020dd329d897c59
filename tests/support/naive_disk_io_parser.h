// A slow and obvious DiskIOParser, to hold the real one against.
#pragma once

#include <TavrineShared/model/agent_sensors.h>

#include <cstddef>
#include <string_view>
#include <vector>

namespace tavrine::naive {

struct DiskLosses {
  std::size_t lines = 0;       ///< that had no part in the outcome, though they could have had
  std::size_t leftOut = 0;     ///< loop, RAM and idle devices
  std::size_t readAsZero = 0;  ///< rates that are negative or no number
};

/// What `DiskIOParser::parse` has to give.
std::vector<DiskIORate> parseDisks(std::string_view text, double sectorSizeBytes,
                                   double intervalSeconds, DiskLosses* losses = nullptr);

bool areSameBits(const std::vector<DiskIORate>& a, const std::vector<DiskIORate>& b);

}  // namespace tavrine::naive
