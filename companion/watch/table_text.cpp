#include "companion/watch/table_text.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace tavrine {

namespace {

constexpr std::size_t kMeasuredRows = 500;

}  // namespace

TableText::TableText(const ScreenModel& model, std::size_t table)
    : model_(model), table_(model.tables()[table]) {
  std::vector<std::size_t> measured;
  const std::vector<Item>& items = model.items();
  const std::size_t from = model.top() - model.top() % kMeasuredRows;
  const std::size_t to = std::min(items.size(), from + 2 * kMeasuredRows);
  for (std::size_t i = from; i < to; ++i) {
    if (items[i].kind == ItemKind::row && items[i].table == table) {
      measured.push_back(items[i].row);
    }
  }
  layout_ = TableLayout::of(
      table_.columns,
      measured.size(),
      [&](std::size_t row, std::size_t column) { return table_.cell(measured[row], column); },
      model.size().columns);
}

StyledLine TableText::headings() const {
  StyledLine line = layout_.headings(table_.columns);
  const std::optional<std::size_t> sorted = model_.sorting().column;
  for (StyledSpan& span : line.spans) {
    if (sorted && span.text == table_.columns[*sorted].heading) span.ink = Ink::reversed;
  }
  return line;
}

StyledLine TableText::row(std::size_t row) const {
  return layout_.row(table_.columns, row, table_.cell);
}

}  // namespace tavrine
