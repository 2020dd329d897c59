#include "companion/views/number_text.h"

#include <array>
#include <charconv>
#include <cmath>

namespace tavrine {

namespace {

std::string spelled(double value, std::chars_format format, int precision) {
  std::array<char, 64> buffer;
  char* const begin = buffer.data();
  const auto written = std::to_chars(begin, begin + buffer.size(), value, format, precision);
  return {begin, written.ptr};
}

}  // namespace

std::string oneDecimal(double value) {
  constexpr double kTooLong = 1e9;
  constexpr int kShortDigits = 6;
  std::string text = std::abs(value) < kTooLong ? spelled(value, std::chars_format::fixed, 1)
                                                : significantDigits(value, kShortDigits);
  return text == "-0.0" ? "0.0" : text;
}

std::string upToOneDecimal(double value) {
  std::string text = oneDecimal(value);
  if (text.ends_with(".0")) text.resize(text.size() - 2);
  return text;
}

std::string significantDigits(double value, int digits) {
  return spelled(value, std::chars_format::general, digits);
}

}  // namespace tavrine
