// Texts of 100 MB that hold nothing: neither time nor memory may run away over them. Under a
// sanitizer, which makes a hundred steps of one, 5 MB show what is wrong as well.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kIsSanitized = true;
#elif defined(__has_feature)
inline constexpr bool kIsSanitized = __has_feature(address_sanitizer);
#else
inline constexpr bool kIsSanitized = false;
#endif

struct HugeText {
  std::string_view name;
  std::string_view piece;  ///< over and over again

  std::string text() const {
    constexpr std::size_t kSize = kIsSanitized ? 5'000'000 : 100'000'000;
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
