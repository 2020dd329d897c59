// A recorder's log: 50 MB of JSON lines become points, beside nlohmann/json with its macros, which
// parses the same lines one by one.

#include <TavrineShared/recorder/recorder_line_parser.h>

#include "benchmarks/comparison.h"
#include "benchmarks/nlohmann_optional.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace tavrine::benchmarks {

// The records with the names of their keys, which the macros need.
namespace by_macros {

struct Frame {
  std::string thread;
  std::vector<std::string> frames;
};
struct Counters {
  double fp32_active{};
  double tensor_active{};
  double dram_active{};
  std::optional<double> tflops_achieved;
  double tflops_peak{};
  std::optional<std::string> reason;
};
struct Point {
  double t{};
  std::string phase = "snapshot";
  std::optional<double> gpu_util;
  std::optional<double> vram_mb;
  std::optional<double> power_w;
  std::optional<Counters> dcgm;
  std::optional<std::vector<Frame>> py_spy;
  std::optional<std::string> text;
  std::optional<std::string> cmdline;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Frame, thread, frames)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Counters, fp32_active, tensor_active, dram_active,
                                                tflops_achieved, tflops_peak, reason)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Point, t, phase, gpu_util, vram_mb, power_w, dcgm,
                                                py_spy, text, cmdline)

}  // namespace by_macros

namespace {

using by_macros::Point;

std::vector<Point> readWithNlohmann(const std::string& text) {
  std::vector<Point> points;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    try {
      points.push_back(nlohmann::json::parse(line).get<Point>());
    } catch (const nlohmann::json::exception&) {
      continue;
    }
  }
  std::stable_sort(points.begin(), points.end(), [](const Point& a, const Point& b) {
    return a.t < b.t;
  });
  return points;
}

// A sample every second, counters with most, the stacks of three threads with every tenth.
std::string makeLog(std::size_t size) {
  std::string text;
  text.reserve(size + 1000);
  char line[512];
  for (unsigned n = 0; text.size() < size; ++n) {
    std::snprintf(line,
                  sizeof line,
                  "{\"t\":%u.%03u,\"phase\":\"snapshot\",\"gpu_util\":%u.%u,\"vram_mb\":%u,"
                  "\"power_w\":%u.%02u",
                  1'700'000'000 + n,
                  n % 1000,
                  n * 7919 % 100,
                  n % 10,
                  n * 104729 % 81560,
                  70 + n * 127 % 630,
                  n % 100);
    text += line;
    if (n % 4 != 0) {
      std::snprintf(line,
                    sizeof line,
                    ",\"dcgm\":{\"fp32_active\":0.%03u,\"tensor_active\":0.%03u,\"dram_active\":"
                    "0.%03u,\"tflops_achieved\":%u.%u,\"tflops_peak\":989.4}",
                    n * 31 % 1000,
                    n * 37 % 1000,
                    n * 41 % 1000,
                    n % 989,
                    n % 10);
      text += line;
    }
    if (n % 10 == 0) {
      text +=
          ",\"py_spy\":["
          "{\"thread\":\"MainThread\",\"frames\":[\"forward (torch/nn/modules/linear.py:116)\","
          "\"_call_impl (torch/nn/modules/module.py:1553)\",\"train (train.py:212)\"]},"
          "{\"thread\":\"Thread-3 (_pin_memory_loop)\",\"frames\":[\"wait (threading.py:331)\","
          "\"get (queue.py:171)\"]},{\"thread\":\"QueueFeederThread\",\"frames\":[\"wait "
          "(threading.py:327)\"]}]";
    }
    text += "}\n";
  }
  return text;
}

// The same lines, every two neighbours exchanged.
std::string exchanged(const std::string& text) {
  std::string result;
  result.reserve(text.size());
  std::istringstream lines(text);
  std::string first;
  std::string second;
  while (std::getline(lines, first)) {
    if (std::getline(lines, second)) result.append(second).append("\n");
    result.append(first).append("\n");
  }
  return result;
}

int run(int argc, char** argv) {
  const std::string text = makeLog(50'000'000);
  const std::string unsorted = exchanged(text);
  const auto parse = [](const std::string& input) {
    return [&input] { return RecorderLineParser::parse(input); };
  };

  Comparison table("Recorder log: " + std::to_string(text.size() / 1'000'000) + " MB");
  table.making("parse", text.size(), parse(text));
  table.making("nlohmann/json with its macros", text.size(), [&text] {
    return readWithNlohmann(text);
  });
  table.making("parse, neighbours exchanged", unsorted.size(), parse(unsorted));
  table.row("parse", "nlohmann/json with its macros", 5);
  table.row("parse, neighbours exchanged", "parse");

  // How cost grows: at 100 MB no more than 1.6 times as much for each byte as at 1 MB.
  constexpr double kLeastRate = 1 / 1.6;
  const std::string small = makeLog(1'000'000);
  const std::string huge = makeLog(100'000'000);
  table.making("parse, 1 MB", small.size(), parse(small));
  table.making("parse, 100 MB", huge.size(), parse(huge));
  table.row("parse, 100 MB", "parse, 1 MB", kLeastRate);

  // What the points themselves take, to hold the peak against: a copy has no room to spare.
  const std::vector<RecorderLogPoint> points = RecorderLineParser::parse(text);
  const std::size_t own = peakAllocation([&] {
    std::vector<RecorderLogPoint> copy(points);
    benchmark::DoNotOptimize(copy);
  });
  const std::size_t peak =
      peakAllocation([&] { benchmark::DoNotOptimize(RecorderLineParser::parse(text)); });
  table.figure("peak memory, of a copy of the points",
               static_cast<double>(peak) / static_cast<double>(own),
               "",
               1.2);
  return table.run(argc, argv);
}

}  // namespace

}  // namespace tavrine::benchmarks

int main(int argc, char** argv) { return tavrine::benchmarks::run(argc, argv); }
