#include "companion/views/table_layout.h"

#include "companion/views/visible_text.h"

#include <algorithm>
#include <numeric>

namespace tavrine {

namespace {

constexpr std::string_view kGap = "  ";

// To a width that gives way, but not beyond what still tells something.
constexpr std::size_t kNarrowestLastColumn = 10;

// Characters that take no column of their own would let a cell grow without end; and of a text of
// megabytes nobody needs more than its beginning, or its end, made visible.
constexpr std::size_t kMostBytes = 8 * kWidestCell;

// Puts one line together, cell by cell.
class LineOfCells {
 public:
  // Blanks are written only once something follows them.
  void add(std::string_view shown, Ink ink, Alignment alignment, std::size_t columnWidth) {
    const std::size_t fill = columnWidth - std::min(displayWidth(shown), columnWidth);
    if (alignment == Alignment::right) blanks_ += fill;
    if (!shown.empty()) {
      line_.add(std::string(blanks_, ' ')).add(shown, ink);
      blanks_ = 0;
    }
    if (alignment == Alignment::left) blanks_ += fill;
    blanks_ += kGap.size();
  }

  const StyledLine& line() const { return line_; }

 private:
  StyledLine line_;
  std::size_t blanks_ = 0;
};

std::size_t lineWidth(const TableLayout& layout) {
  return std::accumulate(layout.widths.begin(), layout.widths.end(), std::size_t{0}) +
         kGap.size() * (layout.widths.size() - 1);
}

TableLayout widestLayout(std::span<const TextColumn> columns, std::size_t rowCount,
                         const CellText& cellText) {
  TableLayout layout;
  for (std::size_t column = 0; column < columns.size(); ++column) {
    std::size_t width = displayWidth(columns[column].heading);
    for (std::size_t row = 0; row < rowCount; ++row) {
      const std::string shown = shownText(cellText(row, column).text, kWidestCell);
      width = std::max(width, displayWidth(shown));
    }
    layout.columns.push_back(column);
    layout.widths.push_back(width);
  }
  return layout;
}

// How narrow the last column may get: half a number would be a wrong one, while the beginning of a
// text still tells something.
std::size_t leastWidth(const TextColumn& column, std::size_t width) {
  if (column.alignment == Alignment::right) return width;
  return std::min(width, std::max(kNarrowestLastColumn, displayWidth(column.heading)));
}

// Where the character begins that the byte at `i` is part of.
std::size_t characterStart(std::string_view text, std::size_t i) {
  constexpr std::size_t kMostBytesBefore = 3;
  const std::size_t first = i - std::min(i, kMostBytesBefore);
  const auto continuesCharacter = [text](std::size_t at) {
    return (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
  };
  while (i > first && continuesCharacter(i)) --i;
  return i;
}

// False where every column has to stay.
bool dropColumn(TableLayout& layout, std::span<const TextColumn> columns) {
  for (std::size_t i = layout.columns.size(); i-- > 0;) {
    if (columns[layout.columns[i]].need == Need::always) continue;
    layout.columns.erase(layout.columns.begin() + static_cast<std::ptrdiff_t>(i));
    layout.widths.erase(layout.widths.begin() + static_cast<std::ptrdiff_t>(i));
    return true;
  }
  return false;
}

}  // namespace

std::string shownText(std::string_view text, std::size_t width, Kept kept) {
  if (text.size() <= kMostBytes) return cutToWidth(visibleText(text), width, kept);
  const bool keepsEnd = kept == Kept::end;
  const std::size_t cut = characterStart(text, keepsEnd ? text.size() - kMostBytes : kMostBytes);
  if (keepsEnd) {
    return cutToWidth(std::string(kEllipsis).append(visibleText(text.substr(cut))), width, kept);
  }
  return cutToWidth(visibleText(text.substr(0, cut)).append(kEllipsis), width, kept);
}

TableLayout TableLayout::of(std::span<const TextColumn> table, std::size_t rowCount,
                            const CellText& cellText, std::size_t screenWidth) {
  TableLayout layout = widestLayout(table, rowCount, cellText);
  while (lineWidth(layout) > screenWidth) {
    const std::size_t excess = lineWidth(layout) - screenWidth;
    std::size_t& last = layout.widths.back();
    const std::size_t least = leastWidth(table[layout.columns.back()], last);
    if (last >= least + excess) {
      last -= excess;
    } else if (!dropColumn(layout, table)) {
      last = least;
      break;
    }
  }
  return layout;
}

StyledLine TableLayout::headings(std::span<const TextColumn> table) const {
  LineOfCells line;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const TextColumn& column = table[columns[i]];
    line.add(column.heading, Ink::bold, column.alignment, widths[i]);
  }
  return line.line();
}

StyledLine TableLayout::row(std::span<const TextColumn> table, std::size_t row,
                            const CellText& cellText) const {
  LineOfCells line;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const Cell cell = cellText(row, columns[i]);
    const TextColumn& column = table[columns[i]];
    const std::string shown = shownText(cell.text, std::min(widths[i], kWidestCell), column.kept);
    line.add(shown, cell.ink, column.alignment, widths[i]);
  }
  return line.line();
}

}  // namespace tavrine
