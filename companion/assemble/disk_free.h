// How much room is left on a file system.
#pragma once

#include <TavrineShared/model/findings.h>

#include <optional>
#include <string_view>

namespace tavrine {

struct DiskSpace {
  double totalKB;  ///< KiB
  double freeKB;   ///< for users who are not root

  double freeGB() const { return freeKB / (1024 * 1024); }  ///< GiB
  /// 0 to 1; 1 when nothing is known of the total.
  double freeFraction() const { return totalKB > 0 ? freeKB / totalKB : 1; }
};

/// Out of what `df -Pk` prints: a line of headings and one for each file system, in which the name
/// of the device may hold blanks. Of several the one with the smallest part left counts, since that
/// one stops a run first.
std::optional<DiskSpace> parseDiskFree(std::string_view text, Findings* findings = nullptr);

}  // namespace tavrine
