#include "companion/parse/kinds.h"

#include "companion/collect/queries.h"
#include "companion/parse/line_kind.h"
#include "companion/parse/training_log_kind.h"
#include "companion/parse/whole_kind.h"
#include "companion/views/gpu_table.h"
#include "companion/views/number_text.h"
#include "companion/views/process_tables.h"
#include "companion/views/recorder_table.h"
#include "companion/views/sensor_tables.h"

#include <TavrineShared/parsers/cpu_thermal_parser.h>
#include <TavrineShared/parsers/disk_io_parser.h>
#include <TavrineShared/parsers/gpu_process_stat_parser.h>
#include <TavrineShared/parsers/load_avg_parser.h>
#include <TavrineShared/parsers/nvidia_smi_parser.h>
#include <TavrineShared/parsers/process_stat_parser.h>
#include <TavrineShared/recorder/recorder_line_parser.h>

#include <array>

namespace tavrine {

namespace {

// Gives a parser that needs no options the form of those that do.
template <auto ParseText>
auto withoutOptions(std::string_view text, const KindOptions&, Findings* findings) {
  return ParseText(text, findings);
}

std::vector<ProcessStat> processes(std::string_view text, const KindOptions& options,
                                   Findings* findings) {
  return ProcessStatParser::parse(text, options.server, options.capturedAt, findings);
}

std::vector<DiskIORate> diskRates(std::string_view text, const KindOptions& options,
                                  Findings* findings) {
  return DiskIOParser::parse(text, options.sectorSizeBytes, options.intervalSeconds, findings);
}

std::string loadName(double load) { return upToOneDecimal(load); }
std::string diskName(const DiskIORate& rate) { return rate.device; }
std::string pointName(const RecorderLogPoint& point) {
  constexpr int kDigits = 15;
  return significantDigits(point.t.time_since_epoch().count(), kDigits);
}

constexpr auto kProcessOptions = std::to_array({KindOption::server, KindOption::capturedAt});
constexpr auto kTimeOption = std::to_array({KindOption::capturedAt});
constexpr auto kDiskOptions = std::to_array({KindOption::sectorSize, KindOption::interval});

constexpr auto kKinds = std::to_array<Kind>({
    {.name = "gpus",
     .input = "the GPU query's output",
     .records = "GPUs",
     .example = "gpus.csv",
     .queryCommand = gpuQueryCommand,
     .parse = parseLineKind<GPUStat, withoutOptions<NVIDIASMIParser::parseCSV>, gpuTable>},
    {.name = "gpu-processes",
     .input = "the GPU process list",
     .records = "processes",
     .example = "gpu_processes.csv",
     .queryCommand = gpuProcessQueryCommand,
     .parse = parseLineKind<GPUProcessStat, withoutOptions<GPUProcessStatParser::parse>,
                            gpuProcessTable>},
    {.name = "processes",
     .input = "the process table",
     .records = "processes",
     .example = "processes.txt",
     .options = kProcessOptions,
     .queryCommand = processQueryCommand,
     .parse = parseLineKind<ProcessStat, processes, processTable>},
    {.name = "load",
     .input = "/proc/loadavg",
     .records = "load averages",
     .example = "loadavg.txt",
     .queryCommand = loadQueryCommand,
     .parse = parseWholeKind<double, withoutOptions<LoadAvgParser::parse>, loadTable, loadName>},
    {.name = "disks",
     .input = "two disk samples",
     .records = "disk rates",
     .example = "diskstats.txt",
     .options = kDiskOptions,
     .queryCommand = diskQueryCommand,
     .parse = parseWholeKind<DiskIORate, diskRates, diskTable, diskName>},
    {.name = "thermal",
     .input = "sensor readings",
     .records = "temperatures",
     .example = "thermal.txt",
     .queryCommand = thermalQueryCommand,
     .parse = parseLineKind<CPUTemperature, withoutOptions<CPUThermalParser::parse>, thermalTable>},
    {.name = "training-log",
     .input = "a training log",
     .records = "signals",
     .example = "train.log",
     .options = kTimeOption,
     .fileQueryCommand = trainingLogQueryCommand,
     .parse = parseTrainingLog},
    {.name = "recorder",
     .input = "a recorder's log",
     .records = "points",
     .example = "recorder.jsonl",
     .fileQueryCommand = recorderQueryCommand,
     .parse = parseWholeKind<RecorderLogPoint, withoutOptions<RecorderLineParser::parse>,
                             recorderTable, pointName>},
});

}  // namespace

std::span<const Kind> kinds() { return kKinds; }

}  // namespace tavrine
