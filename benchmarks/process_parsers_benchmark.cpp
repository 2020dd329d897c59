// The process tables: 100,000 lines become records, beside what people write to split them; and
// 5,000 processes get their kinds, beside looking for each keyword in a lower-cased copy.
//
// Python's split, which makes lists of texts and no numbers, is what most people would reach for
// first; getline and operator>> are the usual C++ of a script that grew.

#include <TavrineShared/parsers/gpu_process_stat_parser.h>
#include <TavrineShared/parsers/process_kinds.h>
#include <TavrineShared/parsers/process_stat_parser.h>

#include "benchmarks/comparison.h"

#include <benchmark/benchmark.h>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace tavrine::benchmarks {

namespace {

// What servers run: mostly kernel threads and services, some long command lines of training jobs.
std::string makeProcesses(std::size_t lines) {
  constexpr const char* kCommands[] = {
      "kworker/3:1-eve [kworker/3:1-events]",
      "systemd-journal /lib/systemd/systemd-journald",
      "bash            -bash",
      "python3         /usr/bin/python3 -u pretrain.py --data /data/shards --output_dir /ckpt/17",
      "sshd            sshd: ada@pts/3",
      "python3         /opt/conda/bin/python -m ipykernel_launcher -f /run/user/1001/kernel-7.json",
      "nginx           nginx: worker process",
      "java            java -Xmx4g -cp /srv/app/lib/a.jar:/srv/app/lib/b.jar org.example.Main",
  };
  std::string text = "    PID    PPID USER  STAT %CPU %MEM     ELAPSED   RSS COMMAND   COMMAND\n";
  char line[512];
  for (std::size_t i = 0; i < lines; ++i) {
    const auto n = static_cast<unsigned>(i);
    const int length = std::snprintf(line,
                                     sizeof line,
                                     "%7u %7u %-32s %-4s %4u.%u %4u.%u %02u-%02u:17:%02u %8u %s\n",
                                     n + 1,
                                     n / 7 + 1,
                                     n % 3 == 0 ? "root" : "ada",
                                     n % 2 == 0 ? "Ss" : "Rl+",
                                     n * 31 % 400,
                                     n % 10,
                                     n * 17 % 60,
                                     n % 7,
                                     n % 90,
                                     n % 24,
                                     n % 60,
                                     n * 7919 % 9'000'000,
                                     kCommands[n * 5 % std::size(kCommands)]);
    text.append(line, static_cast<std::size_t>(length));
  }
  return text;
}

std::string makeGPUProcesses(std::size_t lines) {
  std::string text = "pid, process_name, used_gpu_memory [MiB], gpu_bus_id\n";
  char line[256];
  for (std::size_t i = 0; i < lines; ++i) {
    const auto n = static_cast<unsigned>(i);
    const int length = std::snprintf(line,
                                     sizeof line,
                                     "%u, /opt/conda/bin/python, %u MiB, 00000000:%02X:00.0\n",
                                     n + 1,
                                     n * 104729 % 81560,
                                     n % 8 * 17);
    text.append(line, static_cast<std::size_t>(length));
  }
  return text;
}

std::vector<ProcessStat> readWithStreams(const std::string& text) {
  std::vector<ProcessStat> records;
  std::istringstream lines(text);
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    ProcessStat record{};
    std::istringstream columns(line);
    columns >> record.pid >> record.parentPID >> record.owner >> record.state >>
        record.cpuPercent >> record.memoryPercent >> record.elapsed >> record.residentMemoryKB >>
        record.executable;
    std::getline(columns, record.command);
    records.push_back(std::move(record));
  }
  return records;
}

std::string pythonCommand(const std::string& file, const std::string& split) {
  return "python3 -c \"\n"
         "import sys, time\n"
         "for run in range(5):\n"
         "    start = time.process_time()\n"
         "    rows = [" +
         split +
         " for line in open(sys.argv[1])]\n"
         "    print(time.process_time() - start)\n"
         "\" '" +
         file + "'";
}

// The first so many bytes of a text that goes on and on.
std::string beginning(const std::string& text, std::size_t size) {
  return text.substr(0, std::min(size, text.size()));
}

