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
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

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

std::vector<std::size_t> columnWidths(std::span<const TextColumn> columns, std::size_t rowCount,
                                      const CellText& cellText, std::size_t screenWidth) {
  std::vector<std::size_t> widths;
  widths.reserve(columns.size());
  for (std::size_t column = 0; column < columns.size(); ++column) {
    std::size_t width = displayWidth(columns[column].heading);
    for (std::size_t row = 0; row < rowCount; ++row) {
      const std::string shown = shownText(cellText(row, column).text, kWidestCell);
      width = std::max(width, displayWidth(shown));
    }
    widths.push_back(width);
  }
  const std::size_t all = std::accumulate(widths.begin(), widths.end(), std::size_t{0}) +
                          kGap.size() * (widths.size() - 1);
  if (all > screenWidth) {
    const std::size_t excess = all - screenWidth;
    std::size_t& last = widths.back();
    const std::size_t least =
        std::min(last, std::max(kNarrowestLastColumn, displayWidth(columns.back().heading)));
    last = std::max(least, last - std::min(last, excess));
  }
  return widths;
}

void addHeadings(std::string& out, std::span<const TextColumn> columns,
                 std::span<const std::size_t> widths, Paint paint) {
  std::string headings;
  Line line(headings, Paint::off);
  for (std::size_t column = 0; column < columns.size(); ++column) {
    line.add(columns[column].heading, Ink::plain, columns[column].alignment, widths[column]);
  }
  out.append(inked(headings, Ink::bold, paint)).push_back('\n');
}

}  // namespace

std::string inked(std::string_view text, Ink ink, Paint paint) {
  if (paint == Paint::off || ink == Ink::plain) return std::string(text);
  return std::string(inkSequence(ink)).append(text).append("\x1b[0m");
}

std::string textTable(std::span<const TextColumn> columns, std::size_t rowCount,
                      const CellText& cellText, const TableStyle& style) {
  const std::vector<std::size_t> widths = columnWidths(columns, rowCount, cellText, style.width);
  std::string out;
  addHeadings(out, columns, widths, style.paint);
  for (std::size_t row = 0; row < rowCount; ++row) {
    Line line(out, style.paint);
    for (std::size_t column = 0; column < columns.size(); ++column) {
      const Cell cell = cellText(row, column);
      const std::size_t width = std::min(widths[column], kWidestCell);
      line.add(shownText(cell.text, width), cell.ink, columns[column].alignment, widths[column]);
    }
    out.push_back('\n');
  }
  return out;
}

}  // namespace tavrine
