// Two samples of a host's /proc/diskstats become the rates of its block devices.
//
// Three marker lines frame the samples: those behind "---DPRE---" are the first, those behind
// "---DMID---" the second, and what stands behind "---DEND---", or before any marker, is ignored.
// Of the 11 fields or more of a line only the device's name (the third), the sectors read (the
// sixth) and the sectors written (the tenth) are used.
#pragma once

#include <TavrineShared/model/agent_sensors.h>
#include <TavrineShared/model/findings.h>

#include <string_view>
#include <vector>

namespace tavrine::DiskIOParser {

/// What the devices of both samples read and wrote per second, the busiest first; those equally
/// busy in the order in which the second sample first names them. The kernel's sectors have 512
/// bytes. An interval below a millisecond, or none at all (NaN), counts as a millisecond.
///
/// A line with fewer than 11 fields, or whose sectors are no numbers, is dropped. Loop and RAM
/// devices are left out, and so is what neither reads nor writes or stands in one sample only; of
/// two lines for one device in a sample the later counts. A rate is 0 where the counter went
/// backwards, and may be infinite. `utilizationPercent` is always absent.
///
/// With `findings`, tells of every line that was dropped, or that had no part in a rate, and of
/// every rate read as 0. Devices that are left out on purpose, or idle, are told but are no losses.
std::vector<DiskIORate> parse(std::string_view text, double sectorSizeBytes, double intervalSeconds,
                              Findings* findings = nullptr);

}  // namespace tavrine::DiskIOParser
