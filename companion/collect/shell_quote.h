// Words for a POSIX shell.
#pragma once

#include <string>
#include <string_view>

namespace tavrine {

/// `word` in single quotes, so that the shell takes it as it is.
std::string shellQuoted(std::string_view word);

/// A path as the user writes it: quoted, but for a leading "~/", which is the home of whoever runs
/// the shell.
std::string shellPath(std::string_view path);

}  // namespace tavrine
