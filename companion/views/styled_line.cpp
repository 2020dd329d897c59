#include "companion/views/styled_line.h"

#include "companion/views/display_width.h"

#include <algorithm>

namespace tavrine {

namespace {

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
    case Ink::cyan:
      return "\x1b[36m";
    case Ink::reversed:
      return "\x1b[7m";
  }
  return "";
}

}  // namespace

std::string inked(std::string_view text, Ink ink, Paint paint) {
  if (paint == Paint::off || ink == Ink::plain) return std::string(text);
  return std::string(inkSequence(ink)).append(text).append("\x1b[0m");
}

StyledLine& StyledLine::add(std::string_view text, Ink ink) {
  if (!text.empty()) spans.push_back({std::string(text), ink});
  return *this;
}

StyledLine& StyledLine::add(const StyledLine& line) {
  spans.insert(spans.end(), line.spans.begin(), line.spans.end());
  return *this;
}

StyledLine& StyledLine::padTo(std::size_t column) {
  const std::size_t now = width();
  const std::size_t atLeast = spans.empty() ? 0 : 1;
  return add(std::string(std::max(column > now ? column - now : 0, atLeast), ' '));
}

std::size_t StyledLine::width() const {
  std::size_t width = 0;
  for (const StyledSpan& span : spans) width += displayWidth(span.text);
  return width;
}

std::string StyledLine::text() const {
  std::string text;
  for (const StyledSpan& span : spans) text.append(span.text);
  return text;
}

std::string StyledLine::painted(Paint paint) const {
  std::string text;
  for (const StyledSpan& span : spans) text.append(inked(span.text, span.ink, paint));
  return text;
}

StyledLine StyledLine::cutTo(std::size_t columns) const {
  if (width() <= columns) return *this;
  StyledLine cut;
  if (columns == 0) return cut;
  std::size_t left = columns - displayWidth(kEllipsis);
  for (const StyledSpan& span : spans) {
    const std::size_t width = displayWidth(span.text);
    if (width > left) {
      // With something behind it, so that it ends in the ellipsis even where it would just fit.
      return cut.add(cutToWidth(span.text + "  ", left + 1), span.ink);
    }
    cut.add(span.text, span.ink);
    left -= width;
  }
  return cut;
}

}  // namespace tavrine
