#include "companion/views/sensor_tables.h"

#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/record_table.h"

#include <array>

namespace tavrine {

namespace {

constexpr auto kLoadColumns = std::to_array<RecordColumn<double>>({
    {{"Load average", Alignment::right},
     [](const double& average) -> Cell {
       constexpr int kDigits = 6;
       return significantDigits(average, kDigits);
     }},
});

constexpr std::string_view kRateUnit = " KiB/s";

constexpr auto kDiskColumns = std::to_array<RecordColumn<DiskIORate>>({
    {{"Device"}, [](const DiskIORate& rate) -> Cell { return rate.device; }},
    {{"Read", Alignment::right},
     [](const DiskIORate& rate) -> Cell { return withUnit(rate.readKBps, kRateUnit); }},
    {{"Write", Alignment::right},
     [](const DiskIORate& rate) -> Cell { return withUnit(rate.writeKBps, kRateUnit); }},
});

constexpr auto kThermalColumns = std::to_array<RecordColumn<CPUTemperature>>({
    {{"Sensor"}, [](const CPUTemperature& reading) -> Cell { return reading.label; }},
    {{"Temp", Alignment::right},
     [](const CPUTemperature& reading) -> Cell { return withUnit(reading.celsius, " C"); }},
});

}  // namespace

std::string loadTable(std::span<const double> averages, const TableStyle& style) {
  return recordTable<double>(averages, kLoadColumns, style);
}

std::string diskTable(std::span<const DiskIORate> rates, const TableStyle& style) {
  return recordTable<DiskIORate>(rates, kDiskColumns, style);
}

std::string thermalTable(std::span<const CPUTemperature> readings, const TableStyle& style) {
  return recordTable<CPUTemperature>(readings, kThermalColumns, style);
}

}  // namespace tavrine
