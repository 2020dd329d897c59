// What the program's exit status says, the same for every verb.
#pragma once

#include <cstdint>

namespace tavrine {

enum class ExitStatus : std::uint8_t {
  fine = 0,
  findings = 1,  ///< the work was done, and something was lost on the way or the answer is "no"
  trouble = 2,   ///< wrong usage, unreadable input or unwritable output
};

}  // namespace tavrine
