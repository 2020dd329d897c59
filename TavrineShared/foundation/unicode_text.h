// Unicode text: is it UTF-8, repairing it, trimming white space, lower-casing.
//
// All functions take any bytes. Where bytes are not UTF-8, each maximal ill-formed part stands for
// one U+FFFD, as the Unicode Standard recommends and most decoders do. NUL is a character like any
// other. Nothing depends on the process's locale.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tavrine {

/// True when all of `text` is well-formed UTF-8 (no surrogates, nothing above U+10FFFF, shortest
/// forms only). The empty text is.
bool isWellFormedUTF8(std::string_view text);

/// How many bytes at the start of `text` are well-formed UTF-8, up to all of them.
std::size_t wellFormedPrefixLength(std::string_view text);

/// The length, 1 to 4, of the one well-formed UTF-8 sequence at the start of `text`; 0 when there
/// is none, because `text` is empty or starts with an ill-formed part.
std::size_t wellFormedSequenceLength(std::string_view text);

/// The length, 1 to 3, of the maximal ill-formed part at the start of `text`: the bytes that one
/// U+FFFD replaces. Only for a non-empty text whose `wellFormedSequenceLength` is 0.
std::size_t illFormedPartLength(std::string_view text);

/// `text` with every maximal ill-formed part replaced by U+FFFD; unchanged when well-formed.
std::string repairedUTF8(std::string_view text);

/// Appends the UTF-8 of one character, which must be a code point up to U+10FFFF and no surrogate.
void appendUTF8(std::string& text, char32_t c);

namespace detail {
std::string_view trimmedAtLength(std::string_view text);
std::size_t longWhiteSpaceLength(std::string_view text);
}  // namespace detail

/// The length, 1 to 3, of the white space character at the start of `text`; 0 when there is none.
/// What white space is, `trimmed` tells.
inline std::size_t whiteSpaceLength(std::string_view text) {
  if (text.empty()) return 0;
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) return first == ' ' || (first >= '\t' && first <= '\r') ? 1 : 0;
  return first >= 0xC2 && first <= 0xE3 ? detail::longWhiteSpaceLength(text) : 0;
}

/// `text` without the white space at both ends, as a view into the same bytes. White space is
/// exactly the Unicode property White_Space: U+0009 to U+000D, U+0020, U+0085, U+00A0, U+1680,
/// U+2000 to U+200A, U+2028, U+2029, U+202F, U+205F and U+3000; neither U+001C to U+001F nor
/// U+200B nor U+FEFF. An ill-formed part is no white space: the result is what trimming the
/// repaired text would leave.
inline std::string_view trimmed(std::string_view text) {
  // Nearly every call ends here: blanks, then a printable ASCII character at both ends.
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  const auto isPlain = [](char c) { return c > 0x20 && c < 0x7F; };
  if (text.empty() || (isPlain(text.front()) && isPlain(text.back()))) return text;
  return detail::trimmedAtLength(text);
}

/// The same at one end only.
std::string_view trimmedAtStart(std::string_view text);
std::string_view trimmedAtEnd(std::string_view text);

/// `text` in lower case by the full Unicode mappings of the root locale: lengths may change
/// (U+0130 becomes two characters) and a final sigma is told from others by its context.
/// Ill-formed input is repaired first, so the result is always well-formed.
std::string lowercased(std::string_view text);

namespace detail {
/// `lowercased` in pieces of at most `pieceLimit` bytes (at least 4), cut where the context rule
/// of the sigma cannot look across; `text` must be well-formed. Of use by itself only to tests.
std::string lowercasedInPieces(std::string_view text, std::size_t pieceLimit);
}  // namespace detail

}  // namespace tavrine
