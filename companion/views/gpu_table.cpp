#include "companion/views/gpu_table.h"

#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/record_table.h"

#include <array>
#include <cmath>

namespace tavrine {

namespace {

Cell memoryShare(const GPUStat& gpu) {
  if (!(gpu.memoryTotalMB > 0)) return std::string(kAbsent);
  return upToOneDecimal(std::round(gpu.memoryFraction() * 100)) + "%";
}

constexpr auto kColumns = std::to_array<RecordColumn<GPUStat>>({
    {{"GPU", Alignment::right},
     [](const GPUStat& gpu) -> Cell { return std::to_string(gpu.index); }},
    {{"Name"}, [](const GPUStat& gpu) -> Cell { return gpu.name; }},
    {{"Util", Alignment::right},
     [](const GPUStat& gpu) -> Cell { return withUnit(gpu.utilizationPercent, "%"); }},
    {{"Mem used", Alignment::right},
     [](const GPUStat& gpu) -> Cell { return gibibytesOfMB(gpu.memoryUsedMB); }},
    {{"Mem total", Alignment::right},
     [](const GPUStat& gpu) -> Cell { return gibibytesOfMB(gpu.memoryTotalMB); }},
    {{"Mem %", Alignment::right}, memoryShare},
    {{"Temp", Alignment::right},
     [](const GPUStat& gpu) -> Cell { return withUnit(gpu.temperatureC, " C"); }},
    {{"Power", Alignment::right}, [](const GPUStat& gpu) -> Cell { return watts(gpu.powerDrawW); }},
    {{"Limit", Alignment::right},
     [](const GPUStat& gpu) -> Cell { return watts(gpu.powerLimitW); }},
    {{"Fan", Alignment::right},
     [](const GPUStat& gpu) -> Cell { return withUnit(gpu.fanSpeedPercent, "%"); }},
    {{"SM clock", Alignment::right},
     [](const GPUStat& gpu) -> Cell { return withUnit(gpu.smClockMHz, " MHz"); }},
    {{"Mem clock", Alignment::right},
     [](const GPUStat& gpu) -> Cell { return withUnit(gpu.memClockMHz, " MHz"); }},
    {{"ECC errors", Alignment::right},
     [](const GPUStat& gpu) -> Cell { return countText(gpu.eccErrorsTotal); }},
    {{"PCIe link"}, [](const GPUStat& gpu) -> Cell { return orAbsent(gpu.pcieLinkText()); }},
    {{"State"}, [](const GPUStat& gpu) -> Cell { return orAbsent(gpu.pstate); }},
});

}  // namespace

std::string gpuTable(std::span<const GPUStat> gpus, const TableStyle& style) {
  return recordTable<GPUStat>(gpus, kColumns, style);
}

}  // namespace tavrine
