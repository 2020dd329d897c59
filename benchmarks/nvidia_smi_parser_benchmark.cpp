// The GPU query's text: 100,000 lines become records, beside what people write to read it.
//
// `memchr` only finds every comma and line feed, which no reader of the text can do without.
// getline and stod is the usual C++ of a script that grew; Python's csv module, which makes lists
// of texts and no numbers, is what most people would reach for first.

#include <TavrineShared/parsers/nvidia_smi_parser.h>

#include "benchmarks/comparison.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace tavrine::benchmarks {

namespace {

// As the tool prints it, with units; the numbers vary as those of busy GPUs do.
std::string makeText(std::size_t lines) {
  std::string text;
  char line[256];
  for (std::size_t i = 0; i < lines; ++i) {
    const auto n = static_cast<unsigned>(i);
    const int length = std::snprintf(
        line,
        sizeof line,
        "%u, NVIDIA H100 80GB HBM3, %u %%, %u MiB, 81559 MiB, %u, %u.%02u W, 700.00 W, [N/A], "
        "%u MHz, 2619 MHz, 0, 5, 16, P%u\n",
        n % 8,
        n * 7919 % 101,
        n * 104729 % 81560,
        30 + n * 31 % 60,
        70 + n * 127 % 630,
        n % 100,
        345 + n * 613 % 1636,
        n % 9);
    text.append(line, static_cast<std::size_t>(length));
  }
  return text;
}

std::size_t splitWithMemchr(const std::string& text) {
  std::size_t cells = 0;
  const char* p = text.data();
  const char* const end = p + text.size();
  while (p != end) {
    const auto* lineEnd =
        static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)));
    if (lineEnd == nullptr) lineEnd = end;
    while (const void* comma = std::memchr(p, ',', static_cast<std::size_t>(lineEnd - p))) {
      ++cells;
      p = static_cast<const char*>(comma) + 1;
    }
    ++cells;
    p = lineEnd == end ? end : lineEnd + 1;
  }
  return cells;
}

double number(const std::string& cell) {
  try {
    return std::stod(cell);
  } catch (const std::exception&) {
    return 0;
  }
}

std::vector<GPUStat> readWithGetline(const std::string& text) {
  std::vector<GPUStat> records;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    std::vector<std::string> cells;
    std::istringstream cellStream(line);
    std::string cell;
    while (std::getline(cellStream, cell, ',')) cells.push_back(cell);
    if (cells.size() < 15) continue;
    records.push_back({
        .index = std::stoll(cells[0]),
        .name = cells[1].substr(1),
        .utilizationPercent = number(cells[2]),
        .memoryUsedMB = number(cells[3]),
        .memoryTotalMB = number(cells[4]),
        .temperatureC = number(cells[5]),
        .powerDrawW = number(cells[6]),
        .powerLimitW = number(cells[7]),
        .fanSpeedPercent = number(cells[8]),
        .smClockMHz = number(cells[9]),
        .memClockMHz = number(cells[10]),
        .eccErrorsTotal = static_cast<std::int64_t>(number(cells[11])),
        .pcieLinkGen = static_cast<std::int64_t>(number(cells[12])),
        .pcieLinkWidth = static_cast<std::int64_t>(number(cells[13])),
        .pstate = cells[14].substr(1),
    });
  }
  return records;
}

std::string pythonCommand(const std::string& file) {
  return "python3 -c \"\n"
         "import csv, sys, time\n"
         "for run in range(5):\n"
         "    start = time.process_time()\n"
         "    rows = list(csv.reader(open(sys.argv[1], newline='')))\n"
         "    print(time.process_time() - start)\n"
         "\" '" +
         file + "'";
}

int run(int argc, char** argv) {
  constexpr std::size_t kLines = 100'000;
  const std::string text = makeText(kLines);
  const auto parse = [](const std::string& input) {
    return [&input] { benchmark::DoNotOptimize(NVIDIASMIParser::parseCSV(input)); };
  };

  Comparison table("GPU query: " + std::to_string(kLines) + " lines of " +
                   std::to_string(text.size() / kLines) + " bytes");
  table.task("parseCSV", text.size(), parse(text));
  table.task("memchr at commas and line feeds", text.size(), [&text] {
    benchmark::DoNotOptimize(splitWithMemchr(text));
  });
  table.task("getline and stod", text.size(), [&text] {
    benchmark::DoNotOptimize(readWithGetline(text));
  });
  char folder[] = "/tmp/tavrine-benchmark-XXXXXX";
  if (mkdtemp(folder) == nullptr) return 2;
  const std::string file = std::string(folder) + "/gpus.csv";
  std::ofstream(file, std::ios::binary) << text;
  table.program("Python's csv module", text.size(), pythonCommand(file));
  std::filesystem::remove_all(folder);
  table.row("parseCSV", "memchr at commas and line feeds", 0.25);
  table.row("parseCSV", "getline and stod");
  table.row("parseCSV", "Python's csv module");

  // How cost grows: the same text from 1 KB to 100 MB.
  const std::string huge = makeText(100'000'000 / (text.size() / kLines));
  std::vector<std::string> inputs;
  for (const std::size_t size :
       {1'000U, 10'000U, 100'000U, 1'000'000U, 10'000'000U, 100'000'000U}) {
    inputs.push_back(huge.substr(0, std::min<std::size_t>(size, huge.size())));
  }
  const char* const kSizes[] = {"1 KB", "10 KB", "100 KB", "1 MB", "10 MB", "100 MB"};
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    table.task(std::string("parseCSV, ") + kSizes[i], inputs[i].size(), parse(inputs[i]));
    if (i != 3) table.row(std::string("parseCSV, ") + kSizes[i], "parseCSV, 1 MB");
  }

  std::size_t records = 0;
  const std::size_t peak =
      peakAllocation([&] { records = NVIDIASMIParser::parseCSV(text).size() * sizeof(GPUStat); });
  table.figure("peak memory, of the records without their names",
               static_cast<double>(peak) / static_cast<double>(records),
               "",
               1.5);
  return table.run(argc, argv);
}

}  // namespace

}  // namespace tavrine::benchmarks

int main(int argc, char** argv) { return tavrine::benchmarks::run(argc, argv); }
