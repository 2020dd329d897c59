// Which tool a run is trained with.
#pragma once

#include <string>
#include <string_view>

namespace tavrine {

/// What people call the tool that the words of a command line, a stack or a log speak of, in any
/// letter case; "unknown" when they speak of none.
std::string frameworkIn(std::string_view words);

}  // namespace tavrine
