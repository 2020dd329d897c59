#include <TavrineShared/parsers/text_rules.h>

#include <TavrineShared/foundation/ascii.h>
#include <TavrineShared/foundation/byte_scan.h>

#include <array>
#include <cerrno>
#include <cfloat>
#include <charconv>
#include <clocale>
#include <cstdlib>
#include <string>
#include <system_error>

namespace tavrine {
namespace {

/// The C library's own reading, which is the definition; everything else here is only faster.
std::optional<double> readAsCLibrary(std::string_view text) {
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  const std::string terminated(text);
  char* end = nullptr;
  const int savedErrno = errno;
  errno = 0;
  const double value = strtod_l(terminated.c_str(), &end, cLocale);
  const bool isInRange = errno != ERANGE;
  errno = savedErrno;
  // A NUL inside, like anything else that is no part of the literal, stops the reading early.
  if (end != terminated.data() + terminated.size() || !isInRange) return std::nullopt;
  return value;
}

/// Reads digits with at most one point, as nearly all texts have it, when the double is certain to
/// be the exact one: an integer up to 2^53 over a power of ten up to 10^22 are both exact, so their
/// quotient is rounded once. No value means only that this is not such a text.
std::optional<double> readShortDecimal(std::string_view text) {
  constexpr std::size_t kMostDigits = 19;  // that always fit 64 bits
  constexpr std::uint64_t kLargestExact = std::uint64_t{1} << DBL_MANT_DIG;
  static constexpr std::array<double, kMostDigits + 1> kPowersOfTen = {
      1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,
      1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19};
  // Arithmetic in wider registers would round twice.
  if (FLT_EVAL_METHOD != 0 || text.size() > kMostDigits + 1) return std::nullopt;

  const char* p = text.data();
  const char* const end = p + text.size();
  std::uint64_t mantissa = 0;
  for (; p != end && ascii::isDigit(*p); ++p)
    mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
  auto digits = static_cast<std::size_t>(p - text.data());
  std::size_t decimals = 0;
  if (p != end && *p == '.') {
    const char* const point = p++;
    for (; p != end && ascii::isDigit(*p); ++p)
      mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
    decimals = static_cast<std::size_t>(p - point) - 1;
    digits += decimals;
  }
  if (p != end || digits == 0 || digits > kMostDigits || mantissa > kLargestExact) {
    return std::nullopt;
  }
  return static_cast<double>(mantissa) / kPowersOfTen[decimals];
}

}  // namespace

LineCursor::LineCursor(std::string_view text)
    : rest_(text.data()), end_(text.data() + text.size()) {}

bool LineCursor::next() {
  while (rest_ != end_) {
    const char* const start = rest_;
    const char* const stop = byte_scan::findLineBreak(start, end_);
    lineNumber_ = breaksSeen_ + 1;
    rest_ = stop;
    if (stop != end_) {
      rest_ += byte_scan::lineBreakLength(stop, end_);
      ++breaksSeen_;
    }
    if (stop != start) {
      line_ = std::string_view(start, stop);
      return true;
    }
  }
  line_ = {};
  return false;
}

std::optional<std::int64_t> readInteger(std::string_view text) {
  // from_chars takes a minus but no plus, and it must not find a minus behind the plus.
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (text.empty() || !ascii::isDigit(text.front())) return std::nullopt;
  }
  std::int64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || stop != end) return std::nullopt;
  return value;
}

std::optional<double> readFloat(std::string_view text) {
  const bool isSigned = !text.empty() && (text.front() == '+' || text.front() == '-');
  const bool isNegative = isSigned && text.front() == '-';
  const std::string_view magnitude = text.substr(isSigned ? 1 : 0);
  if (magnitude.empty()) return std::nullopt;

  if (ascii::isDigit(magnitude.front()) || magnitude.front() == '.') {
    if (const std::optional<double> value = readShortDecimal(magnitude)) {
      return isNegative ? -*value : *value;
    }
    // from_chars reads the same decimal literals and rounds them alike, but says less of what it
    // does at the ends of the range; whatever is not clearly inside goes to the C library.
    double value = 0;
    const char* const end = magnitude.data() + magnitude.size();
    const auto [stop, error] = std::from_chars(magnitude.data(), end, value);
    if (error == std::errc{} && stop == end && value > DBL_MIN && value <= DBL_MAX) {
      return isNegative ? -value : value;
    }
    return readAsCLibrary(text);
  }

  // What is left are infinities and NaN. All else, leading blanks above all, which the C library
  // would skip, is no literal.
  switch (magnitude.front()) {
    case 'i':
    case 'I':
    case 'n':
    case 'N':
      return readAsCLibrary(text);
    default:
      return std::nullopt;
  }
}

std::size_t splitAtCommas(std::string_view line, std::span<std::string_view> cells) {
  const std::size_t count = byte_scan::split(line, ',', cells);
  for (std::string_view& cell : cells.first(count)) {
    // Tools set one blank behind each comma.
    if (cell.starts_with(' ')) cell.remove_prefix(1);
    cell = trimmed(cell);
  }
  return count;
}

std::string_view takeWord(std::string_view& rest) {
  while (const std::size_t length = whiteSpaceLength(rest)) rest.remove_prefix(length);
  std::size_t size = 0;
  // No byte that begins a white space character can be the middle of another character.
  while (size < rest.size() && whiteSpaceLength(rest.substr(size)) == 0) ++size;
  const std::string_view word = rest.substr(0, size);
  rest.remove_prefix(size);
  return word;
}

bool isHeading(std::string_view cell, std::string_view heading) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (cell.starts_with(kByteOrderMark)) cell.remove_prefix(kByteOrderMark.size());
  return cell == heading;
}

}  // namespace tavrine
