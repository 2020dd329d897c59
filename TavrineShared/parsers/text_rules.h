// The text rules that all parsers share: what a line is, how an integer and a float are read.
// Trimming, which belongs with them, is `trimmed` of foundation/unicode_text.h.
//
// All of them work on views of any bytes, copy nothing they give out, know no locale, stop at no
// NUL, and take time linear in the text.
#pragma once

#include <TavrineShared/foundation/unicode_text.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace tavrine {

/// Gives the lines of a text one by one:
///
///     for (LineCursor lines(text); lines.next();) use(lines.line(), lines.lineNumber());
///
/// A line ends at U+000A, U+000B, U+000C, U+000D (CR LF is one break), U+0085, U+2028 or U+2029,
/// or at the end of the text. Empty lines are omitted. Lines are views into the text given, which
/// must outlive them; they are not trimmed, and their bytes need not be UTF-8.
class LineCursor {
 public:
  explicit LineCursor(std::string_view text);

  /// Goes to the next line that is not empty; false when there is none.
  bool next();

  /// The line that the last call of `next` went to; empty before the first and after the last.
  std::string_view line() const { return line_; }

  /// Where `line` stands in the text, counted from 1 with empty lines included.
  std::size_t lineNumber() const { return lineNumber_; }

 private:
  const char* rest_;  // where the next line begins
  const char* end_;
  std::string_view line_;
  std::size_t lineNumber_ = 0;
  std::size_t breaksSeen_ = 0;
};

/// Reads a whole text as a decimal integer: an optional `+` or `-`, then only the digits 0 to 9, at
/// least one, any number of leading zeros. No value for anything else, for blanks around it (trim
/// first), and for what 64 bits do not hold.
std::optional<std::int64_t> readInteger(std::string_view text);

/// Reads a whole text as a floating-point literal just as C's strtod does in the C locale: decimal
/// with or without point and exponent, hexadecimal (`0x1.8p3`), `inf`, `infinity`, `nan` and
/// `nan(characters)` in any letter case, each with an optional `+` or `-`. No value for the empty
/// text, for leading blanks, for anything behind the literal (a NUL included), and where strtod
/// reports a range error: a value too large, or one so small that digits were lost. So 5e-324
/// has no value, while 0x1p-1074, which is exact, has.
std::optional<double> readFloat(std::string_view text);

/// Splits a line at its commas into cells, each trimmed; empty cells count, and there is no
/// quoting. Gives how many there are, at least one, up to `cells.size()`: what lies behind the last
/// cell that fits is not looked at. Needs room for one.
std::size_t splitAtCommas(std::string_view line, std::span<std::string_view> cells);

/// Takes the first word off `rest`: what stands there up to the next white space (as `trimmed`
/// knows it), without the white space before it. Empty when there is no word left.
std::string_view takeWord(std::string_view& rest);

/// Whether the first cell of a line is the heading of its column, be it behind the byte order mark
/// that some shells put in front of what they redirect into a file.
bool isHeading(std::string_view cell, std::string_view heading);

}  // namespace tavrine
