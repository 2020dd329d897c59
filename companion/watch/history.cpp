#include "companion/watch/history.h"

#include <algorithm>

namespace tavrine {

namespace {

// A server's name may hold any character, an index never a slash.
std::string keyOf(std::string_view serverName, std::int64_t index) {
  return std::to_string(index).append("/").append(serverName);
}

std::array<double, 3> figuresOf(const GPUStat& gpu) {
  return {gpu.utilizationPercent, gpu.memoryFraction(), gpu.powerFraction()};
}

std::array<double, 3> figuresOf(const AppSnapshot& snapshot) {
  double used = 0;
  double total = 0;
  for (const ServerSummary& server : snapshot.servers) {
    for (const GPUStat& gpu : server.gpus) {
      used += gpu.memoryUsedMB;
      total += gpu.memoryTotalMB;
    }
  }
  return {snapshot.averageGPUUtilization(),
          total > 0 ? used / total : 0,
          snapshot.totalPowerDrawW()};
}

}  // namespace

void History::add(const AppSnapshot& snapshot) {
  if (last_ == snapshot.timestamp) return;
  last_ = snapshot.timestamp;
  ++count_;
  note(lab_, figuresOf(snapshot));
  for (const ServerSummary& server : snapshot.servers) {
    for (const GPUStat& gpu : server.gpus) {
      note(gpus_[keyOf(server.name, gpu.index)], figuresOf(gpu));
    }
  }
  forgetWhatIsGone();
}

std::vector<std::optional<double>> History::ofGPU(std::string_view serverName, std::int64_t index,
                                                  Figure figure, std::size_t count) const {
  const auto found = gpus_.find(keyOf(serverName, index));
  static const Samples kNone;
  return newest(found == gpus_.end() ? kNone : found->second, figure, count);
}

std::vector<std::optional<double>> History::ofLab(Figure figure, std::size_t count) const {
  return newest(lab_, figure, count);
}

std::vector<std::optional<double>> History::newest(const Samples& samples, Figure figure,
                                                   std::size_t count) const {
  const std::size_t seen = std::min<std::size_t>(count_, kLength);
  std::vector<std::optional<double>> values(std::min(count, seen));
  for (const Sample& sample : samples) {
    const std::uint64_t age = count_ - sample.number;
    if (age < values.size()) {
      values[values.size() - 1 - age] = sample.figures[static_cast<std::size_t>(figure)];
    }
  }
  return values;
}

void History::note(Samples& samples, const std::array<double, 3>& figures) const {
  // Two GPUs of one name cannot be told apart; the last one counts, as on the screen.
  if (!samples.empty() && samples.back().number == count_) samples.pop_back();
  samples.push_back({count_, figures});
  if (samples.size() > kLength) samples.pop_front();
}

void History::forgetWhatIsGone() {
  std::erase_if(gpus_, [this](const auto& entry) {
    return count_ - entry.second.back().number >= kLength;
  });
}

}  // namespace tavrine
