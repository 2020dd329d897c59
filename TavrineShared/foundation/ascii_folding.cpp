#include <TavrineShared/foundation/ascii_folding.h>

#include <TavrineShared/foundation/byte_scan.h>

#include <array>

namespace tavrine::ascii_folding {
namespace {

struct FoldingLetter {
  std::string_view character;
  std::string_view letters;
};

constexpr std::array<FoldingLetter, 6> kFoldingLetters = {{
    {"\xC3\x9F", "ss"},      // U+00DF
    {"\xC5\xBF", "s"},       // U+017F
    {"\xE1\xBA\x9E", "ss"},  // U+1E9E
    {"\xE2\x84\xAA", "k"},   // U+212A
    {"\xEF\xAC\x85", "st"},  // U+FB05
    {"\xEF\xAC\x86", "st"},  // U+FB06
}};

// None of the bytes that begin these characters can stand inside another one, so ill-formed text
// needs no special care.
const FoldingLetter* letterAt(std::string_view text) {
  for (const FoldingLetter& letter : kFoldingLetters) {
    if (text.starts_with(letter.character)) return &letter;
  }
  return nullptr;
}

}  // namespace

bool hasFoldingLetterScalar(std::string_view text) {
  for (; !text.empty(); text.remove_prefix(1)) {
    if (letterAt(text) != nullptr) return true;
  }
  return false;
}

bool hasFoldingLetter(std::string_view text) {
  const char* const end = text.data() + text.size();
  const char* p = byte_scan::skipASCII(text.data(), end);
#if defined(__SSE2__)
  for (; end - p >= 18; p += 16) {
    const __m128i first = byte_scan::load16(p);
    if (byte_scan::topBits(first) == 0) continue;
    const __m128i second = byte_scan::load16(p + 1);
    const __m128i third = byte_scan::load16(p + 2);
    const auto is = [](__m128i bytes, int value) {
      return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(static_cast<char>(value)));
    };
    const auto pair = [&](int a, int b) { return _mm_and_si128(is(first, a), is(second, b)); };
    const __m128i ligature = _mm_or_si128(is(third, 0x85), is(third, 0x86));
    const __m128i found =
        _mm_or_si128(_mm_or_si128(_mm_or_si128(pair(0xC3, 0x9F), pair(0xC5, 0xBF)),
                                  _mm_and_si128(pair(0xE1, 0xBA), is(third, 0x9E))),
                     _mm_or_si128(_mm_and_si128(pair(0xE2, 0x84), is(third, 0xAA)),
                                  _mm_and_si128(pair(0xEF, 0xAC), ligature)));
    if (byte_scan::topBits(found) != 0) return true;
  }
#endif
  return hasFoldingLetterScalar(std::string_view(p, end));
}

FoldedText fold(std::string_view text) {
  // No letters take more bytes than their character.
  FoldedText folded;
  folded.text.resize(text.size());
  folded.origin.resize(text.size() + 1);
  std::size_t size = 0;
  std::size_t at = 0;
  const auto put = [&](char c) {
    folded.text[size] = c;
    folded.origin[size] = static_cast<std::uint32_t>(at);
    ++size;
  };
  while (at < text.size()) {
    // All of them begin with a byte from 0xC3 on, as most other bytes do not.
    const bool mayBeLetter = static_cast<unsigned char>(text[at]) >= 0xC3;
    const FoldingLetter* const letter = mayBeLetter ? letterAt(text.substr(at)) : nullptr;
    if (letter == nullptr) {
      put(text[at]);
      ++at;
    } else {
      for (const char c : letter->letters) put(c);
      at += letter->character.size();
    }
  }
  folded.origin[size] = static_cast<std::uint32_t>(at);
  folded.text.resize(size);
  folded.origin.resize(size + 1);
  return folded;
}

}  // namespace tavrine::ascii_folding
