// A slow and obvious NVIDIASMIParser, written from its rules alone, to hold the real one against.
#pragma once

#include <TavrineShared/model/gpu_server.h>

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace tavrine::naive {

/// How often each thing was lost, where that shows in the characters of the text.
struct Losses {
  std::size_t headers = 0;     ///< lines whose first column is the word index, perhaps behind a BOM
  std::size_t lines = 0;       ///< all others that gave no record
  std::size_t readAsZero = 0;  ///< needed numbers, and integers, that are none
  std::size_t readAsAbsent = 0;  ///< optional numbers that are none
  std::size_t truncated = 0;     ///< integers with a fraction
  std::size_t columns = 0;       ///< lines with more columns than are read
};

/// What `NVIDIASMIParser::parseCSV` has to give for `text`; no value where it has to stop the
/// process, which leaves `losses` as they were.
std::optional<std::vector<GPUStat>> parseCSV(std::string_view text, Losses* losses = nullptr);

/// Whether two records are the same to the bit. Unlike `==`, which no NaN passes and which does not
/// tell -0.0 from 0.0.
bool areSameBits(const GPUStat& a, const GPUStat& b);
bool areSameBits(const std::vector<GPUStat>& a, const std::vector<GPUStat>& b);

}  // namespace tavrine::naive
