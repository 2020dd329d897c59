// A number as it stands in a JSON document: its grammar, and its value as an integer or a double.
// Private: no public header includes it.
#pragma once

#include <TavrineShared/foundation/ascii.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>
#include <system_error>

namespace tavrine {

class JSONNumber {
 public:
  /// Where the number that begins at `p` ends; null, with `problem` set, when there is none. What
  /// may follow a number is for the caller to judge. Inline, since it is where reading spends its
  /// time, and since the digits need not be added up where only the end is wanted.
  const char* scan(const char* p, const char* end);

  /// False for what is no integer of 64 bits; 12.0 and 1.2e1 are.
  bool readInteger(std::int64_t& value) const;
  /// The nearest double, which is 0 for a number too small; false for one too large.
  bool readDouble(double& value) const;

  struct Problem {
    const char* where = nullptr;
    std::string_view reason;
  };
  const Problem& problem() const { return problem_; }

 private:
  // The digits without the zeros at either end, so that it shows whether this is an integer.
  struct Significand {
    std::uint64_t mantissa = 0;  ///< exact while `count` is at most kMantissaDigits
    std::int64_t count = 0;
    std::int64_t exponent = 0;  ///< of the last digit
  };
  Significand significand() const;

  const char* fail(const char* where, std::string_view reason) {
    problem_ = {where, reason};
    return nullptr;
  }
  bool hasExactMantissa() const { return digitCount_ <= kMantissaDigits; }

  // More digits than this may not fit 64 bits.
  static constexpr std::int64_t kMantissaDigits = 19;
  // Far beyond any exponent that matters, far below any overflow when digits are added to it.
  static constexpr std::int64_t kExponentCap = 1'000'000'000'000'000;

  const char* begin_ = nullptr;
  const char* digits_ = nullptr;  ///< behind the sign
  const char* end_ = nullptr;
  std::uint64_t mantissa_ = 0;  ///< all digits, the point left out, as far as they fit
  std::int64_t digitCount_ = 0;
  std::int64_t fractionDigits_ = 0;
  std::int64_t exponent_ = 0;  ///< as written behind the "e"
  bool isNegative_ = false;
  Problem problem_;
};

inline const char* JSONNumber::scan(const char* p, const char* end) {
  begin_ = p;
  isNegative_ = p != end && *p == '-';
  if (isNegative_) ++p;
  digits_ = p;
  std::uint64_t mantissa = 0;
  for (; p != end && ascii::isDigit(*p); ++p)
    mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
  digitCount_ = p - digits_;
  if (digitCount_ == 0) return fail(p, "expected a digit");
  if (*digits_ == '0' && digitCount_ != 1) return fail(digits_, "a number with a leading zero");
  fractionDigits_ = 0;
  if (p != end && *p == '.') {
    const char* const fraction = ++p;
    for (; p != end && ascii::isDigit(*p); ++p)
      mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
    fractionDigits_ = p - fraction;
    if (fractionDigits_ == 0) return fail(p, "expected a digit behind the point");
    digitCount_ += fractionDigits_;
  }
  exponent_ = 0;
  if (p != end && (*p == 'e' || *p == 'E')) {
    ++p;
    const bool isNegative = p != end && *p == '-';
    if (p != end && (*p == '-' || *p == '+')) ++p;
    const char* const exponent = p;
    for (; p != end && ascii::isDigit(*p); ++p) {
      if (exponent_ < kExponentCap) exponent_ = exponent_ * 10 + (*p - '0');
    }
    if (p == exponent) return fail(p, "expected a digit in the exponent");
    if (isNegative) exponent_ = -exponent_;
  }
  mantissa_ = mantissa;
  end_ = p;
  return p;
}

inline JSONNumber::Significand JSONNumber::significand() const {
  Significand result;
  std::int64_t pendingZeros = 0;
  for (const char* p = digits_; p != end_ && (ascii::isDigit(*p) || *p == '.'); ++p) {
    if (*p == '.') continue;
    if (*p == '0') {
      if (result.count != 0) ++pendingZeros;
      continue;
    }
    for (; pendingZeros != 0; --pendingZeros, ++result.count) result.mantissa *= 10;
    result.mantissa = result.mantissa * 10 + static_cast<std::uint64_t>(*p - '0');
    ++result.count;
  }
  result.exponent = exponent_ - fractionDigits_ + pendingZeros;
  return result;
}

inline bool JSONNumber::readInteger(std::int64_t& value) const {
  std::uint64_t magnitude = mantissa_;
  if (fractionDigits_ != 0 || exponent_ != 0 || !hasExactMantissa()) {
    const Significand digits = significand();
    if (digits.count == 0) {
      magnitude = 0;
    } else if (digits.exponent < 0 || digits.count + digits.exponent > kMantissaDigits) {
      return false;
    } else {
      magnitude = digits.mantissa;
      for (std::int64_t i = 0; i < digits.exponent; ++i) magnitude *= 10;
    }
  }
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (magnitude > kLargest + (isNegative_ ? 1 : 0)) return false;
  value = static_cast<std::int64_t>(isNegative_ ? std::uint64_t{0} - magnitude : magnitude);
  return true;
}

inline bool JSONNumber::readDouble(double& value) const {
  // Both a mantissa up to 2^53 and these powers of ten are exact doubles, so that scaling the one
  // by the other rounds once: the result is the nearest double.
  static constexpr std::array<double, 23> kExactPowersOfTen = {
      1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
      1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  constexpr std::uint64_t kLargestExactMantissa = std::uint64_t{1} << 53U;
  constexpr std::int64_t kLargestExactPower = kExactPowersOfTen.size() - 1;

  const std::int64_t exponent = exponent_ - fractionDigits_;
  if (hasExactMantissa() && mantissa_ <= kLargestExactMantissa && exponent >= -kLargestExactPower &&
      exponent <= kLargestExactPower) {
    const auto mantissa = static_cast<double>(mantissa_);
    const double magnitude = exponent < 0
                                 ? mantissa / kExactPowersOfTen[static_cast<std::size_t>(-exponent)]
                                 : mantissa * kExactPowersOfTen[static_cast<std::size_t>(exponent)];
    value = isNegative_ ? -magnitude : magnitude;
    return true;
  }
  if (std::from_chars(begin_, end_, value).ec == std::errc()) return true;
  // Too large or too small: the place of the first digit that counts tells which.
  const Significand digits = significand();
  if (digits.count + digits.exponent > 0) return false;
  value = isNegative_ ? -0.0 : 0.0;
  return true;
}

}  // namespace tavrine
