#include <TavrineShared/demo/sample_people.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

namespace tavrine::SampleData {

namespace {

// Both hosts have 504 GiB of memory.
std::vector<ProcessStat> processTable(const Moment& moment) {
  const double t = moment.t();
  const double w = std::sin(t / 5);
  return {
      {.serverName = kServerA.name,
       .pid = kTraining.pid,
       .parentPID = 47990,
       .owner = kTraining.owner,
       .state = "R",
       .cpuPercent = 388.4 + 18 * std::sin(0.25 * t),
       .memoryPercent = 18.2,
       .residentMemoryKB = 96146972,
       .gpuMemoryMB = 48600,
       .gpuBusID = "00000000:1B:00.0",
       .elapsed = "05:12:42",
       .executable = kTraining.executable,
       .command = kTraining.command,
       .kind = ProcessKind::training,
       .capturedAt = moment.now},
      {.serverName = kServerA.name,
       .pid = 48237,
       .parentPID = 47990,
       .owner = "tulo",
       .state = "S",
       .cpuPercent = 176.1 + 12 * w,
       .memoryPercent = 12.9,
       .residentMemoryKB = 68148128,
       .gpuMemoryMB = {},
       .gpuBusID = {},
       .elapsed = "05:12:38",
       .executable = "torchrun",
       .command = "torchrun --nproc_per_node=4 train.py --config configs/sft.yaml",
       .kind = ProcessKind::training,
       .capturedAt = moment.now},
      {.serverName = kServerB.name,
       .pid = 61840,
       .parentPID = 61702,
       .owner = "kesho",
       .state = "R",
       .cpuPercent = 142.8 + 10 * w,
       .memoryPercent = 9.1,
       .residentMemoryKB = 48073486,
       .gpuMemoryMB = 41800,
       .gpuBusID = "00000000:1B:00.0",
       .elapsed = "02:17:06",
       .executable = "accelerate",
       .command = "accelerate launch train_diffusion.py --config configs/ablation.yaml",
       .kind = ProcessKind::training,
       .capturedAt = moment.now},
      {.serverName = kServerA.name,
       .pid = kPreprocessing.pid,
       .parentPID = 52880,
       .owner = kPreprocessing.owner,
       .state = "S",
       .cpuPercent = 64.2 + 8 * std::sin(t / 4),
       .memoryPercent = 6.3,
       .residentMemoryKB = 33281644,
       .gpuMemoryMB = {},
       .gpuBusID = {},
       .elapsed = "00:43:19",
       .executable = kPreprocessing.executable,
       .command = kPreprocessing.command,
       .kind = ProcessKind::other,
       .capturedAt = moment.now},
      {.serverName = kServerB.name,
       .pid = kNotebook.pid,
       .parentPID = 63490,
       .owner = kNotebook.owner,
       .state = "S",
       .cpuPercent = 12.6,
       .memoryPercent = 0.4,
       .residentMemoryKB = 2310000,
       .gpuMemoryMB = kNotebookGPUMemoryMB,
       .gpuBusID = "00000000:43:00.0",
       .elapsed = "01:08:04",
       .executable = kNotebook.executable,
       .command = kNotebook.command,
       .kind = ProcessKind::notebook,
       .capturedAt = moment.now},
      {.serverName = kServerA.name,
       .pid = kSSHServer.pid,
       .parentPID = 1,
       .owner = kSSHServer.owner,
       .state = "S",
       .cpuPercent = 0.1,
       .memoryPercent = 0,
       .residentMemoryKB = 82000,
       .gpuMemoryMB = {},
       .gpuBusID = {},
       .elapsed = "9-03:44:02",
       .executable = kSSHServer.executable,
       .command = kSSHServer.command,
       .kind = ProcessKind::system,
       .capturedAt = moment.now},
  };
}

// --- People ---

constexpr const char* kCountryCode = "US";
constexpr const char* kCountryName = "United States";
constexpr const char* kCountryFlag = "\U0001F1FA\U0001F1F8";

ConnectionSource campusSource(const char* address, bool isCurrent) {
  return {.source = address,
          .displayName = kCampusName,
          .kind = ConnectionSourceKind::campusNetwork,
          .vpnProbability = 0.03,
          .evidence = "Address belongs to the campus network.",
          .isCurrent = isCurrent,
          .countryCode = kCountryCode,
          .countryName = kCountryName,
          .countryFlag = kCountryFlag,
          .networkLabel = kCampusName};
}

ConnectionSource meshVPNSource() {
  return {.source = "100.85.133.210",
          .displayName = "Mesh VPN",
          .kind = ConnectionSourceKind::vpnLikely,
          .vpnProbability = 0.85,
          .evidence =
              "Endpoint is in the 100.64.0.0/10 CGNAT range commonly used by mesh VPN "
              "clients.",
          .isCurrent = true,
          .countryCode = {},
          .countryName = {},
          .countryFlag = {},
          .networkLabel = "Mesh VPN"};
}

ConnectionSource labSource(const char* address, bool isCurrent) {
  return {.source = address,
          .displayName = "Lab network",
          .kind = ConnectionSourceKind::privateNetwork,
          .vpnProbability = 0.05,
          .evidence = "Address is in the private range 10.0.0.0/8.",
          .isCurrent = isCurrent,
          .countryCode = {},
          .countryName = {},
          .countryFlag = {},
          .networkLabel = "KELO lab"};
}

ConnectionSource publicSource(const char* address) {
  return {.source = address,
          .displayName = address,
          .kind = ConnectionSourceKind::publicInternet,
          .vpnProbability = 0.2,
          .evidence = "Public address outside the known networks.",
          .isCurrent = false,
          .countryCode = kCountryCode,
          .countryName = kCountryName,
          .countryFlag = kCountryFlag,
          .networkLabel = "Residential broadband"};
}

ConnectionSource tmuxSource(const char* session) {
  return {.source = session,
          .displayName = session,
          .kind = ConnectionSourceKind::tmuxSession,
          .vpnProbability = 0,
          .evidence = "Runs inside a tmux session on the server.",
          .isCurrent = true,
          .countryCode = {},
          .countryName = {},
          .countryFlag = {},
          .networkLabel = {}};
}

// What is known of a person besides the processes.
struct Person {
  const char* username;
  std::int64_t loginCount;
  const char* lastLogin;
  std::vector<std::string> recentCommands;
  std::vector<ConnectionSource> connectionSources;
};

// The logins fit the processes. Were it that Saturday at 13:10, each process would have begun
// within its owner's last session; only tulo's is from a session before.
std::vector<Person> people() {
  return {
      {.username = kPreprocessing.owner,
       .loginCount = 4,
       .lastLogin = "Sat May 2 11:08 - 12:41",
       .recentCommands = {"tmux new -s frames", "df -h /scratch", "ls raw-videos | wc -l"},
       .connectionSources = {campusSource("198.51.100.52", false), tmuxSource("tmux:frames")}},
      {.username = "kesho",
       .loginCount = 9,
       .lastLogin = "Sat May 2 10:22 - still logged in",
       .recentCommands = {"git pull", "accelerate config", "watch -n 5 nvidia-smi"},
       .connectionSources = {meshVPNSource(), campusSource("198.51.100.31", false)}},
      {.username = kTraining.owner,
       .loginCount = 12,
       .lastLogin = "Sat May 2 09:47 - still logged in",
       .recentCommands = {"tmux attach -t sft", "tail -f train.log", "nvidia-smi"},
       .connectionSources = {campusSource(kCampusAddress, true), tmuxSource("tmux:sft")}},
      {.username = "pelvane",
       .loginCount = 2,
       .lastLogin = "Fri May 1 18:12 - 21:03",
       .recentCommands = {"python eval.py --split test", "exit"},
       .connectionSources = {publicSource("203.0.113.9")}},
      {.username = "ombri",
       .loginCount = 1,
       .lastLogin = "Thu Apr 30 14:20 - 15:01",
       .recentCommands = {"conda env create -f environment.yml"},
       .connectionSources = {campusSource("198.51.100.87", false)}},
      {.username = kNotebook.owner,
       .loginCount = 5,
       .lastLogin = "Sat May 2 12:02 - still logged in",
       .recentCommands = {"source activate vision", "nvidia-smi"},
       .connectionSources = {labSource("10.0.3.17", true)}},
  };
}

StudentUsage usageOf(const Person& person, const std::vector<ProcessStat>& processes) {
  StudentUsage usage{.username = person.username,
                     .processCount = 0,
                     .trainingProcessCount = 0,
                     .cpuPercent = 0,
                     .memoryGB = 0,
                     .gpuMemoryGB = 0,
                     .loginCount = person.loginCount,
                     .lastLogin = person.lastLogin,
                     .activeCommands = {},
                     .recentCommands = person.recentCommands,
                     .connectionSources = person.connectionSources};
  for (const ProcessStat& process : processes) {
    if (process.owner != usage.username) continue;
    ++usage.processCount;
    if (process.kind == ProcessKind::training) ++usage.trainingProcessCount;
    usage.cpuPercent += process.cpuPercent;
    usage.memoryGB += process.residentMemoryGB();
    usage.gpuMemoryGB += process.gpuMemoryGB().value_or(0);
    usage.activeCommands.push_back(process.command);
  }
  return usage;
}

}  // namespace

std::vector<ProcessStat> sampleProcesses(const Moment& moment) {
  std::vector<ProcessStat> processes = processTable(moment);
  std::stable_sort(
      processes.begin(),
      processes.end(),
      [](const ProcessStat& a, const ProcessStat& b) { return a.cpuPercent > b.cpuPercent; });
  return processes;
}

UsageSummary sampleUsage(const Moment& moment, const std::vector<ProcessStat>& processes) {
  UsageSummary usage{
      .serverName = kLab,
      .generatedAt = moment.now,
      .days = 7,
      .summary =
          "Advisor read: tulo and kesho are actively using GPUs for training; vemra is "
          "holding notebook GPU memory; drun is CPU-bound on preprocessing. No critical "
          "intervention is required, but vemra's notebook should be checked if it remains "
          "idle.",
      .summarySource = "tavrine-advisor-rules",
      .students = {}};
  for (const Person& person : people()) usage.students.push_back(usageOf(person, processes));
  return usage;
}

}  // namespace tavrine::SampleData
