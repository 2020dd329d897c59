// What somebody who mistyped a word may have meant.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tavrine {

/// "; did you mean WORD?" of the known word that is nearest to `typed`, letter case and dashes
/// ignored: a slip or two away from it, the one in longer words, or begun by it, or a part of it.
/// Empty when none is. Of several that are as near, the first.
std::string didYouMean(std::string_view typed, std::span<const std::string> known);

/// The same or, where no word is near, all of them: " (known: WORD, WORD)".
std::string meantOrKnown(std::string_view typed, std::span<const std::string> known);

}  // namespace tavrine
