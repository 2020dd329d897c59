#include "companion/views/process_tables.h"

#include "companion/views/quantity_text.h"
#include "companion/views/record_table.h"

#include <TavrineShared/foundation/unicode_text.h>

#include <array>

namespace tavrine {

namespace {

constexpr double kMBPerGB = 1024;

// Most processes hold little, so that all would be 0.0 GiB.
std::string mebibytes(double value) { return withUnit(value, " MiB"); }

constexpr auto kColumns = std::to_array<RecordColumn<ProcessStat>>({
    {{"PID", Alignment::right},
     [](const ProcessStat& process) -> Cell { return std::to_string(process.pid); }},
    {{"Parent", Alignment::right},
     [](const ProcessStat& process) -> Cell { return std::to_string(process.parentPID); }},
    {{"Owner"}, [](const ProcessStat& process) -> Cell { return process.owner; }},
    {{"State"}, [](const ProcessStat& process) -> Cell { return process.state; }},
    {{"Kind"},
     [](const ProcessStat& process) -> Cell { return std::string(process.kind.title()); }},
    {{"CPU", Alignment::right},
     [](const ProcessStat& process) -> Cell { return withUnit(process.cpuPercent, "%"); }},
    {{"Mem", Alignment::right},
     [](const ProcessStat& process) -> Cell { return withUnit(process.memoryPercent, "%"); }},
    {{"Resident", Alignment::right},
     [](const ProcessStat& process) -> Cell {
       return mebibytes(process.residentMemoryGB() * kMBPerGB);
     }},
    {{"Elapsed", Alignment::right},
     [](const ProcessStat& process) -> Cell { return process.elapsed; }},
    {{"Executable"}, [](const ProcessStat& process) -> Cell { return process.executable; }},
    {{"Command"},
     [](const ProcessStat& process) -> Cell { return std::string(trimmed(process.command)); }},
});

constexpr auto kGPUColumns = std::to_array<RecordColumn<GPUProcessStat>>({
    {{"PID", Alignment::right},
     [](const GPUProcessStat& process) -> Cell { return std::to_string(process.pid); }},
    {{"Mem used", Alignment::right},
     [](const GPUProcessStat& process) -> Cell { return mebibytes(process.usedMemoryMB); }},
    {{"GPU"}, [](const GPUProcessStat& process) -> Cell { return orAbsent(process.gpuBusID); }},
    {{"Process"}, [](const GPUProcessStat& process) -> Cell { return process.processName; }},
});

}  // namespace

std::string processTable(std::span<const ProcessStat> processes, const TableStyle& style) {
  return recordTable<ProcessStat>(processes, kColumns, style);
}

std::string gpuProcessTable(std::span<const GPUProcessStat> processes, const TableStyle& style) {
  return recordTable<GPUProcessStat>(processes, kGPUColumns, style);
}

}  // namespace tavrine
