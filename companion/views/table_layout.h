// Which columns of a table a screen has room for, how wide each is, and the lines that result.
#pragma once

#include "companion/views/display_width.h"
#include "companion/views/styled_line.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavrine {

enum class Alignment : std::uint8_t { left, right };

/// Whether a column is there however narrow the screen is.
enum class Need : std::uint8_t { always, ifItFits };

struct TextColumn {
  std::string_view heading;
  Alignment alignment = Alignment::left;
  Need need = Need::always;
  Kept kept = Kept::beginning;  ///< of a cell that is wider than its column
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

/// What stands for a value that is not there.
inline constexpr std::string_view kAbsent = "-";

/// No cell takes more columns of the screen: one absurd name must not push all else out of sight.
inline constexpr std::size_t kWidestCell = 60;

/// A text from elsewhere as a cell shows it: visible, and in no more than `width` columns.
std::string shownText(std::string_view text, std::size_t width, Kept kept = Kept::beginning);

/// Columns are two blanks apart and as wide as their widest cell.
struct TableLayout {
  std::vector<std::size_t> columns;  ///< those that are shown, by their places in the table
  std::vector<std::size_t> widths;   ///< of each of these

  /// For rows 0 to `rowCount` on a screen of so many columns. To keep lines within them the last
  /// column gives way first, then those go that need not be there, from right to left; what is left
  /// then is longer than the screen.
  static TableLayout of(std::span<const TextColumn> table, std::size_t rowCount,
                        const CellText& cellText,
                        std::size_t screenWidth = std::numeric_limits<std::size_t>::max());

  /// The headings, each a bold span of its own, in the order of `columns`, with blanks between.
  StyledLine headings(std::span<const TextColumn> table) const;
  /// One row. A cell that outgrew its column is cut.
  StyledLine row(std::span<const TextColumn> table, std::size_t row,
                 const CellText& cellText) const;
};

}  // namespace tavrine
