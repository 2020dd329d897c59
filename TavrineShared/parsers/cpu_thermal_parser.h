// The readings of a host's thermal sensors, one per line: a label, a tab, and the temperature in
// thousandths of a degree Celsius, as the kernel's files give it.
#pragma once

#include <TavrineShared/model/agent_sensors.h>
#include <TavrineShared/model/findings.h>

#include <string_view>
#include <vector>

namespace tavrine::CPUThermalParser {

/// The readings, in the order of the lines. A line without a tab, with an empty label or without a
/// number is dropped, and so is a reading that is not between -50 and 200 degrees, those two
/// excluded: sensors report such values for want of a real one. What stands behind a second tab is
/// ignored. With `findings`, tells of every line that was dropped, of further columns and of every
/// label that was repaired.
std::vector<CPUTemperature> parse(std::string_view text, Findings* findings = nullptr);

}  // namespace tavrine::CPUThermalParser
