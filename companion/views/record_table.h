// A table with one row per record: each column is a line that says what it shows of one.
#pragma once

#include "companion/views/text_table.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace tavrine {

template <class R>
struct RecordColumn {
  TextColumn column;
  Cell (*cell)(const R& record);
  /// What rows can be ordered by, the largest first; by the text of the cell where there is none.
  double (*number)(const R& record) = nullptr;
};

template <class R>
std::string recordTable(std::span<const R> records, std::span<const RecordColumn<R>> columns,
                        const TableStyle& style) {
  std::vector<TextColumn> headings;
  headings.reserve(columns.size());
  for (const RecordColumn<R>& column : columns) headings.push_back(column.column);
  return textTable(
      headings,
      records.size(),
      [&](std::size_t row, std::size_t column) { return columns[column].cell(records[row]); },
      style);
}

}  // namespace tavrine
