// How many columns of a terminal a text takes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tavrine {

/// What stands for what was cut off.
inline constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

/// The columns that `text` takes when it is shown: two for each wide character (as in Chinese,
/// Japanese, Korean, and most emoji), none for combining marks, controls and invisible characters,
/// one for all others. Where terminals disagree (characters of ambiguous width, emoji put together
/// from several) this is what a terminal that looks at one character at a time does.
std::size_t displayWidth(std::string_view text);

/// Which part of a text is left of it where there is no room for the whole: of a path, the end
/// tells more.
enum class Kept : std::uint8_t { beginning, end };

/// `text` itself where it takes no more than `width` columns, otherwise as much of its beginning as
/// fits before an ellipsis, or of its end behind one. `width` is at least 1.
std::string cutToWidth(std::string_view text, std::size_t width, Kept kept = Kept::beginning);

}  // namespace tavrine
