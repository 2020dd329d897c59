// The views of the live screen.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tavrine {

enum class View : std::uint8_t { overview, runs, alerts, processes, users, sensors };

struct ViewInfo {
  std::string_view title;
  std::size_t headLines;     ///< that stay in sight above what scrolls
  std::size_t linesPerItem;  ///< of what scrolls
  bool selects;              ///< whether one item is selected, to be opened
  bool sorts;                ///< whether it is one table, which can be sorted
};

/// In the order of their numbers, from 1.
inline constexpr auto kViews = std::to_array<ViewInfo>({
    {"Overview", 2, 1, false, false},
    {"Runs", 0, 4, true, false},
    {"Alerts", 1, 1, false, true},
    {"Processes", 1, 1, false, true},
    {"Users", 1, 1, false, true},
    {"Sensors", 0, 1, false, false},
});

inline constexpr const ViewInfo& infoOf(View view) {
  return kViews[static_cast<std::size_t>(view)];
}

}  // namespace tavrine
