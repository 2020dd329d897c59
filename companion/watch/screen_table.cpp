#include "companion/watch/screen_table.h"

#include "companion/views/snapshot_tables.h"
#include "companion/watch/sensor_view_tables.h"

namespace tavrine {

std::vector<ScreenTable> tablesOf(View view, const AppSnapshot& snapshot) {
  switch (view) {
    case View::overview:
    case View::runs:
      return {};
    case View::alerts:
      return {screenTable<AlertRow>({}, alertRows(snapshot), alertColumns())};
    case View::processes:
      return {screenTable<ProcessRow>({}, processRows(snapshot), processColumns())};
    case View::users:
      return {screenTable<UserRow>({}, userRows(snapshot), userColumns())};
    case View::sensors:
      return sensorViewTables(snapshot);
  }
  return {};
}

}  // namespace tavrine
