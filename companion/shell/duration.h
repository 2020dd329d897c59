// Spans of time as the command line has them.
#pragma once

#include <optional>
#include <string>

namespace tavrine {

/// Seconds in "90s", "15m", "2h", "1.5d"; no value for anything else, nor for none, less than none
/// or endless time. A number needs its unit.
std::optional<double> secondsNamed(const std::string& text);

}  // namespace tavrine
