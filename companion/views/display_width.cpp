#include "companion/views/display_width.h"

#include "companion/views/characters.h"

#include <unicode/uchar.h>

#include <cstdint>

namespace tavrine {

namespace {

bool takesNoColumn(UChar32 c) {
  constexpr UChar32 kSoftHyphen = 0xAD;
  constexpr std::uint32_t kInvisible =
      U_GC_CC_MASK | U_GC_CF_MASK | U_GC_MN_MASK | U_GC_ME_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK;
  if ((U_GET_GC_MASK(c) & kInvisible) != 0) {
    // Of the format characters some are seen: the soft hyphen at the end of a line, if nowhere
    // else, and Arabic signs that span the number behind them.
    return c != kSoftHyphen && !u_hasBinaryProperty(c, UCHAR_PREPENDED_CONCATENATION_MARK);
  }
  // Vowels and final consonants of a Korean syllable stand inside the block of its first one.
  const std::int32_t hangul = u_getIntPropertyValue(c, UCHAR_HANGUL_SYLLABLE_TYPE);
  return hangul == U_HST_VOWEL_JAMO || hangul == U_HST_TRAILING_JAMO;
}

std::size_t widthOf(char32_t codePoint) {
  if (codePoint >= 0x20 && codePoint < 0x7F) return 1;
  const auto c = static_cast<UChar32>(codePoint);
  if (takesNoColumn(c)) return 0;
  const std::int32_t width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

std::string beginningOf(std::string_view text, std::size_t width) {
  std::string_view rest = text;
  std::size_t shown = 0;
  std::size_t fitting = 0;  // bytes that leave a column for the ellipsis
  while (!rest.empty()) {
    const Character first = firstCharacter(rest);
    shown += widthOf(first.codePoint);
    if (shown > width) return std::string(text.substr(0, fitting)).append(kEllipsis);
    rest.remove_prefix(first.bytes.size());
    if (shown < width) fitting = text.size() - rest.size();
  }
  return std::string(text);
}

std::string endOf(std::string_view text, std::size_t width) {
  std::size_t left = displayWidth(text);
  if (left <= width) return std::string(text);
  while (!text.empty()) {
    const Character first = firstCharacter(text);
    const std::size_t columns = widthOf(first.codePoint);
    // A mark goes with the character that it stands on.
    if (left < width && columns > 0) break;
    left -= columns;
    text.remove_prefix(first.bytes.size());
  }
  return std::string(kEllipsis).append(text);
}

}  // namespace

std::size_t displayWidth(std::string_view text) {
  if (isPrintableASCII(text)) return text.size();
  std::size_t width = 0;
  while (!text.empty()) {
    const Character first = firstCharacter(text);
    width += widthOf(first.codePoint);
    text.remove_prefix(first.bytes.size());
  }
  return width;
}

std::string cutToWidth(std::string_view text, std::size_t width, Kept kept) {
  if (text.size() <= width && isPrintableASCII(text)) return std::string(text);
  return kept == Kept::end ? endOf(text, width) : beginningOf(text, width);
}

}  // namespace tavrine
