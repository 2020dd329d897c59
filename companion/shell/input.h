// Reading what a verb works on.
#pragma once

#include <string>

namespace tavrine {

/// The file name that stands for standard input.
inline constexpr const char* kStandardInput = "-";

/// Everything in `file`, byte for byte: a regular file, a FIFO, a device, or standard input. Throws
/// `std::system_error` whose `what()` is such as "cannot read gpus.csv: No such file or directory".
std::string readInput(const std::string& file);

/// What messages call it: "standard input", or the file by its name.
std::string inputName(const std::string& file);

bool inputIsTerminal();

}  // namespace tavrine
