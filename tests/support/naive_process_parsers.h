// Slow and obvious parsers of the process tables, to hold the real ones against.
#pragma once

#include <TavrineShared/model/process.h>

#include <cstddef>
#include <string_view>
#include <vector>

namespace tavrine::naive {

/// How often each thing was lost, where that shows in the characters of the text.
struct ProcessLosses {
  std::size_t headers = 0;
  std::size_t lines = 0;  ///< all others that gave no record
  std::size_t readAsZero = 0;
  std::size_t columns = 0;  ///< lines with more columns than are read
};

/// What `ProcessStatParser::parse` has to give.
std::vector<ProcessStat> parseProcesses(std::string_view text, std::string_view serverName,
                                        Timestamp capturedAt, ProcessLosses* losses = nullptr);

/// What `GPUProcessStatParser::parse` has to give.
std::vector<GPUProcessStat> parseGPUProcesses(std::string_view text,
                                              ProcessLosses* losses = nullptr);

/// Whether two lists are the same to the bit.
bool areSameBits(const std::vector<ProcessStat>& a, const std::vector<ProcessStat>& b);
bool areSameBits(const std::vector<GPUProcessStat>& a, const std::vector<GPUProcessStat>& b);

}  // namespace tavrine::naive
