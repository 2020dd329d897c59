// Texts of 100 MB that hold nothing: neither time nor memory may run away over them.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

struct HugeText {
  std::string_view name;
  std::string_view piece;  ///< over and over again

  std::string text() const {
    constexpr std::size_t kSize = 100'000'000;
    std::string text(piece);
    text.reserve(2 * kSize);
    while (text.size() < kSize) text.append(text);  // twice as long each time
    text.resize(kSize - kSize % piece.size());
    return text;
  }
};

inline void PrintTo(const HugeText& huge, std::ostream* out) { *out << huge.name; }

inline const std::vector<HugeText> kHugeTexts = {
    {"one line of letters", "abcdefghij"},
    {"only line feeds", "\n"},
    {"only commas", ","},
    {"only tabs", "\t"},
    {"only blanks", " "},
    {"only braces", "{"},
    {"short lines", "x\n"},
    {"carriage returns and line feeds", "\r\n"},
    {"only continuation bytes", "\x80"},
    {"only first bytes of white space", "\xE2"},
};

}  // namespace tavrine
