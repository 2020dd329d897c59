// What the program's exit status says, the same for every verb. (Besides, an integer column of the
// GPU query that holds no possible number aborts the process, as it does for any user of the
// parser.)
#pragma once

#include <cstdint>

namespace tavrine {

enum class ExitStatus : std::uint8_t {
  fine = 0,
  findings = 1,  ///< the work was done, and something was lost on the way or the answer is "no"
  trouble = 2,   ///< wrong usage, input that is not what was asked for, or unwritable output
};

}  // namespace tavrine
