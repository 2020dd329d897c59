// Walking over the characters of a text that is meant for a screen.
#pragma once

#include <string_view>

namespace tavrine {

struct Character {
  char32_t codePoint;      ///< U+FFFD for an ill-formed part
  std::string_view bytes;  ///< of the text it was taken from
  bool isWellFormed;
};

/// Whether `text` is nothing but letters, digits, signs and blanks of ASCII, each one column wide
/// and harmless. Nearly every text is, and needs no closer look then.
bool isPrintableASCII(std::string_view text);

/// The character that `text`, which must not be empty, begins with.
Character firstCharacter(std::string_view text);

}  // namespace tavrine
