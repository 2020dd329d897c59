// Which parts of a snapshot a view shows, and in which order.
#pragma once

#include "companion/watch/screen_table.h"
#include "companion/watch/view.h"

#include <TavrineShared/model/app_snapshot.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace tavrine {

enum class ItemKind : std::uint8_t { row, title, heading, gap, run, alert };

/// One thing that scrolls. In the overview `table` is the place of a server and `row` that of its
/// GPU, a server itself is a title, and behind them come runs and alerts, by their places in `row`.
/// In the runs, `row` is the place of a run.
struct Item {
  ItemKind kind;
  std::size_t table = 0;
  std::size_t row = 0;

  bool operator==(const Item&) const = default;
};

struct Sorting {
  std::optional<std::size_t> column;  ///< none is the order that the table has by itself
  bool isReversed = false;

  bool operator==(const Sorting&) const = default;
};

/// Numbers are sorted the largest first, what is no number last; texts by the alphabet, letter case
/// ignored. Equal rows keep their order.
///
/// With a filter only what contains it stays, letter case ignored: a row in any of its cells, a run
/// in its names and statuses, a GPU in its name. A server that contains it keeps all its GPUs, and
/// one with such a GPU stays, too. Of several tables those without rows go, title and all. The
/// overview shows all runs, and those alerts that are more than information, the gravest first.
std::vector<Item> arrangedItems(View view, const AppSnapshot& snapshot,
                                std::span<const ScreenTable> tables, std::string_view filter,
                                const Sorting& sorting);

}  // namespace tavrine
