// Slow and obvious versions of the text rules, to hold the real ones against.
//
// Texts are code points here: bytes are decoded once, at the start, and everything after that works
// on copies, one character at a time. Nothing is shared with the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine::naive {

/// One U+FFFD for each longest run of bytes that starts a character and does not finish it, and for
/// each byte that starts none.
std::u32string decodedUTF8(std::string_view text);
std::string encodedUTF8(const std::u32string& characters);

struct Line {
  std::size_t number;  ///< from 1, empty lines counted
  std::u32string characters;
};

/// The lines that are not empty.
std::vector<Line> linesOf(const std::u32string& text);

std::u32string trimmed(std::u32string text);
std::optional<std::int64_t> readInteger(std::u32string text);
std::optional<double> readFloat(const std::u32string& text);

/// Whether two doubles are the same to the bit: NaNs are told apart, and -0.0 from 0.0.
bool areSameBits(double a, double b);
bool areSameBits(const std::optional<double>& a, const std::optional<double>& b);

}  // namespace tavrine::naive
