#include <TavrineShared/tavrine_shared.h>

#include <iostream>
#include <string_view>

using namespace tavrine;

void gpus() {
  const std::string_view output =
      "0, NVIDIA L40S, 97 %, 41872 MiB, 46068 MiB, 61, 312.42 W, 350.00 W, [N/A], 2490 MHz\n"
      "1, NVIDIA L40S, [N/A], 512 MiB, 46068 MiB, 34, 36.10 W, 350.00 W\n";
  for (const GPUStat& gpu : NVIDIASMIParser::parseCSV(output)) {
    std::cout << gpu.index << ": " << gpu.utilizationPercent << " % busy, "
              << 100 * gpu.memoryFraction() << " % of its memory in use, "
              << (gpu.smClockMHz ? "SM clock known" : "SM clock unknown") << '\n';
  }
}

void losses() {
  Findings findings;
  NVIDIASMIParser::parseCSV("1, NVIDIA L40S, [N/A], 512 MiB, 46068 MiB, 34, 36 W, 350 W\n",
                            &findings);
  for (const Finding& finding : findings.list()) {
    std::cout << "line " << *finding.line << ", column " << *finding.column << ": " << finding.found
              << " " << finding.outcome.title() << ", " << finding.reason << '\n';
  }
  std::cout << findings.lossCount() << " loss\n";
}

void gpuProcesses() {
  for (const GPUProcessStat& process :
       GPUProcessStatParser::parse("4123, python, 39872 MiB, 00000000:17:00.0\n")) {
    std::cout << process.id() << " holds " << process.usedMemoryMB << " MiB\n";
  }
}

void processes() {
  const std::string_view table =
      "4123 1 ada Rl 387 2.5 05:12:42 5812344 python python train.py --lr 1e-3\n"
      " 871 1 bo  Sl 0.1 0.1 12:01:07   81220 jupyter-lab jupyter-lab --port 8888\n";
  const auto rows = ProcessStatParser::parse(table, "gpu-01", currentTime());
  const auto onGPUs = GPUProcessStatParser::parse("4123, python, 39872 MiB, 00000000:17:00.0\n");
  for (const ProcessStat& row : rows) {
    std::cout << row.id() << " of " << row.owner << " is " << row.kind.title() << '\n';
  }
  const ProcessStat merged = rows.front().mergingGPU(onGPUs.front());
  std::cout << merged.command << ": " << merged.residentMemoryGB() << " GiB, "
            << *merged.gpuMemoryGB() << " GiB on " << *merged.gpuBusID << '\n';
}

void host() {
  for (const double load : LoadAvgParser::parse("0.52 0.58 0.59 2/1234 5678")) {
    std::cout << load << ' ';
  }
  std::cout << '\n';
  for (const CPUTemperature& sensor : CPUThermalParser::parse("x86_pkg_temp\t64500\nnvme\t0\n")) {
    std::cout << sensor.label << ": " << sensor.celsius << " C\n";
  }
  const std::string_view samples =
      "---DPRE---\n 259 0 nvme0n1 10 0 1000 0 20 0 4000 0 0 0 0\n"
      "---DMID---\n 259 0 nvme0n1 90 0 9000 0 25 0 4400 0 0 0 0\n"
      "---DEND---\n";
  for (const DiskIORate& disk : DiskIOParser::parse(samples, 512, 2)) {
    std::cout << disk.device << " reads " << disk.readKBps << " KiB/s, writes " << disk.writeKBps
              << " KiB/s\n";
  }
}

void trainingLog() {
  const std::string_view log =
      "optimizer: AdamW, lr: 3e-4\n"
      "step 100 loss: 2.31 1540.2 tokens/s\n"
      "step 200 loss: 2.02 1538.7 tokens/s\n"
      "step 200 val_loss: 2.11\n"
      "torch.cuda.OutOfMemoryError: CUDA out of memory.\n";
  Findings findings;
  const ParsedLogSignals signals = TrainingLogParser::parse(log, &findings);
  std::cout << signals.status.title() << ", loss " << signals.loss.value_or(0) << '\n';
  for (const auto& [name, value] : signals.hyperparameters) {
    std::cout << name << " = " << value << '\n';
  }
  for (const TrainingMetric& each : signals.valMetrics) {
    std::cout << "validation at step " << each.step << ": " << each.loss << '\n';
  }
  for (const Finding& finding : findings.told()) {
    std::cout << finding.path << " stands in line " << *finding.line << '\n';
  }
}

void recorderLog() {
  const std::string_view log =
      R"({"t": 1794764890, "gpu_util": 97.5, "power_w": 431.8})"
      "\n"
      R"({"t": 1794764880, "py_spy": [{"thread": "MainThread", "frames": ["model.py:forward:7"]}]})"
      "\n";
  const auto points = RecorderLineParser::parse(log);
  std::cout << points.size() << " points, the oldest of " << *iso8601Text(points.front().t) << '\n';
  const RecorderLogPoint* const newest = RecorderLineParser::latestSnapshot(points);
  std::cout << "newest utilisation: " << newest->gpuUtil.value_or(0) << " %\n";
  const auto stack = RecorderLineParser::latestStack(log);
  std::cout << "newest stack: " << stack->frames.front() << '\n';
}

void stacks() {
  const std::string_view dump =
      "Thread 4711 (active): \"MainThread\"\n"
      "    forward (model.py:210)\n"
      "    train (train.py:88)\n";
  for (const StackFrame& stack : PySpyDumpParser::parse(dump)) {
    std::cout << stack.thread << ": " << stack.frames.front() << ", "
              << RuntimePhase::classify(stack).rawValue() << '\n';
  }
}

int main() {
  gpus();
  losses();
  gpuProcesses();
  processes();
  host();
  trainingLog();
  recorderLog();
  stacks();
}
