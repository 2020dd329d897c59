#include "companion/views/number_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace tavrine {

std::string oneDecimal(double value) {
  constexpr double kTooLong = 1e9;
  constexpr int kShortDigits = 6;
  std::array<char, 32> buffer;
  char* const begin = buffer.data();
  char* const end = begin + buffer.size();
  const auto written =
      std::abs(value) < kTooLong
          ? std::to_chars(begin, end, value, std::chars_format::fixed, 1)
          : std::to_chars(begin, end, value, std::chars_format::general, kShortDigits);
  const std::string_view text(begin, static_cast<std::size_t>(written.ptr - begin));
  return text == "-0.0" ? "0.0" : std::string(text);
}

std::string upToOneDecimal(double value) {
  std::string text = oneDecimal(value);
  if (text.ends_with(".0")) text.resize(text.size() - 2);
  return text;
}

}  // namespace tavrine
