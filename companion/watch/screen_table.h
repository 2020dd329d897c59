// The tables among the views, whatever their rows are.
#pragma once

#include "companion/views/record_table.h"
#include "companion/watch/view.h"

#include <TavrineShared/model/app_snapshot.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace tavrine {

/// Its cells are made when they are asked for, of records that must outlive it.
struct ScreenTable {
  std::string_view title;  ///< empty where the view is this table
  std::vector<TextColumn> columns;
  std::size_t rowCount;
  CellText cell;
  /// What rows can be ordered by; no value where it is the text of the cell.
  std::function<std::optional<double>(std::size_t row, std::size_t column)> number;
};

template <class Row>
ScreenTable screenTable(std::string_view title, std::vector<Row> rows,
                        std::span<const RecordColumn<Row>> columns) {
  ScreenTable table{.title = title,
                    .columns = {},
                    .rowCount = rows.size(),
                    .cell = {},
                    .number = {}};
  for (const RecordColumn<Row>& column : columns) table.columns.push_back(column.column);
  const auto shared = std::make_shared<const std::vector<Row>>(std::move(rows));
  table.cell = [shared, columns](std::size_t row, std::size_t column) {
    return columns[column].cell((*shared)[row]);
  };
  table.number = [shared, columns](std::size_t row, std::size_t column) -> std::optional<double> {
    if (columns[column].number == nullptr) return std::nullopt;
    return columns[column].number((*shared)[row]);
  };
  return table;
}

/// The tables that a view is made of; none for the overview and the runs, which are none.
std::vector<ScreenTable> tablesOf(View view, const AppSnapshot& snapshot);

}  // namespace tavrine
