#include "companion/views/gpu_table.h"

#include "companion/views/number_text.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tavrine {

namespace {

std::string withUnit(const std::optional<double>& value, std::string_view unit) {
  return value ? upToOneDecimal(*value).append(unit) : std::string(kAbsent);
}

std::string watts(double value) { return oneDecimal(value) + " W"; }

std::string gibibytes(double mebibytes) { return oneDecimal(mebibytes / 1024) + " GiB"; }

std::string memoryShare(const GPUStat& gpu) {
  if (!(gpu.memoryTotalMB > 0)) return std::string(kAbsent);
  return upToOneDecimal(std::round(gpu.memoryFraction() * 100)) + "%";
}

std::string count(const std::optional<std::int64_t>& value) {
  return value ? std::to_string(*value) : std::string(kAbsent);
}

std::string text(const std::optional<std::string>& value) {
  return value.value_or(std::string(kAbsent));
}

struct GPUColumn {
  TextColumn column;
  std::string (*cell)(const GPUStat& gpu);
};

constexpr auto kColumns = std::to_array<GPUColumn>({
    {{"GPU", Alignment::right}, [](const GPUStat& gpu) { return std::to_string(gpu.index); }},
    {{"Name"}, [](const GPUStat& gpu) { return gpu.name; }},
    {{"Util", Alignment::right},
     [](const GPUStat& gpu) { return withUnit(gpu.utilizationPercent, "%"); }},
    {{"Mem used", Alignment::right},
     [](const GPUStat& gpu) { return gibibytes(gpu.memoryUsedMB); }},
    {{"Mem total", Alignment::right},
     [](const GPUStat& gpu) { return gibibytes(gpu.memoryTotalMB); }},
    {{"Mem %", Alignment::right}, memoryShare},
    {{"Temp", Alignment::right},
     [](const GPUStat& gpu) { return withUnit(gpu.temperatureC, " C"); }},
    {{"Power", Alignment::right}, [](const GPUStat& gpu) { return watts(gpu.powerDrawW); }},
    {{"Limit", Alignment::right}, [](const GPUStat& gpu) { return watts(gpu.powerLimitW); }},
    {{"Fan", Alignment::right},
     [](const GPUStat& gpu) { return withUnit(gpu.fanSpeedPercent, "%"); }},
    {{"SM clock", Alignment::right},
     [](const GPUStat& gpu) { return withUnit(gpu.smClockMHz, " MHz"); }},
    {{"Mem clock", Alignment::right},
     [](const GPUStat& gpu) { return withUnit(gpu.memClockMHz, " MHz"); }},
    {{"ECC errors", Alignment::right},
     [](const GPUStat& gpu) { return count(gpu.eccErrorsTotal); }},
    {{"PCIe link"}, [](const GPUStat& gpu) { return text(gpu.pcieLinkText()); }},
    {{"State"}, [](const GPUStat& gpu) { return text(gpu.pstate); }},
});

constexpr auto kTextColumns = [] {
  std::array<TextColumn, kColumns.size()> columns{};
  for (std::size_t i = 0; i < kColumns.size(); ++i) columns[i] = kColumns[i].column;
  return columns;
}();

}  // namespace

std::string gpuTable(std::span<const GPUStat> gpus, HeadingStyle style) {
  return textTable(
      kTextColumns,
      gpus.size(),
      [gpus](std::size_t row, std::size_t column) { return kColumns[column].cell(gpus[row]); },
      style);
}

}  // namespace tavrine
