// Rows and columns as aligned lines of text, for people.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace tavrine {

enum class Alignment : std::uint8_t { left, right };
enum class HeadingStyle : std::uint8_t { plain, bold };

struct TextColumn {
  std::string_view heading;
  Alignment alignment = Alignment::left;
};

/// The text of one cell; any characters, made visible by the table itself. Asked twice for each
/// cell, so that a table of any length is never held in pieces.
using CellText = std::function<std::string(std::size_t row, std::size_t column)>;

/// What stands for a value that is not there.
inline constexpr std::string_view kAbsent = "-";

/// No cell takes more columns of the screen: one absurd name must not push all else out of sight.
inline constexpr std::size_t kWidestCell = 60;

/// A line of headings and a line for each row, each ended by a line feed, without blanks at the
/// end of a line. Columns are two blanks apart and as wide as their widest cell.
std::string textTable(std::span<const TextColumn> columns, std::size_t rowCount,
                      const CellText& cellText, HeadingStyle style);

}  // namespace tavrine
