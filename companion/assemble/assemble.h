// Captures of servers become one snapshot of the lab.
#pragma once

#include "companion/assemble/source_findings.h"
#include "companion/capture/capture.h"

#include <TavrineShared/model/app_snapshot.h>

#include <span>

namespace tavrine {

struct Assembly {
  AppSnapshot snapshot;
  FindingsBook findings;
};

/// The same captures, and the same `previous` snapshot (null when there is none), always give the
/// same: time comes from the captures, identifiers from names. Servers stand in the order of the
/// captures; of two captures of one server the newer one counts. What JSON cannot hold, such as a
/// NaN that a tool printed, costs its record and is told.
Assembly assemble(std::span<const Capture> captures, const AppSnapshot* previous);

}  // namespace tavrine
