// A snapshot as one HTML page that needs nothing else: no script, no file beside it, no network.
#pragma once

#include <TavrineShared/model/app_snapshot.h>

#include <string>

namespace tavrine {

/// The page. Whatever the texts of the snapshot are, they are text in it; long ones are cut, and of
/// a long list the page says how much of it there is. Times are told from the snapshot's own.
std::string htmlPage(const AppSnapshot& snapshot);

}  // namespace tavrine
