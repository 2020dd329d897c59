// The sensors of one host as tables for people.
#pragma once

#include "companion/views/text_table.h"

#include <TavrineShared/model/agent_sensors.h>

#include <span>
#include <string>

namespace tavrine {

/// One line per average, in the order given.
std::string loadTable(std::span<const double> averages, const TableStyle& style);

/// One line per device, in the order given, in KiB per second.
std::string diskTable(std::span<const DiskIORate> rates, const TableStyle& style);

/// One line per reading, in the order given, in degrees Celsius.
std::string thermalTable(std::span<const CPUTemperature> readings, const TableStyle& style);

}  // namespace tavrine
