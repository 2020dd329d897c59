#include "companion/assemble/server_state.h"

#include "companion/assemble/thresholds.h"
#include "companion/shell/encodable.h"

#include <TavrineShared/parsers/cpu_thermal_parser.h>
#include <TavrineShared/parsers/disk_io_parser.h>
#include <TavrineShared/parsers/gpu_process_stat_parser.h>
#include <TavrineShared/parsers/load_avg_parser.h>
#include <TavrineShared/parsers/nvidia_smi_parser.h>
#include <TavrineShared/parsers/process_stat_parser.h>
#include <TavrineShared/parsers/text_rules.h>

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace tavrine {

namespace {

class ServerReader {
 public:
  ServerReader(const Capture& capture, FindingsBook& book) : capture_(capture), book_(book) {}

  ServerState read() {
    ServerState server{};
    server.name = capture_.info.server;
    server.host = capture_.info.host;
    server.takenAt = capture_.info.takenAt;
    server.problem = capture_.info.problem;
    server.connection = connection();
    tellCut();
    tellNoTool();
    server.gpus = gpus();
    server.gpusAreKnown = output(commands::kGPUs) != nullptr && hasAnswered(commands::kGPUs);
    server.processes = processes();
    pairWithGPUs(server);
    server.sensors = sensors();
    if (const std::string* const text = output(commands::kDiskFree)) {
      server.disk = parseDiskFree(*text, &opened(commands::kDiskFree.file));
    }
    return server;
  }

 private:
  Findings& opened(std::string_view file) {
    return book_.open(capture_.info.server + "/" + std::string(file));
  }

  // What was not kept of a host that prints too much is lost, too.
  void tellCut() {
    for (const CommandResult& result : capture_.info.commands) {
      std::string lost = shortfall(result);
      if (lost.empty()) continue;
      opened(result.command).add(FindingOutcome::ignored, [&lost] {
        Finding finding{};
        finding.reason = std::move(lost);
        return finding;
      });
    }
  }

  const std::string* output(const CommandFile& of) const { return capture_.text(of.file); }

  // A capture that does not say how a command ended has what it printed all the same.
  bool hasAnswered(const CommandFile& of) const {
    const CommandResult* const result = capture_.result(of.command);
    return result == nullptr || result->status == 0;
  }

  // Who has answered to the end that it has none of the tools is there all the same.
  bool hasNoTool() const {
    const std::vector<CommandResult>& commands = capture_.info.commands;
    return capture_.texts.empty() && !capture_.info.problem && !commands.empty() &&
           std::all_of(commands.begin(), commands.end(), [](const CommandResult& each) {
             return each.status == kToolIsMissing;
           });
  }

  void tellNoTool() {
    if (!hasNoTool()) return;
    opened(commands::kGPUs.command).add(FindingOutcome::readAsAbsent, [] {
      Finding finding{};
      finding.reason = "the host has neither this tool nor any other that is asked for";
      return finding;
    });
  }

  ServerConnectionState connection() const {
    if (capture_.texts.empty() && !hasNoTool()) return ServerConnectionState::offline;
    const bool isWhole =
        !capture_.texts.empty() && !capture_.info.problem &&
        std::all_of(kCommandFiles.begin(), kCommandFiles.end(), [this](const CommandFile& each) {
          const CommandResult* const result = capture_.result(each.command);
          const bool isMissing = result != nullptr && result->status == kToolIsMissing;
          return isMissing || (hasAnswered(each) && output(each) != nullptr);
        });
    return isWhole ? ServerConnectionState::connected : ServerConnectionState::degraded;
  }

  std::vector<GPUStat> gpus() {
    const std::string* const text = output(commands::kGPUs);
    if (text == nullptr) return {};
    Findings& findings = opened(commands::kGPUs.file);
    std::vector<GPUStat> gpus =
        NVIDIASMIParser::isFatal(*text)
            ? NVIDIASMIParser::parseCSV(withoutFatalLines(*text, findings), &findings)
            : NVIDIASMIParser::parseCSV(*text, &findings);
    keepEncodable(gpus, "gpus", findings);
    return gpus;
  }

  // No host may stop us by what it prints. The line breaks stay, so that lines keep their numbers.
  static std::string withoutFatalLines(std::string_view text, Findings& findings) {
    std::string kept;
    const char* from = text.data();
    for (LineCursor lines(text); lines.next();) {
      if (!NVIDIASMIParser::isFatal(lines.line())) continue;
      kept.append(from, lines.line().data());
      from = lines.line().data() + lines.line().size();
      findings.add(FindingOutcome::lineDropped, [&lines] {
        Finding finding{};
        finding.line = static_cast<std::int64_t>(lines.lineNumber());
        finding.found = excerpt(lines.line());
        finding.reason = "a counter that no counter can be";
        return finding;
      });
    }
    return kept.append(from, text.data() + text.size());
  }

  std::vector<ProcessStat> processes() {
    const std::string* const text = output(commands::kProcesses);
    if (text == nullptr) return {};
    Findings& findings = opened(commands::kProcesses.file);
    std::vector<ProcessStat> rows =
        ProcessStatParser::parse(*text, capture_.info.server, capture_.info.takenAt, &findings);
    keepEncodable(rows, "processes", findings);
    return rows;
  }

  // A process on several GPUs is one row of the table: it holds the memory of all of them.
  void pairWithGPUs(ServerState& server) {
    const std::string* const text = output(commands::kGPUProcesses);
    if (text == nullptr) return;
    Findings& findings = opened(commands::kGPUProcesses.file);
    std::vector<GPUProcessStat> holders = GPUProcessStatParser::parse(*text, &findings);
    keepEncodable(holders, "gpuProcesses", findings);
    std::unordered_map<std::int64_t, std::size_t> places;
    std::vector<GPUProcessStat> byProcess;
    for (GPUProcessStat& holder : holders) {
      const auto [place, isNew] = places.try_emplace(holder.pid, byProcess.size());
      if (isNew) {
        byProcess.push_back(std::move(holder));
      } else {
        byProcess[place->second].usedMemoryMB += holder.usedMemoryMB;
      }
    }
    std::vector<bool> isPaired(byProcess.size());
    for (ProcessStat& process : server.processes) {
      const auto place = places.find(process.pid);
      if (place == places.end()) continue;
      process = process.mergingGPU(byProcess[place->second]);
      isPaired[place->second] = true;
    }
    keepEncodable(server.processes, "processes", findings);  // a sum may be beyond any number
    if (output(commands::kProcesses) == nullptr) return;     // then nobody can tell
    for (std::size_t i = 0; i < byProcess.size(); ++i) {
      if (!isPaired[i] && byProcess[i].usedMemoryMB >= thresholds::kOrphanMB) {
        server.orphans.push_back(byProcess[i]);
      }
    }
  }

  std::optional<SystemSensors> sensors() {
    constexpr double kSectorBytes = 512;
    constexpr double kSecondsBetween = 1;
    SystemSensors sensors{};
    sensors.serverName = capture_.info.server;
    sensors.capturedAt = capture_.info.takenAt;
    if (const std::string* const text = output(commands::kThermal)) {
      Findings& findings = opened(commands::kThermal.file);
      sensors.cpuTemperatures = CPUThermalParser::parse(*text, &findings);
    }
    if (const std::string* const text = output(commands::kDisks)) {
      Findings& findings = opened(commands::kDisks.file);
      sensors.diskIO = DiskIOParser::parse(*text, kSectorBytes, kSecondsBetween, &findings);
      keepEncodable(sensors.diskIO, "diskIO", findings);
    }
    if (const std::string* const text = output(commands::kLoad)) {
      Findings& findings = opened(commands::kLoad.file);
      sensors.loadAverage = LoadAvgParser::parse(*text, &findings);
      keepEncodable(sensors.loadAverage, "loadAverage", findings);
    }
    const bool isEmpty =
        sensors.cpuTemperatures.empty() && sensors.diskIO.empty() && sensors.loadAverage.empty();
    return isEmpty ? std::nullopt : std::optional(std::move(sensors));
  }

  const Capture& capture_;
  FindingsBook& book_;
};

}  // namespace

ServerState readServer(const Capture& capture, FindingsBook& book) {
  return ServerReader(capture, book).read();
}

}  // namespace tavrine
