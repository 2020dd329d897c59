// What several records of the made-up lab must agree on: names, addresses, process ids, moments.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/gpu_server.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <vector>

namespace tavrine::SampleData {

/// The tick that is asked for, and the time at which it is.
struct Moment {
  std::int64_t tick;
  Timestamp now;

  double t() const { return static_cast<double>(tick); }
  Timestamp ago(double seconds) const { return now - std::chrono::duration<double>(seconds); }
  /// One tick in 21 shows what trouble looks like.
  bool isStalled() const { return tick % 21 == 0; }
};

inline double wave(double middle, double swing, double angle) {
  return middle + swing * std::sin(angle);
}

/// The first `count` GPUs of a server, `t` ticks after the beginning.
std::vector<GPUStat> gpusAt(double t, std::int64_t count);
inline constexpr std::int64_t kGPUsOfA = 4;
inline constexpr std::int64_t kGPUsOfB = 2;

struct SampleServer {
  const char* name;
  const char* address;
};
inline constexpr SampleServer kServerA{"gpu-lab-a", "10.0.1.42"};
inline constexpr SampleServer kServerB{"gpu-lab-b", "10.0.1.51"};
/// Reports about the lab as a whole, and not about one server, go by this name.
inline constexpr const char* kLab = "KELO-LAB: TAMBE";

inline constexpr const char* kLlamaRun = "llama-7b-sft-run-042";
inline constexpr const char* kVisionRun = "vision-ablation-b32";
/// The llama run's best checkpoint; an alert and an event tell of it.
inline constexpr double kBestCheckpointAge = 420;

/// A process that other records than the process table know.
struct SampleProcess {
  const char* owner;
  std::int64_t pid;
  const char* executable;
  const char* command;
};
inline constexpr SampleProcess kTraining{
    "tulo", 48211, "python", "python train.py --model llama-7b --dataset sft-v4 --bf16"};
inline constexpr SampleProcess kPreprocessing{
    "drun", 52904, "python", "python preprocess.py --dataset raw-videos --workers 12"};
inline constexpr SampleProcess kNotebook{
    "vemra", 63518, "jupyter-lab", "jupyter-lab --no-browser --port 8888"};
inline constexpr SampleProcess kSSHServer{"root", 1187, "sshd", "/usr/sbin/sshd -D"};

inline constexpr double kNotebookGPUMemoryMB = 6200;

/// Where tulo sits, as the login history and the open connections know it. As all public addresses
/// here, it is of a range set aside for documentation.
inline constexpr const char* kCampusAddress = "198.51.100.24";
inline constexpr const char* kCampusName = "Brenhall campus";

}  // namespace tavrine::SampleData
