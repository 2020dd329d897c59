#include "companion/assemble/previous_snapshot.h"

#include <algorithm>
#include <vector>

namespace tavrine {

namespace {

template <class R, class Test>
const R* findOrNull(const std::vector<R>& records, Test test) {
  const auto found = std::find_if(records.begin(), records.end(), test);
  return found == records.end() ? nullptr : &*found;
}

}  // namespace

const ServerSummary* previousServer(const AppSnapshot* previous, std::string_view name) {
  if (previous == nullptr) return nullptr;
  return findOrNull(previous->servers,
                    [name](const ServerSummary& server) { return server.name == name; });
}

const TrainingRun* previousRun(const AppSnapshot* previous, const UUID& id) {
  if (previous == nullptr) return nullptr;
  return findOrNull(previous->runs, [&id](const TrainingRun& run) { return run.id == id; });
}

}  // namespace tavrine
