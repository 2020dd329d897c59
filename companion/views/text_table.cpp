#include "companion/views/text_table.h"

#include "companion/views/display_width.h"
#include "companion/views/visible_text.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <vector>

namespace tavrine {

namespace {

constexpr std::string_view kGap = "  ";

// To a width that gives way, but not beyond what still tells something.
constexpr std::size_t kNarrowestLastColumn = 10;

// Characters that take no column of their own would let a cell grow without end; and of a text of
// megabytes nobody needs more than its beginning made visible.
constexpr std::size_t kMostBytes = 8 * kWidestCell;

std::string shownText(std::string_view text, std::size_t width) {
  if (text.size() <= kMostBytes) return cutToWidth(visibleText(text), width);
  std::size_t end = kMostBytes;
  const auto continuesCharacter = [text](std::size_t i) {
    return (static_cast<unsigned char>(text[i]) & 0xC0U) == 0x80U;
  };
  while (end > kMostBytes - 4 && continuesCharacter(end)) --end;
  return cutToWidth(visibleText(text.substr(0, end)).append(kEllipsis), width);
}

std::string_view inkSequence(Ink ink) {
  switch (ink) {
    case Ink::plain:
      return "";
    case Ink::bold:
      return "\x1b[1m";
    case Ink::faint:
      return "\x1b[2m";
    case Ink::green:
      return "\x1b[32m";
    case Ink::yellow:
      return "\x1b[33m";
    case Ink::red:
      return "\x1b[31m";
  }
  return "";
}

// Puts one line together, cell by cell.
class Line {
 public:
  Line(std::string& out, Paint paint) : out_(out), paint_(paint) {}

  // Blanks are written only once something follows them.
  void add(std::string_view shown, Ink ink, Alignment alignment, std::size_t columnWidth) {
    const std::size_t fill = columnWidth - displayWidth(shown);
    if (alignment == Alignment::right) blanks_ += fill;
    if (!shown.empty()) {
      out_.append(blanks_, ' ').append(inked(shown, ink, paint_));
      blanks_ = 0;
    }
    if (alignment == Alignment::left) blanks_ += fill;
    blanks_ += kGap.size();
  }

 private:
  std::string& out_;
  Paint paint_;
  std::size_t blanks_ = 0;
};

// The columns that are shown, by their places in the table, and how wide each is.
struct Layout {
  std::vector<std::size_t> columns;
  std::vector<std::size_t> widths;

  std::size_t lineWidth() const {
    return std::accumulate(widths.begin(), widths.end(), std::size_t{0}) +
           kGap.size() * (widths.size() - 1);
  }
};

Layout widestLayout(std::span<const TextColumn> columns, std::size_t rowCount,
                    const CellText& cellText) {
  Layout layout;
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

// False where every column has to stay.
bool dropColumn(Layout& layout, std::span<const TextColumn> columns) {
  for (std::size_t i = layout.columns.size(); i-- > 0;) {
    if (columns[layout.columns[i]].need == Need::always) continue;
    layout.columns.erase(layout.columns.begin() + static_cast<std::ptrdiff_t>(i));
    layout.widths.erase(layout.widths.begin() + static_cast<std::ptrdiff_t>(i));
    return true;
  }
  return false;
}

Layout layoutFor(std::span<const TextColumn> columns, std::size_t rowCount,
                 const CellText& cellText, std::size_t screenWidth) {
  Layout layout = widestLayout(columns, rowCount, cellText);
  while (layout.lineWidth() > screenWidth) {
    const std::size_t excess = layout.lineWidth() - screenWidth;
    std::size_t& last = layout.widths.back();
    const std::size_t least = leastWidth(columns[layout.columns.back()], last);
    if (last >= least + excess) {
      last -= excess;
    } else if (!dropColumn(layout, columns)) {
      last = least;
      break;
    }
  }
  return layout;
}

}  // namespace

std::string inked(std::string_view text, Ink ink, Paint paint) {
  if (paint == Paint::off || ink == Ink::plain) return std::string(text);
  return std::string(inkSequence(ink)).append(text).append("\x1b[0m");
}

std::string textTable(std::span<const TextColumn> columns, std::size_t rowCount,
                      const CellText& cellText, const TableStyle& style) {
  const Layout layout = layoutFor(columns, rowCount, cellText, style.width);
  std::string headings;
  Line headingLine(headings, Paint::off);
  for (std::size_t i = 0; i < layout.columns.size(); ++i) {
    const TextColumn& column = columns[layout.columns[i]];
    headingLine.add(column.heading, Ink::plain, column.alignment, layout.widths[i]);
  }
  std::string out = inked(headings, Ink::bold, style.paint).append("\n");
  for (std::size_t row = 0; row < rowCount; ++row) {
    Line line(out, style.paint);
    for (std::size_t i = 0; i < layout.columns.size(); ++i) {
      const std::size_t column = layout.columns[i];
      const Cell cell = cellText(row, column);
      const std::size_t width = std::min(layout.widths[i], kWidestCell);
      line.add(shownText(cell.text, width), cell.ink, columns[column].alignment, layout.widths[i]);
    }
    out.push_back('\n');
  }
  return out;
}

}  // namespace tavrine
