#include <TavrineShared/parsers/disk_io_parser.h>

#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/line_teller.h>
#include <TavrineShared/parsers/text_rules.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace tavrine::DiskIOParser {

namespace {

constexpr std::size_t kNeededFields = 11;
constexpr std::size_t kName = 2;
constexpr std::size_t kSectorsRead = 5;
constexpr std::size_t kSectorsWritten = 9;
constexpr double kShortestInterval = 0.001;

struct Device {
  std::string name;
  double sectorsRead;
  double sectorsWritten;
  LineTeller line;  // that they were read from
};

// The devices of one sample, in the order in which it first names them.
class Sample {
 public:
  void add(Device device) {
    const auto [known, isNew] = places_.try_emplace(device.name, devices_.size());
    if (isNew) {
      devices_.push_back(std::move(device));
      return;
    }
    Device& earlier = devices_[known->second];
    earlier.line.tellLine(FindingOutcome::lineDropped, "a later line for the same device counts");
    earlier = std::move(device);
  }

  const Device* find(const std::string& name) const {
    const auto found = places_.find(name);
    return found == places_.end() ? nullptr : &devices_[found->second];
  }

  const std::vector<Device>& devices() const { return devices_; }

 private:
  std::vector<Device> devices_;
  std::unordered_map<std::string, std::size_t> places_;
};

struct Samples {
  Sample first;
  Sample second;
};

void readDevice(const LineTeller& line, Sample& sample) {
  std::array<std::string_view, kNeededFields> fields;
  std::string_view rest = line.line();
  for (std::string_view& field : fields) {
    field = takeWord(rest);
    if (field.empty()) return line.tellLine(FindingOutcome::lineDropped, "fewer than 11 fields");
  }
  if (fields[kName].starts_with("loop") || fields[kName].starts_with("ram")) {
    return line.tellLine(FindingOutcome::leftOut, "a loop or RAM device");
  }
  const std::optional<double> sectorsRead = readFloat(fields[kSectorsRead]);
  const std::optional<double> sectorsWritten = readFloat(fields[kSectorsWritten]);
  if (!sectorsRead || !sectorsWritten) {
    return line.tellLine(FindingOutcome::lineDropped,
                         !sectorsRead ? "the sectors read are not a number"
                                      : "the sectors written are not a number");
  }
  sample.add({.name = line.text(fields[kName], kFieldName<&DiskIORate::device>),
              .sectorsRead = *sectorsRead,
              .sectorsWritten = *sectorsWritten,
              .line = line});
}

Samples readSamples(std::string_view text, Findings* findings) {
  Samples samples;
  Sample* sample = nullptr;
  std::string_view whyNone = "before the marker ---DPRE---";
  for (LineCursor lines(text); lines.next();) {
    const std::string_view content = trimmed(lines.line());
    const LineTeller line(lines.line(), lines.lineNumber(), findings);
    if (content == "---DPRE---") {
      sample = &samples.first;
    } else if (content == "---DMID---") {
      sample = &samples.second;
    } else if (content == "---DEND---") {
      sample = nullptr;
      whyNone = "behind the marker ---DEND---";
    } else if (content.empty()) {
      continue;
    } else if (sample != nullptr) {
      readDevice(line, *sample);
    } else {
      line.tellLine(FindingOutcome::lineDropped, whyNone);
    }
  }
  return samples;
}

// How one counter of a device grew.
class Rates {
 public:
  Rates(double sectorSizeBytes, double intervalSeconds)
      : sectorSizeBytes_(sectorSizeBytes),
        // A NaN is not longer than the shortest, either.
        interval_(intervalSeconds > kShortestInterval ? intervalSeconds : kShortestInterval) {}

  double rate(double first, double second, const LineTeller& line, std::string_view field) const {
    constexpr double kBytesPerKB = 1024;
    const double rate = (second - first) * sectorSizeBytes_ / kBytesPerKB / interval_;
    if (rate >= 0) return rate;
    line.tellField(FindingOutcome::readAsZero,
                   field,
                   std::isnan(rate) ? "not a number" : "the counter went backwards");
    return 0;
  }

 private:
  double sectorSizeBytes_;
  double interval_;
};

double total(const DiskIORate& rate) { return rate.readKBps + rate.writeKBps; }

}  // namespace

std::vector<DiskIORate> parse(std::string_view text, double sectorSizeBytes, double intervalSeconds,
                              Findings* findings) {
  using R = DiskIORate;
  const Samples samples = readSamples(text, findings);
  const Rates rates(sectorSizeBytes, intervalSeconds);
  if (findings != nullptr) {
    for (const Device& device : samples.first.devices()) {
      if (samples.second.find(device.name) == nullptr) {
        device.line.tellLine(FindingOutcome::lineDropped, "the device is not in the second sample");
      }
    }
  }
  std::vector<DiskIORate> result;
  for (const Device& device : samples.second.devices()) {
    const Device* const before = samples.first.find(device.name);
    if (before == nullptr) {
      device.line.tellLine(FindingOutcome::lineDropped, "the device is not in the first sample");
      continue;
    }
    R rate{
        .device = device.name,
        .readKBps = rates.rate(before->sectorsRead,
                               device.sectorsRead,
                               device.line,
                               kFieldName<&R::readKBps>),
        .writeKBps = rates.rate(before->sectorsWritten,
                                device.sectorsWritten,
                                device.line,
                                kFieldName<&R::writeKBps>),
        .utilizationPercent = std::nullopt,
    };
    if (rate.readKBps == 0 && rate.writeKBps == 0) {
      device.line.tellLine(FindingOutcome::leftOut, "the device neither read nor wrote");
      continue;
    }
    result.push_back(std::move(rate));
  }
  std::stable_sort(result.begin(), result.end(), [](const R& a, const R& b) {
    return total(a) > total(b);
  });
  return result;
}

}  // namespace tavrine::DiskIOParser
