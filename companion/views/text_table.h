// Rows and columns as aligned lines of text, for people.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace tavrine {

enum class Alignment : std::uint8_t { left, right };
enum class Ink : std::uint8_t { plain, bold, faint, green, yellow, red };
enum class Paint : std::uint8_t { off, on };

/// Whether a column is there however narrow the screen is.
enum class Need : std::uint8_t { always, ifItFits };

struct TextColumn {
  std::string_view heading;
  Alignment alignment = Alignment::left;
  Need need = Need::always;
};

/// Any characters: the table itself makes them visible.
struct Cell {
  std::string text;
  Ink ink = Ink::plain;

  // What most cells are is simply their text.
  Cell(std::string cellText, Ink cellInk = Ink::plain)  // NOLINT(google-explicit-constructor)
      : text(std::move(cellText)), ink(cellInk) {}
};

/// Asked twice for each cell, so that a table of any length is never held in pieces.
using CellText = std::function<Cell(std::size_t row, std::size_t column)>;

struct TableStyle {
  Paint paint = Paint::off;  ///< headings are bold, and cells have their ink, only when on
  /// Columns of the screen. To keep lines within them the last column gives way first, then those
  /// go that need not be there, from right to left; what is left then is longer than the screen.
  std::size_t width = std::numeric_limits<std::size_t>::max();
};

/// What stands for a value that is not there.
inline constexpr std::string_view kAbsent = "-";

/// No cell takes more columns of the screen: one absurd name must not push all else out of sight.
inline constexpr std::size_t kWidestCell = 60;

/// A line of headings and a line for each row, each ended by a line feed, without blanks at the
/// end of a line. Columns are two blanks apart and as wide as their widest cell.
std::string textTable(std::span<const TextColumn> columns, std::size_t rowCount,
                      const CellText& cellText, const TableStyle& style);

/// `text` as it is, in the ink if there is paint.
std::string inked(std::string_view text, Ink ink, Paint paint);

}  // namespace tavrine
