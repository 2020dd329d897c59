// What one host printed at one moment: a folder of plain text files, so that it can be kept, looked
// at, sent along with a report, and read again.
//
//   capture.json          whose it is, when it was taken, how each command ended
//   gpus.csv ...          what a command printed, under the names of `kCommandFiles`
//   runs/NAME/train.log   the end of a training log; runs/NAME/recorder.jsonl that of a recorder's
//   agent/NAME.json       what the agent on the host reports
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/record.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// One of the commands that are run on every host.
struct CommandFile {
  std::string_view command;  ///< its name
  std::string_view file;     ///< what it printed
};

namespace commands {

inline constexpr CommandFile kGPUs{"gpus", "gpus.csv"};
inline constexpr CommandFile kGPUProcesses{"gpu-processes", "gpu_processes.csv"};
inline constexpr CommandFile kProcesses{"processes", "processes.txt"};
inline constexpr CommandFile kLoad{"load", "loadavg.txt"};
inline constexpr CommandFile kDisks{"disks", "diskstats.txt"};
inline constexpr CommandFile kThermal{"thermal", "thermal.txt"};
inline constexpr CommandFile kDiskFree{"disk-free", "disk_free.txt"};

}  // namespace commands

/// All of them, in the order in which they are run.
inline constexpr auto kCommandFiles = std::to_array<CommandFile>({
    commands::kGPUs,
    commands::kGPUProcesses,
    commands::kProcesses,
    commands::kLoad,
    commands::kDisks,
    commands::kThermal,
    commands::kDiskFree,
});

inline constexpr std::string_view kCaptureInfoFile = "capture.json";
inline constexpr std::string_view kRunsFolder = "runs";
inline constexpr std::string_view kTrainingLogFile = "train.log";
inline constexpr std::string_view kRecorderLogFile = "recorder.jsonl";
inline constexpr std::string_view kAgentFolder = "agent";
inline constexpr std::string_view kAllReports = "reports";  ///< the NAME of all reports in one

/// The status with which a shell says that there is no such tool.
inline constexpr std::int64_t kToolIsMissing = 127;

/// How a command ended; or what was not kept of all files of a kind, if anything was not.
struct CommandResult {
  std::string command;                       ///< or the kind of files
  std::int64_t status;                       ///< as a shell has it
  std::optional<std::int64_t> cutBytes;      ///< more than the capture has
  std::optional<std::int64_t> leftOutFiles;  ///< likewise

  bool operator==(const CommandResult&) const = default;
  static const RecordTable& table();
};

/// Where the logs of a run are on their host.
struct CapturedRun {
  std::string name;
  std::optional<std::string> logPath;
  std::optional<double> logAgeSeconds;  ///< since it last changed
  std::optional<std::string> recorderPath;

  bool operator==(const CapturedRun&) const = default;
  static const RecordTable& table();
};

/// What capture.json holds.
struct CaptureInfo {
  std::string server;  ///< the name under which the host is shown
  std::string host;    ///< by which it is reached
  Timestamp takenAt;
  std::optional<std::string> problem;  ///< why the host did not answer, or not to the end
  std::vector<CommandResult> commands;
  std::vector<CapturedRun> runs;

  bool operator==(const CaptureInfo&) const = default;
  static const RecordTable& table();
};

/// In words, what of a command's output the capture does not have; empty when it has all.
std::string shortfall(const CommandResult& result);

struct Capture {
  CaptureInfo info;
  /// By path within the folder, parts joined by "/": "gpus.csv", "runs/NAME/train.log". Any bytes.
  std::map<std::string, std::string> texts;

  /// Null when there is no such file.
  const std::string* text(std::string_view file) const;
  /// Null when the command was not run, or nobody knows.
  const CommandResult* result(std::string_view command) const;
  const CapturedRun* run(std::string_view name) const;
};

/// `name` as one part of a path, whatever it is made of: "_" stands for what would make it several,
/// and in front of what would make it hidden, an option or nothing. At most `mostBytes` long, no
/// character cut. What it gives, it gives again for itself.
std::string asFileName(std::string_view name, std::size_t mostBytes = 200);

}  // namespace tavrine
