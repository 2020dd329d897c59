// One refresh of a lab of 200 servers from its captures: read, assembled, put into JSON. Beside it
// a Python script that takes the same files apart, which is what a lab writes for itself.

#include <TavrineShared/model/json_conventions.h>

#include "benchmarks/comparison.h"
#include "companion/assemble/assemble.h"
#include "companion/capture/capture_folder.h"

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace tavrine::benchmarks {

namespace {

namespace fs = std::filesystem;

template <class... Arguments>
std::string line(const char* format, Arguments... arguments) {
  char buffer[512];  // NOLINT: for snprintf
  const int length = std::snprintf(buffer, sizeof buffer, format, arguments...);
  return {buffer, static_cast<std::size_t>(length)};
}

std::string makeGPUs(unsigned server) {
  std::string text =
      "index, name, utilization.gpu [%], memory.used [MiB], memory.total [MiB], temperature.gpu, "
      "power.draw [W], power.limit [W], fan.speed [%], clocks.sm [MHz], clocks.mem [MHz], "
      "ecc.errors.uncorrected.volatile.total, pcie.link.gen.current, pcie.link.width.current, "
      "pstate\n";
  for (unsigned i = 0; i < 8; ++i) {
    text += line(
        "%u, NVIDIA H100 80GB HBM3, %u %%, %u MiB, 81559 MiB, %u, %u.%02u W, 700.00 W, "
        "[N/A], 1980 MHz, 2619 MHz, 0, 5, 16, P0\n",
        i,
        (server * 7 + i * 13) % 100,
        10000 + (server * 977 + i * 3571) % 70000,
        40 + (server + i) % 40,
        100 + (server * 31 + i) % 500,
        i * 7);
  }
  return text;
}

std::string makeProcesses(unsigned server) {
  std::string text =
      "    PID    PPID USER                             STAT %CPU %MEM     ELAPSED   RSS COMMAND "
      "        COMMAND\n";
  for (unsigned i = 0; i < 400; ++i) {
    text += line("%7u %7u %-32s %-4s %4u.%u %4u.%u %11s %8u %-15s %s\n",
                 1000 + i,
                 i / 7 + 1,
                 i % 3 == 0 ? "root" : "ada",
                 "Sl",
                 (i * 31 + server) % 400,
                 i % 10,
                 i % 60,
                 i % 7,
                 "1-02:11:40",
                 i * 7919 % 9'000'000,
                 i % 5 == 0 ? "python3" : "kworker/3:1-eve",
                 i % 5 == 0 ? "/usr/bin/python3 -u train.py --data /data/shards --output_dir /ckpt"
                            : "[kworker/3:1-events]");
  }
  return text;
}

std::string makeGPUProcesses() {
  std::string text = "pid, process_name, used_gpu_memory [MiB], gpu_bus_id\n";
  for (unsigned i = 0; i < 8; ++i) {
    text += line("%u, /usr/bin/python3, %u MiB, 00000000:%02X:00.0\n", 1000 + i * 5, 61000 + i, i);
  }
  return text;
}

std::string makeTrainingLog(unsigned server) {
  std::string text = "args: --dataset imagenet --arch resnet50 batch_size=256 lr=3e-4 seed: 42\n";
  for (unsigned i = 1; text.size() < 200'000; ++i) {
    text += line("step %u | loss: %u.%04u | %u.%02u it/s | grad norm 0.%03u\n",
                 i * 10,
                 i % 4,
                 (i * 7919 + server) % 10000,
                 7 + i % 3,
                 i % 100,
                 i % 1000);
    if (i % 200 == 0) text += line("step %u val_loss: 1.%04u\n", i * 10, i % 10000);
  }
  return text;
}

std::string makeRecorderLog() {
  std::string text;
  for (unsigned i = 0; i < 600; ++i) {
    text += line(
        "{\"t\": %u.25, \"gpu_util\": %u.5, \"vram_mb\": 71234, \"power_w\": %u.5, "
        "\"dcgm\": {\"fp32_active\": 0.08, \"tensor_active\": 0.4%u, \"dram_active\": "
        "0.41, \"tflops_peak\": 989.0}",
        1763142000 + 10 * i,
        60 + i % 30,
        400 + i % 90,
        i % 10);
    if (i % 6 == 0) {
      text +=
          ", \"py_spy\": [{\"thread\": \"MainThread\", \"frames\": "
          "[\"torch/nn/modules/linear.py:forward:114\", \"model.py:forward:88\", "
          "\"train.py:main:212\"]}]";
    }
    text += "}\n";
  }
  return text;
}

Capture makeCapture(unsigned server) {
  Capture capture{};
  capture.info.server = line("gpu-%03u", server);
  capture.info.host = capture.info.server + ".lab";
  capture.info.takenAt = Timestamp(std::chrono::duration<double>(1763148000));
  for (const CommandFile& each : kCommandFiles) {
    capture.info.commands.push_back({std::string(each.command), 0, {}, {}});
  }
  capture.texts = {
      {"gpus.csv", makeGPUs(server)},
      {"gpu_processes.csv", makeGPUProcesses()},
      {"processes.txt", makeProcesses(server)},
      {"loadavg.txt", "12.40 11.87 10.02 7/1843 31882\n"},
      {"diskstats.txt",
       "---DPRE---\n 259 0 nvme0n1 1 0 918 9 7 9 120 4 0 8 4 0 0 0 0\n---DMID---\n"
       " 259 0 nvme0n1 1 0 1918 9 7 9 220 4 0 8 4 0 0 0 0\n---DEND---\n"},
      {"thermal.txt", "x86_pkg_temp\t64500\ncoretemp Core 0\t61500\n"},
      {"disk_free.txt",
       "Filesystem 1024-blocks Used Available Capacity Mounted on\n"
       "/dev/nvme0n1p2 3748905484 2469642764 1279262720 66% /\n"},
  };
  for (const char* const run : {"llama", "resnet"}) {
    capture.info.runs.push_back({run, {}, 4.0, {}});
    const std::string folder = std::string("runs/") + run + "/";
    capture.texts[folder + "train.log"] = makeTrainingLog(server);
    capture.texts[folder + "recorder.jsonl"] = makeRecorderLog();
  }
  return capture;
}

// A folder of captures that is gone in the end.
class Lab {
 public:
  explicit Lab(unsigned servers)
      : folder_(fs::temp_directory_path() / line("tavrine_lab_%d", static_cast<int>(::getpid()))) {
    for (unsigned i = 0; i < servers; ++i) {
      const Capture capture = makeCapture(i);
      for (const auto& [path, text] : capture.texts) bytes_ += text.size();
      writeCapture(capture, captureFolder(folder_, capture.info.server));
    }
  }
  Lab(const Lab&) = delete;
  Lab& operator=(const Lab&) = delete;
  ~Lab() { fs::remove_all(folder_); }

  const fs::path& folder() const { return folder_; }
  std::size_t bytes() const { return bytes_; }

 private:
  fs::path folder_;
  std::size_t bytes_ = 0;
};

std::string refresh(const Lab& lab) {
  std::vector<Capture> captures;
  Findings findings;
  for (const auto& entry : fs::directory_iterator(lab.folder())) {
    captures.push_back(readCapture(entry.path(), findings));
  }
  return encode(assemble(captures, nullptr).snapshot, JSONStyle::pretty);
}

int run(int argc, char** argv) {
  const Lab lab(200);
  const std::string script = std::string(TAVRINE_SOURCE_DIR) + "/benchmarks/lab_in_python.py";
  Comparison table("One refresh of a lab of 200 servers, from its captures");
  table.making("refresh", lab.bytes(), [&lab] { return refresh(lab); });
  table.program("Python", lab.bytes(), "python3 '" + script + "' '" + lab.folder().string() + "'");
  table.row("refresh", "Python", 10);
  table.figure("refresh", bestSeconds(5, [&] { benchmark::DoNotOptimize(refresh(lab)); }), "s", 2);
  const std::size_t peak = peakAllocation([&] { benchmark::DoNotOptimize(refresh(lab)); });
  table.figure("peak memory over the captures'",
               static_cast<double>(peak) / static_cast<double>(lab.bytes()),
               "",
               3);
  return table.run(argc, argv);
}

}  // namespace

}  // namespace tavrine::benchmarks

int main(int argc, char** argv) { return tavrine::benchmarks::run(argc, argv); }
