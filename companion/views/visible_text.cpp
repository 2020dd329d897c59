#include "companion/views/visible_text.h"

#include "companion/views/characters.h"

#include <TavrineShared/foundation/ascii.h>

#include <unicode/uchar.h>
#include <unicode/utf16.h>

#include <cstdint>

namespace tavrine {

namespace {

bool isHarmless(char32_t codePoint) {
  if (codePoint < 0x7F) return codePoint >= 0x20;
  constexpr UChar32 kZeroWidthNonJoiner = 0x200C;
  constexpr UChar32 kZeroWidthJoiner = 0x200D;
  constexpr std::uint32_t kObeyed = U_GC_CC_MASK | U_GC_CF_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK;
  const auto c = static_cast<UChar32>(codePoint);
  return (U_GET_GC_MASK(c) & kObeyed) == 0 || c == kZeroWidthNonJoiner || c == kZeroWidthJoiner ||
         u_hasBinaryProperty(c, UCHAR_PREPENDED_CONCATENATION_MARK);
}

std::string hexadecimal(char32_t value, std::size_t digits) {
  std::string text;
  for (; value != 0 || text.size() < digits; value >>= 4U) {
    text.push_back(ascii::kHexDigits[value & 0xFU]);
  }
  return {text.rbegin(), text.rend()};
}

std::string upperHexadecimal(char32_t value) {
  std::string text = hexadecimal(value, 4);
  for (char& c : text) {
    if (c >= 'a') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

std::string visibleForm(const Character& character) {
  if (character.isWellFormed && character.codePoint > 0x7F) {
    return "<U+" + upperHexadecimal(character.codePoint) + ">";
  }
  std::string text;
  for (const char byte : character.bytes) {
    text.append("\\x").append(hexadecimal(static_cast<unsigned char>(byte), 2));
  }
  return text;
}

std::string jsonEscape(char32_t codePoint) {
  const auto c = static_cast<UChar32>(codePoint);
  if (codePoint <= 0xFFFF) return "\\u" + hexadecimal(codePoint, 4);
  return "\\u" + hexadecimal(U16_LEAD(c), 4) + "\\u" + hexadecimal(U16_TRAIL(c), 4);
}

}  // namespace

std::string visibleText(std::string_view text) {
  if (isPrintableASCII(text)) return std::string(text);
  std::string visible;
  visible.reserve(text.size());
  while (!text.empty()) {
    const Character first = firstCharacter(text);
    if (first.isWellFormed && isHarmless(first.codePoint)) {
      visible.append(first.bytes);
    } else {
      visible.append(visibleForm(first));
    }
    text.remove_prefix(first.bytes.size());
  }
  return visible;
}

std::string visibleJSON(std::string_view document) {
  std::string visible;
  visible.reserve(document.size());
  while (!document.empty()) {
    const Character first = firstCharacter(document);
    // Below U+0020 only the line feeds of the layout stand unescaped in a document.
    if (first.codePoint < 0x20 || isHarmless(first.codePoint)) {
      visible.append(first.bytes);
    } else {
      visible.append(jsonEscape(first.codePoint));
    }
    document.remove_prefix(first.bytes.size());
  }
  return visible;
}

}  // namespace tavrine
