// What characters of ASCII are. No other byte is any of it, whatever the locale. Private: no public
// header includes it.
#pragma once

#include <string>
#include <string_view>

namespace tavrine::ascii {

inline constexpr std::string_view kHexDigits = "0123456789abcdef";

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
constexpr bool isLower(char c) { return c >= 'a' && c <= 'z'; }

/// `c` itself unless it is a capital letter.
constexpr char lower(char c) { return isUpper(c) ? static_cast<char>(c + ('a' - 'A')) : c; }

/// `text` with each capital letter of ASCII made small.
inline std::string lower(std::string_view text) {
  std::string lowered(text);
  for (char& c : lowered) c = lower(c);
  return lowered;
}

/// `c` itself unless it is a small letter.
constexpr char upper(char c) { return isLower(c) ? static_cast<char>(c - ('a' - 'A')) : c; }

}  // namespace tavrine::ascii
