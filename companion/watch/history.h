// What the GPUs did over the snapshots seen so far.
#pragma once

#include <TavrineShared/model/app_snapshot.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tavrine {

/// A figure that is kept; `memory` and `power` as shares of what there is, `utilization` as the
/// tool reports it, in percent.
enum class Figure : std::uint8_t { utilization, memory, power };

class History {
 public:
  /// So many snapshots are remembered.
  static constexpr std::size_t kLength = 120;

  /// Adds what a snapshot says. One of the same time as the last one added is the same one again,
  /// and adds nothing.
  void add(const AppSnapshot& snapshot);

  /// The newest `count` values of a GPU, oldest first; none for a snapshot that lacked it. Shorter
  /// where fewer snapshots have been seen.
  std::vector<std::optional<double>> ofGPU(std::string_view serverName, std::int64_t index,
                                           Figure figure, std::size_t count) const;
  /// The same over the whole lab: mean utilisation, the share of all memory, and watts.
  std::vector<std::optional<double>> ofLab(Figure figure, std::size_t count) const;

 private:
  struct Sample {
    std::uint64_t number;
    std::array<double, 3> figures;
  };
  using Samples = std::deque<Sample>;

  std::vector<std::optional<double>> newest(const Samples& samples, Figure figure,
                                            std::size_t count) const;
  void note(Samples& samples, const std::array<double, 3>& figures) const;
  void forgetWhatIsGone();

  std::uint64_t count_ = 0;  // of snapshots so far
  std::optional<Timestamp> last_;
  Samples lab_;
  std::unordered_map<std::string, Samples> gpus_;
};

}  // namespace tavrine
