// Words for a POSIX shell.
#pragma once

#include <string>
#include <string_view>

namespace tavrine {

/// `word` in single quotes, so that the shell takes it as it is.
std::string shellQuoted(std::string_view word);

}  // namespace tavrine
