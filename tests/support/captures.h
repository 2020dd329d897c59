// Captures as a host in good health gives them, to be changed by each test.
#pragma once

#include "companion/capture/capture.h"

#include <TavrineShared/model/json_conventions.h>

#include <string>
#include <string_view>
#include <utility>

#include "tests/support/documents.h"

namespace tavrine {

/// When these captures were taken: 2026-11-15T17:48:25Z.
inline constexpr Timestamp kCaptureTime = at(1794764905);

inline constexpr std::string_view kProcessHeading =
    "    PID    PPID USER STAT %CPU %MEM     ELAPSED   RSS COMMAND COMMAND\n";

/// A row of the GPU query.
inline std::string gpuRow(int index, double utilization, double usedMB, double temperature) {
  // Not by std::to_string, which has a decimal comma in some countries.
  return std::to_string(index) + ", NVIDIA L40S, " + encode(utilization) + " %, " + encode(usedMB) +
         " MiB, 1000 MiB, " + encode(temperature) + ", 100.00 W, 350.00 W\n";
}

/// A row of the process table.
inline std::string processRow(int pid, std::string_view command) {
  return std::to_string(pid) + " 1 ada R 99.0 1.0 10:00 1024 python " + std::string(command) + "\n";
}

/// One GPU at 50 %, nothing that trains, and a disk that is half full; every command ended well.
inline Capture healthyCapture(std::string server = "gpu-01") {
  Capture capture{};
  capture.info.server = std::move(server);
  capture.info.host = capture.info.server + ".lab";
  capture.info.takenAt = kCaptureTime;
  for (const CommandFile& each : kCommandFiles) {
    capture.info.commands.push_back(
        {.command = std::string(each.command), .status = 0, .cutBytes = {}, .leftOutFiles = {}});
  }
  capture.texts = {
      {"gpus.csv", gpuRow(0, 50, 500, 60)},
      {"gpu_processes.csv", "pid, process_name, used_gpu_memory [MiB], gpu_bus_id\n"},
      {"processes.txt", std::string(kProcessHeading) + processRow(100, "editor notes.txt")},
      {"loadavg.txt", "0.50 0.25 0.10 1/200 300\n"},
      {"diskstats.txt", "---DPRE---\n---DMID---\n---DEND---\n"},
      {"thermal.txt", "x86_pkg_temp\t45000\n"},
      {"disk_free.txt",
       "Filesystem 1024-blocks Used Available Capacity Mounted on\n"
       "/dev/sda1 100 50 50 50% /\n"},
  };
  return capture;
}

}  // namespace tavrine
