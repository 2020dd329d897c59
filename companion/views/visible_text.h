// Texts from elsewhere, made harmless for a terminal.
//
// Whoever names a device, a process or a file can put into that name what a terminal obeys: an
// escape sequence that recolours or rewrites the screen, a line break that forges a row, a mark
// that turns the reading direction around. Everything of the kind is shown instead of sent.
#pragma once

#include <string>
#include <string_view>

namespace tavrine {

/// `text` with every character that a terminal obeys, or that rearranges or hides its neighbours,
/// in a visible form: `\x1b` for ASCII controls, `<U+202E>` for others, `\xff` for each byte that
/// is not UTF-8. Those are the categories control, format (but for the two joiners, which scripts
/// and emoji need, and the Arabic signs that are seen), line separator and paragraph separator. For
/// eyes, not for programs: a text may also hold the characters of `\x1b` themselves.
std::string visibleText(std::string_view text);

/// The same for a JSON document, which stays the same document: the characters become `\u202e`.
std::string visibleJSON(std::string_view document);

}  // namespace tavrine