// By the rules as they are written down: all of the list, one keyword after the other.
ProcessKind kindByFinding(const ProcessStat& process) {
  const std::string haystack = process.executable + ' ' + process.command;
  std::string lower;
  icu::StringByteSink<std::string> sink(&lower, static_cast<std::int32_t>(haystack.size()));
  UErrorCode status = U_ZERO_ERROR;
  icu::CaseMap::utf8ToLower("", 0, haystack, sink, nullptr, status);
  for (const Keyword& keyword : process_kinds::kKeywords) {
    if (lower.find(keyword.text) != std::string::npos)
      return ProcessKind::kEntries[keyword.rank].value;
  }
  return process_kinds::classify("", "", process.owner);
}

ProcessKind kindOf(const ProcessStat& process) {
  return process_kinds::classify(process.executable, process.command, process.owner);
}

template <ProcessKind (*kind)(const ProcessStat&)>
void addKinds(Comparison& table, const std::string& name,
              const std::vector<ProcessStat>& processes) {
  std::size_t bytes = 0;
  for (const ProcessStat& process : processes) {
    bytes += process.executable.size() + process.command.size();
    if (kind(process) != process.kind) throw std::runtime_error(name + ": another kind");
  }
  table.task(name, bytes, [&processes] {
    for (const ProcessStat& process : processes) benchmark::DoNotOptimize(kind(process));
  });
}

int run(int argc, char** argv) {
  constexpr std::size_t kLines = 100'000;
  const auto parseTable = [](const std::string& input) {
    return [&input] { return ProcessStatParser::parse(input, "gpu-01", Timestamp{}); };
  };
  const auto parseGPUs = [](const std::string& input) {
    return [&input] { return GPUProcessStatParser::parse(input); };
  };
  const std::string text = makeProcesses(kLines);
  const std::string gpuText = makeGPUProcesses(kLines);

  Comparison table("Process tables: " + std::to_string(kLines) + " lines of " +
                   std::to_string(text.size() / kLines) + " and of " +
                   std::to_string(gpuText.size() / kLines) + " bytes");
  table.making("processes", text.size(), parseTable(text));
  table.making("processes, getline and >>", text.size(), [&text] { return readWithStreams(text); });
  table.making("GPU processes", gpuText.size(), parseGPUs(gpuText));
  char folder[] = "/tmp/tavrine-benchmark-XXXXXX";
  if (mkdtemp(folder) == nullptr) return 2;
  const std::string file = std::string(folder) + "/processes.txt";
  std::ofstream(file, std::ios::binary) << text;
  table.program("processes, Python's split(None, 9)",
                text.size(),
                pythonCommand(file, "line.split(None, 9)"));
  const std::string gpuFile = std::string(folder) + "/gpu_processes.csv";
  std::ofstream(gpuFile, std::ios::binary) << gpuText;
  table.program("GPU processes, Python's split(',')",
                gpuText.size(),
                pythonCommand(gpuFile, "line.split(',')"));
  std::filesystem::remove_all(folder);
  table.row("processes", "processes, Python's split(None, 9)");
  table.row("processes", "processes, getline and >>");
  table.row("GPU processes", "GPU processes, Python's split(',')");

  const std::vector<ProcessStat> processes =
      ProcessStatParser::parse(makeProcesses(5'000), "gpu-01", Timestamp{});
  addKinds<kindOf>(table, "kinds of processes", processes);
  addKinds<kindByFinding>(table, "kinds of processes, ICU and find", processes);
  table.row("kinds of processes", "kinds of processes, ICU and find", 4);

  // How cost grows: at 100 MB no more than 1.6 times as much for each byte as at 1 MB.
  constexpr double kLeastRate = 1 / 1.6;
  constexpr std::size_t kSmall = 1'000'000;
  constexpr std::size_t kHuge = 100'000'000;
  const std::string huge = makeProcesses(kHuge / (text.size() / kLines));
  const std::string hugeGPU = makeGPUProcesses(kHuge / (gpuText.size() / kLines));
  const std::string small = beginning(huge, kSmall);
  const std::string smallGPU = beginning(hugeGPU, kSmall);
  table.making("processes, 1 MB", small.size(), parseTable(small));
  table.making("processes, 100 MB", huge.size(), parseTable(huge));
  table.row("processes, 100 MB", "processes, 1 MB", kLeastRate);
  table.making("GPU processes, 1 MB", smallGPU.size(), parseGPUs(smallGPU));
  table.making("GPU processes, 100 MB", hugeGPU.size(), parseGPUs(hugeGPU));
  table.row("GPU processes, 100 MB", "GPU processes, 1 MB", kLeastRate);
  return table.run(argc, argv);
}

}  // namespace

}  // namespace tavrine::benchmarks

int main(int argc, char** argv) { return tavrine::benchmarks::run(argc, argv); }
