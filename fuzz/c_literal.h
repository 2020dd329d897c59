// Any bytes as a C string literal, to be pasted into a test.
#pragma once

#include <array>
#include <cstdio>
#include <string>
#include <string_view>

namespace tavrine::fuzz {

/// With its quotes; bytes outside printable ASCII become octal escapes, which end by themselves.
inline std::string asCLiteral(std::string_view text) {
  std::string literal = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      literal += '\\';
      literal += c;
    } else if (byte >= 0x20 && byte < 0x7F) {
      literal += c;
    } else {
      std::array<char, 5> escape{};
      std::snprintf(escape.data(), escape.size(), "\\%03o", byte);
      literal += escape.data();
    }
  }
  return literal + '"';
}

}  // namespace tavrine::fuzz
