// Scans for bytes, sixteen at a time where the machine can. Private: no public header includes it.
//
// Each scan exists twice: in plain C++ under the name ...Scalar, and under the plain name in the
// fastest form that this machine has. Both give the same answer; the tests compare them.
#pragma once

#include <bit>
#include <cstring>
#include <span>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tavrine::byte_scan {

#if defined(__SSE2__)
/// Sixteen bytes from any address.
inline __m128i load16(const char* p) {
  __m128i bytes;
  std::memcpy(&bytes, p, sizeof bytes);
  return bytes;
}

/// Bit i is set when byte i of `bytes` has its top bit set.
inline unsigned topBits(__m128i bytes) { return static_cast<unsigned>(_mm_movemask_epi8(bytes)); }
#endif

/// The first byte of [p, end) that is not ASCII; `end` when all are.
inline const char* skipASCIIScalar(const char* p, const char* end) {
  while (p != end && static_cast<unsigned char>(*p) < 0x80) ++p;
  return p;
}

inline const char* skipASCII(const char* p, const char* end) {
#if defined(__SSE2__)
  for (; end - p >= 16; p += 16) {
    if (const unsigned found = topBits(load16(p)); found != 0) return p + std::countr_zero(found);
  }
#endif
  return skipASCIIScalar(p, end);
}

/// The length of the line break that begins at `p`, 0 when none does: 1 for U+000A, U+000B,
/// U+000C and U+000D, 2 for U+0085 and for CR LF, 3 for U+2028 and U+2029. Needs p != end.
inline int lineBreakLength(const char* p, const char* end) {
  const auto byte = [p](int i) { return static_cast<unsigned char>(p[i]); };
  if (byte(0) >= 0x0A && byte(0) <= 0x0D) {
    return byte(0) == 0x0D && end - p > 1 && byte(1) == 0x0A ? 2 : 1;
  }
  if (byte(0) == 0xC2) return end - p > 1 && byte(1) == 0x85 ? 2 : 0;
  if (byte(0) == 0xE2) {
    return end - p > 2 && byte(1) == 0x80 && (byte(2) == 0xA8 || byte(2) == 0xA9) ? 3 : 0;
  }
  return 0;
}

/// The first byte of the first line break in [p, end); `end` when there is none. No byte that
/// begins a break can be the middle of another character, so ill-formed text needs no special care.
inline const char* findLineBreakScalar(const char* p, const char* end) {
  while (p != end && lineBreakLength(p, end) == 0) ++p;
  return p;
}

inline const char* findLineBreak(const char* p, const char* end) {
#if defined(__SSE2__)
  // 0xC2 and 0xE2 begin much that is no break (accents, bars, arrows). They cost a second look at
  // the two bytes behind each of the sixteen at once, not a loop, so such text stays fast.
  for (; end - p >= 18; p += 16) {
    const __m128i first = load16(p);
    const __m128i aboveTab = _mm_sub_epi8(first, _mm_set1_epi8(0x0A));
    const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(aboveTab, _mm_set1_epi8(3)), aboveTab);
    const __m128i lead = _mm_cmpeq_epi8(_mm_and_si128(first, _mm_set1_epi8(~0x20)),
                                        _mm_set1_epi8(static_cast<char>(0xC2)));
    if (topBits(_mm_or_si128(control, lead)) == 0) continue;
    const __m128i second = load16(p + 1);
    const __m128i third = load16(p + 2);
    const auto is = [](__m128i bytes, int value) {
      return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(static_cast<char>(value)));
    };
    const __m128i nextLine = _mm_and_si128(is(first, 0xC2), is(second, 0x85));
    const __m128i separator = _mm_and_si128(_mm_and_si128(is(first, 0xE2), is(second, 0x80)),
                                            is(_mm_or_si128(third, _mm_set1_epi8(1)), 0xA9));
    const unsigned found = topBits(_mm_or_si128(control, _mm_or_si128(nextLine, separator)));
    if (found != 0) return p + std::countr_zero(found);
  }
#endif
  return findLineBreakScalar(p, end);
}

namespace detail {

/// The pieces that a split has made so far.
struct Split {
  const char* start;  ///< where the next piece begins
  std::span<std::string_view> pieces;
  std::size_t count = 0;

  /// Ends a piece at the separator at `stop`; true when there is no room for another.
  bool endPiece(const char* stop) {
    pieces[count++] = std::string_view(start, stop);
    start = stop + 1;
    return count == pieces.size();
  }

  /// Goes on from `p`, which may lie inside a piece, to the end of the text.
  std::size_t finish(const char* p, const char* end, char separator) {
    for (; p != end; ++p) {
      if (*p == separator && endPiece(p)) return count;
    }
    pieces[count++] = std::string_view(start, end);
    return count;
  }
};

}  // namespace detail

/// Splits `text` at every `separator`, empty pieces included, into at most `pieces.size()` pieces;
/// what lies behind the last one that fits is not looked at. Returns how many there are, at least
/// one. Needs room for one piece.
inline std::size_t splitScalar(std::string_view text, char separator,
                               std::span<std::string_view> pieces) {
  detail::Split made{text.data(), pieces};
  return made.finish(text.data(), text.data() + text.size(), separator);
}

inline std::size_t split(std::string_view text, char separator,
                         std::span<std::string_view> pieces) {
  detail::Split made{text.data(), pieces};
  const char* p = text.data();
  const char* const end = p + text.size();
#if defined(__SSE2__)
  for (; end - p >= 16; p += 16) {
    unsigned found = topBits(_mm_cmpeq_epi8(load16(p), _mm_set1_epi8(separator)));
    for (; found != 0; found &= found - 1) {
      if (made.endPiece(p + std::countr_zero(found))) return made.count;
    }
  }
#endif
  return made.finish(p, end, separator);
}

}  // namespace tavrine::byte_scan
