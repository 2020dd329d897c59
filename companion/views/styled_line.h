// A line for a screen in pieces of different ink, before anybody knows what kind of screen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

enum class Ink : std::uint8_t { plain, bold, faint, green, yellow, red, cyan, reversed };
enum class Paint : std::uint8_t { off, on };

/// `text` as it is, in the ink if there is paint.
std::string inked(std::string_view text, Ink ink, Paint paint);

struct StyledSpan {
  std::string text;
  Ink ink = Ink::plain;

  bool operator==(const StyledSpan&) const = default;
};

/// Spans from left to right. Their texts are meant to be harmless: whoever adds one from outside
/// makes it visible first.
struct StyledLine {
  std::vector<StyledSpan> spans;

  /// Adds a span. An empty one is left out.
  StyledLine& add(std::string_view text, Ink ink = Ink::plain);
  /// Adds the spans of another line.
  StyledLine& add(const StyledLine& line);
  /// Adds blanks up to `column`, and at least one where the line is already that long, unless it is
  /// empty.
  StyledLine& padTo(std::size_t column);

  /// The columns of a screen that it takes.
  std::size_t width() const;
  /// Without ink.
  std::string text() const;
  /// The spans one by one in their ink if there is paint.
  std::string painted(Paint paint) const;
  /// As much of its beginning as fits into `columns`, with an ellipsis for the rest.
  StyledLine cutTo(std::size_t columns) const;

  bool operator==(const StyledLine&) const = default;
};

}  // namespace tavrine
