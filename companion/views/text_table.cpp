#include "companion/views/text_table.h"

namespace tavrine {

std::string textTable(std::span<const TextColumn> columns, std::size_t rowCount,
                      const CellText& cellText, const TableStyle& style) {
  const TableLayout layout = TableLayout::of(columns, rowCount, cellText, style.width);
  std::string out = inked(layout.headings(columns).text(), Ink::bold, style.paint).append("\n");
  for (std::size_t row = 0; row < rowCount; ++row) {
    out.append(layout.row(columns, row, cellText).painted(style.paint)).append("\n");
  }
  return out;
}

}  // namespace tavrine
