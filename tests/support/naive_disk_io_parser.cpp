// Every look-up walks a list, and the busiest is searched anew for each place.
#include "tests/support/naive_disk_io_parser.h"

#include <cmath>
#include <optional>
#include <string>

#include "tests/support/naive_text.h"

namespace tavrine::naive {
namespace {

struct Device {
  std::string name;
  double sectorsRead;
  double sectorsWritten;
};

using Sample = std::vector<Device>;

Device* find(Sample& sample, const std::string& name) {
  for (Device& device : sample) {
    if (device.name == name) return &device;
  }
  return nullptr;
}

std::vector<std::u32string> wordsOf(const std::u32string& line) {
  std::vector<std::u32string> words(1);
  for (const char32_t c : line) {
    if (trimmed(std::u32string(1, c)).empty()) {
      if (!words.back().empty()) words.emplace_back();
    } else {
      words.back() += c;
    }
  }
  if (words.back().empty()) words.pop_back();
  return words;
}

void readDevice(const std::u32string& line, Sample& sample, DiskLosses& losses) {
  const std::vector<std::u32string> words = wordsOf(line);
  if (words.size() <= 10) {
    ++losses.lines;
    return;
  }
  if (words[2].compare(0, 4, U"loop") == 0 || words[2].compare(0, 3, U"ram") == 0) {
    ++losses.leftOut;
    return;
  }
  const std::optional<double> sectorsRead = readFloat(words[5]);
  const std::optional<double> sectorsWritten = readFloat(words[9]);
  if (!sectorsRead || !sectorsWritten) {
    ++losses.lines;
    return;
  }
  const Device device{encodedUTF8(words[2]), *sectorsRead, *sectorsWritten};
  if (Device* const earlier = find(sample, device.name)) {
    ++losses.lines;
    *earlier = device;
  } else {
    sample.push_back(device);
  }
}

double rateOf(double first, double second, double sectorSizeBytes, double interval,
              DiskLosses& losses) {
  const double rate = (second - first) * sectorSizeBytes / 1024 / interval;
  if (!std::isnan(rate) && !(rate < 0)) return rate;
  ++losses.readAsZero;
  return 0;
}

}  // namespace

std::vector<DiskIORate> parseDisks(std::string_view text, double sectorSizeBytes,
                                   double intervalSeconds, DiskLosses* losses) {
  double interval = intervalSeconds;
  if (std::isnan(interval) || interval < 0.001) interval = 0.001;
  Sample first;
  Sample second;
  Sample* current = nullptr;
  DiskLosses lost;
  for (const Line& line : linesOf(decodedUTF8(text))) {
    const std::u32string content = trimmed(line.characters);
    if (content == U"---DPRE---") {
      current = &first;
    } else if (content == U"---DMID---") {
      current = &second;
    } else if (content == U"---DEND---") {
      current = nullptr;
    } else if (current != nullptr && !content.empty()) {
      readDevice(content, *current, lost);
    } else if (!content.empty()) {
      ++lost.lines;
    }
  }
  for (const Device& device : first) {
    if (find(second, device.name) == nullptr) ++lost.lines;
  }
  std::vector<DiskIORate> rates;
  for (const Device& device : second) {
    const Device* const before = find(first, device.name);
    if (before == nullptr) {
      ++lost.lines;
      continue;
    }
    const double read =
        rateOf(before->sectorsRead, device.sectorsRead, sectorSizeBytes, interval, lost);
    const double write =
        rateOf(before->sectorsWritten, device.sectorsWritten, sectorSizeBytes, interval, lost);
    if (read == 0 && write == 0) {
      ++lost.leftOut;
    } else {
      rates.push_back({device.name, read, write, std::nullopt});
    }
  }
  std::vector<DiskIORate> sorted;
  while (!rates.empty()) {
    std::size_t busiest = 0;
    for (std::size_t i = 1; i < rates.size(); ++i) {
      if (rates[i].readKBps + rates[i].writeKBps >
          rates[busiest].readKBps + rates[busiest].writeKBps) {
        busiest = i;
      }
    }
    sorted.push_back(rates[busiest]);
    rates.erase(rates.begin() + static_cast<std::ptrdiff_t>(busiest));
  }
  if (losses != nullptr) *losses = lost;
  return sorted;
}

bool areSameBits(const std::vector<DiskIORate>& a, const std::vector<DiskIORate>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i].device != b[i].device || !areSameBits(a[i].readKBps, b[i].readKBps) ||
        !areSameBits(a[i].writeKBps, b[i].writeKBps) || a[i].utilizationPercent ||
        b[i].utilizationPercent) {
      return false;
    }
  }
  return true;
}

}  // namespace tavrine::naive
