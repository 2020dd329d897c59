// Rows and columns as aligned lines of text, for people.
#pragma once

#include "companion/views/table_layout.h"

#include <cstddef>
#include <limits>
#include <span>
#include <string>

namespace tavrine {

struct TableStyle {
  Paint paint = Paint::off;  ///< headings are bold, and cells have their ink, only when on
  /// Columns of the screen, to which a table adapts as far as `TableLayout` can.
  std::size_t width = std::numeric_limits<std::size_t>::max();
};

/// A line of headings and a line for each row, each ended by a line feed, without blanks at the
/// end of a line.
std::string textTable(std::span<const TextColumn> columns, std::size_t rowCount,
                      const CellText& cellText, const TableStyle& style);

}  // namespace tavrine
