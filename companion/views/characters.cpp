#include "companion/views/characters.h"

#include <TavrineShared/foundation/unicode_text.h>

#include <algorithm>
#include <cstddef>

namespace tavrine {

bool isPrintableASCII(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

Character firstCharacter(std::string_view text) {
  const std::size_t length = wellFormedSequenceLength(text);
  if (length == 0) return {U'\uFFFD', text.substr(0, illFormedPartLength(text)), false};

  const auto byte = [text](std::size_t i) -> char32_t {
    return static_cast<unsigned char>(text[i]);
  };
  if (length == 1) return {byte(0), text.substr(0, 1), true};
  // The first byte of a longer sequence begins with as many ones as the sequence has bytes.
  char32_t codePoint = byte(0) & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) codePoint = (codePoint << 6U) | (byte(i) & 0x3FU);
  return {codePoint, text.substr(0, length), true};
}

}  // namespace tavrine
