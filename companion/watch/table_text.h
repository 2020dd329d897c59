// One of the tables of a view as lines.
#pragma once

#include "companion/views/styled_line.h"
#include "companion/views/table_layout.h"
#include "companion/watch/screen_model.h"

#include <cstddef>

namespace tavrine {

/// Its columns are as wide as some hundred rows around those on the screen need: so they stand
/// still while one scrolls, and a table of any length is drawn at once.
class TableText {
 public:
  /// Of the model's table at that place.
  TableText(const ScreenModel& model, std::size_t table);

  /// The one by which the table is sorted is marked.
  StyledLine headings() const;
  StyledLine row(std::size_t row) const;

 private:
  const ScreenModel& model_;
  const ScreenTable& table_;
  TableLayout layout_;
};

}  // namespace tavrine
