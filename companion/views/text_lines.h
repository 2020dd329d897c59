// The lines of a text that is shown as it stands, such as the end of a log.
//
// A line ends at a line feed and nowhere else; one at the very end of the text begins no further
// line. What is given are views into the text.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace tavrine {

/// Without their line feeds. The empty text has none.
std::vector<std::string_view> linesOf(std::string_view text);

/// The last lines of the text, at most `most` and no more of them than `mostBytes` hold, line feeds
/// included; of a last line that is longer than that alone, its end.
std::string_view lastLines(std::string_view text, std::size_t most,
                           std::size_t mostBytes = std::string_view::npos);

}  // namespace tavrine
