// Where a live screen gets its snapshots from.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/app_snapshot.h>

#include <functional>
#include <optional>
#include <string>

namespace tavrine {

/// What a source has to tell since it was last asked.
struct SourceNews {
  std::optional<AppSnapshot> snapshot;  ///< a newer one
  std::string problem;                  ///< why there is none, or what is wrong with it; else empty
};

struct SnapshotSource {
  std::string name;  ///< what is watched, to be shown; any characters
  /// Asked a few times a second with the present time, and not to wait: no value where nothing has
  /// changed. Throws nothing that the watch should survive.
  std::function<std::optional<SourceNews>(Timestamp now)> poll;
  /// A snapshot older than this is shown as stale.
  double staleAfterSeconds;
};

}  // namespace tavrine
