// One row of a server's process table, and one process that holds memory on a GPU.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/record.h>
#include <TavrineShared/model/vocabulary.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace tavrine {

/// What a process is there for.
class ProcessKind : public Vocabulary<ProcessKind> {
 public:
  enum class Case : std::uint8_t { training, gpu, scheduler, notebook, system, other };
  static const ProcessKind training, gpu, scheduler, notebook, system, other;
  constexpr ProcessKind(Case value = Case::training) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::training, "training", "Training"},
      {Case::gpu, "gpu", "GPU"},
      {Case::scheduler, "scheduler", "Scheduler"},
      {Case::notebook, "notebook", "Notebook"},
      {Case::system, "system", "System"},
      {Case::other, "other", "Other"},
  });

 private:
  Case value_;
};
inline constexpr ProcessKind ProcessKind::training{Case::training};
inline constexpr ProcessKind ProcessKind::gpu{Case::gpu};
inline constexpr ProcessKind ProcessKind::scheduler{Case::scheduler};
inline constexpr ProcessKind ProcessKind::notebook{Case::notebook};
inline constexpr ProcessKind ProcessKind::system{Case::system};
inline constexpr ProcessKind ProcessKind::other{Case::other};

/// One process that holds memory on one GPU, as the GPU tool lists it.
struct GPUProcessStat {
  std::int64_t pid;
  std::string processName;
  double usedMemoryMB;  ///< MiB
  std::optional<std::string> gpuBusID;

  /// Such as "4123-00000000:17:00.0"; "4123-gpu" on no known bus.
  std::string id() const;

  bool operator==(const GPUProcessStat&) const = default;
  static const RecordTable& table();
};

/// One row of a server's process table.
struct ProcessStat {
  std::string serverName;
  std::int64_t pid;
  std::int64_t parentPID;
  std::string owner;  ///< user name
  std::string state;  ///< the letters that the process table shows
  double cpuPercent;  ///< above 100 on several cores
  double memoryPercent;
  std::int64_t residentMemoryKB;      ///< KiB
  std::optional<double> gpuMemoryMB;  ///< MiB
  std::optional<std::string> gpuBusID;
  std::string elapsed;  ///< as the process table prints it
  std::string executable;
  std::string command;  ///< the whole command line
  ProcessKind kind;
  Timestamp capturedAt;

  /// Such as "gpu-01-4123".
  std::string id() const;
  /// GiB.
  double residentMemoryGB() const;
  /// GiB.
  std::optional<double> gpuMemoryGB() const;

  /// A copy that knows what `gpu` says of the same process; without one, a plain copy. A bus that
  /// `gpu` does not know leaves this row's. Only the kind `other` turns into `gpu`: a process with
  /// a purpose keeps it. Pairing rows by pid is the caller's part; here pids are not compared.
  ProcessStat mergingGPU(const std::optional<GPUProcessStat>& gpu) const;

  bool operator==(const ProcessStat&) const = default;
  static const RecordTable& table();
};

}  // namespace tavrine
