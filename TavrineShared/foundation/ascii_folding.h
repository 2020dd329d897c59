// The characters outside ASCII that stand for ASCII letters wherever letter case is ignored by full
// case folding, as regular expressions do. Private: no public header includes it.
//
// There are six of use: U+00DF and U+1E9E stand for ss, U+017F for s, U+212A for k, U+FB05 and
// U+FB06 for st. Five more (U+FB00 to U+FB04) stand for two or three letters, an f first; nobody
// here looks for such words, and a test says so.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine::ascii_folding {

/// Whether one of the six stands in `text`, which may be any bytes.
bool hasFoldingLetter(std::string_view text);
/// The same in plain C++: what other machines use, and what the tests compare with.
bool hasFoldingLetterScalar(std::string_view text);

struct FoldedText {
  std::string text;  ///< each of the six replaced by its letters, all else as it was
  /// For each byte of `text`, and for its end: where in the original stands what it is from. Both
  /// letters of a character that has become two are from where that begins.
  std::vector<std::uint32_t> origin;
};

/// For a text below 2^32 bytes.
FoldedText fold(std::string_view text);

}  // namespace tavrine::ascii_folding
