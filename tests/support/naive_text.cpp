#include "tests/support/naive_text.h"

#include <locale.h>
#include <stdlib.h>

#include <bit>
#include <cerrno>
#include <limits>

namespace tavrine::naive {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isContinuation(unsigned byte) { return byte >= 0x80 && byte <= 0xBF; }

/// Whether `byte` may stand second in a character that begins with `lead`.
bool mayBeSecond(unsigned lead, unsigned byte) {
  if (lead < 0xC2 || lead > 0xF4) return false;
  if (lead == 0xE0) return byte >= 0xA0 && byte <= 0xBF;
  if (lead == 0xED) return byte >= 0x80 && byte <= 0x9F;
  if (lead == 0xF0) return byte >= 0x90 && byte <= 0xBF;
  if (lead == 0xF4) return byte >= 0x80 && byte <= 0x8F;
  return isContinuation(byte);
}

bool isLineBreak(char32_t c) {
  return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

/// The characters of the Unicode property White_Space.
bool isWhiteSpace(char32_t c) {
  return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
         c == 0x3000;
}

}  // namespace

std::u32string decodedUTF8(std::string_view text) {
  std::u32string characters;
  std::size_t i = 0;
  while (i < text.size()) {
    const unsigned lead = static_cast<unsigned char>(text[i++]);
    if (lead < 0x80) {
      characters += static_cast<char32_t>(lead);
      continue;
    }
    const std::size_t more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    char32_t character = lead & (lead < 0xE0 ? 0x1FU : lead < 0xF0 ? 0x0FU : 0x07U);
    std::size_t found = 0;
    while (found < more && i < text.size()) {
      const unsigned byte = static_cast<unsigned char>(text[i]);
      const bool fits = found == 0 ? mayBeSecond(lead, byte) : isContinuation(byte);
      if (!fits) break;
      character = character * 64 + (byte & 0x3F);
      ++found;
      ++i;
    }
    characters += found == more ? character : kReplacement;
  }
  return characters;
}

std::string encodedUTF8(const std::u32string& characters) {
  std::string text;
  for (const char32_t c : characters) {
    if (c < 0x80) {
      text += static_cast<char>(c);
    } else if (c < 0x800) {
      text += static_cast<char>(0xC0 + c / 64);
      text += static_cast<char>(0x80 + c % 64);
    } else if (c < 0x10000) {
      text += static_cast<char>(0xE0 + c / 4096);
      text += static_cast<char>(0x80 + c / 64 % 64);
      text += static_cast<char>(0x80 + c % 64);
    } else {
      text += static_cast<char>(0xF0 + c / 262144);
      text += static_cast<char>(0x80 + c / 4096 % 64);
      text += static_cast<char>(0x80 + c / 64 % 64);
      text += static_cast<char>(0x80 + c % 64);
    }
  }
  return text;
}

std::vector<Line> linesOf(const std::u32string& text) {
  std::vector<Line> lines{{1, U""}};
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!isLineBreak(text[i])) {
      lines.back().characters += text[i];
      continue;
    }
    if (text[i] == U'\r' && i + 1 < text.size() && text[i + 1] == U'\n') ++i;
    lines.push_back({lines.back().number + 1, U""});
  }
  std::erase_if(lines, [](const Line& line) { return line.characters.empty(); });
  return lines;
}

std::u32string trimmed(std::u32string text) {
  std::size_t start = 0;
  while (start < text.size() && isWhiteSpace(text[start])) ++start;
  text.erase(0, start);
  while (!text.empty() && isWhiteSpace(text.back())) text.pop_back();
  return text;
}

std::optional<std::int64_t> readInteger(std::u32string text) {
  bool isNegative = false;
  if (!text.empty() && (text[0] == U'+' || text[0] == U'-')) {
    isNegative = text[0] == U'-';
    text.erase(0, 1);
  }
  if (text.empty()) return std::nullopt;
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  const std::uint64_t limit = kLargest + (isNegative ? 1 : 0);
  std::uint64_t magnitude = 0;
  for (const char32_t c : text) {
    if (c < U'0' || c > U'9') return std::nullopt;
    const std::uint64_t digit = c - U'0';
    if (magnitude > (limit - digit) / 10) return std::nullopt;
    magnitude = magnitude * 10 + digit;
  }
  return static_cast<std::int64_t>(isNegative ? 0 - magnitude : magnitude);
}

std::optional<double> readFloat(const std::u32string& text) {
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  if (text.empty() || isWhiteSpace(text[0])) return std::nullopt;
  const std::string bytes = encodedUTF8(text);
  char* end = nullptr;
  errno = 0;
  const double value = strtod_l(bytes.c_str(), &end, cLocale);
  if (errno == ERANGE || end != bytes.c_str() + bytes.size()) return std::nullopt;
  return value;
}

bool areSameBits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

bool areSameBits(const std::optional<double>& a, const std::optional<double>& b) {
  return a.has_value() == b.has_value() && (!a || areSameBits(*a, *b));
}

}  // namespace tavrine::naive
