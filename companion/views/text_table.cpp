#include "companion/views/text_table.h"

#include "companion/views/display_width.h"
#include "companion/views/visible_text.h"

#include <algorithm>
#include <vector>

namespace tavrine {

namespace {

constexpr std::string_view kGap = "  ";
constexpr std::string_view kBold = "\x1b[1m";
constexpr std::string_view kPlain = "\x1b[0m";

std::string shownCell(std::string_view text) { return cutToWidth(visibleText(text), kWidestCell); }

// Puts one line together, cell by cell.
class Line {
 public:
  explicit Line(std::string& out) : out_(out) {}

  // Blanks are written only once something follows them.
  void add(std::string_view cell, Alignment alignment, std::size_t columnWidth) {
    const std::size_t fill = columnWidth - displayWidth(cell);
    if (alignment == Alignment::right) blanks_ += fill;
    if (!cell.empty()) {
      out_.append(blanks_, ' ').append(cell);
      blanks_ = 0;
    }
    if (alignment == Alignment::left) blanks_ += fill;
    blanks_ += kGap.size();
  }

 private:
  std::string& out_;
  std::size_t blanks_ = 0;
};

std::vector<std::size_t> columnWidths(std::span<const TextColumn> columns, std::size_t rowCount,
                                      const CellText& cellText) {
  std::vector<std::size_t> widths;
  widths.reserve(columns.size());
  for (std::size_t column = 0; column < columns.size(); ++column) {
    std::size_t width = displayWidth(columns[column].heading);
    for (std::size_t row = 0; row < rowCount; ++row) {
      width = std::max(width, displayWidth(shownCell(cellText(row, column))));
    }
    widths.push_back(width);
  }
  return widths;
}

void addHeadings(std::string& out, std::span<const TextColumn> columns,
                 std::span<const std::size_t> widths, HeadingStyle style) {
  if (style == HeadingStyle::bold) out.append(kBold);
  Line line(out);
  for (std::size_t column = 0; column < columns.size(); ++column) {
    line.add(columns[column].heading, columns[column].alignment, widths[column]);
  }
  if (style == HeadingStyle::bold) out.append(kPlain);
  out.push_back('\n');
}

}  // namespace

std::string textTable(std::span<const TextColumn> columns, std::size_t rowCount,
                      const CellText& cellText, HeadingStyle style) {
  const std::vector<std::size_t> widths = columnWidths(columns, rowCount, cellText);
  std::string out;
  addHeadings(out, columns, widths, style);
  for (std::size_t row = 0; row < rowCount; ++row) {
    Line line(out);
    for (std::size_t column = 0; column < columns.size(); ++column) {
      line.add(shownCell(cellText(row, column)), columns[column].alignment, widths[column]);
    }
    out.push_back('\n');
  }
  return out;
}

}  // namespace tavrine
