// Measures us beside others in one run and prints one table of ratios.
//
// The machine may be shared and noisy, so nothing is measured by itself: all tasks run interleaved
// in random order, several times over, in CPU time. A ratio is taken between the best runs of both
// sides. A floor that is missed is marked in the table; it does not fail the run.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace tavrine::benchmarks {

class Comparison {
 public:
  explicit Comparison(std::string title) : title_(std::move(title)) {}

  /// A task over `bytes` of input, which gives its rate. What is done `around` it, if anything,
  /// before and after each run, is not measured.
  void task(const std::string& name, std::size_t bytes, std::function<void()> run,
            std::function<void()> around = nullptr);

  /// A task that makes something: what it takes to destroy that again is not measured.
  template <class Make>
  void making(const std::string& name, std::size_t bytes, Make make,
              std::function<void()> around = nullptr) {
    const auto made = std::make_shared<std::optional<std::invoke_result_t<Make>>>();
    task(
        name,
        bytes,
        [made, make] { made->emplace(make()); },
        [made, around] {
          made->reset();
          if (around != nullptr) around();
        });
  }

  /// A task that another program measures: `command` prints the CPU seconds of each of its runs,
  /// one per line. It runs once, before the other tasks.
  void program(const std::string& name, std::size_t bytes, const std::string& command);

  /// A row of the table: how many times as fast `ours` is as `theirs`, both names of tasks. A floor
  /// of 0 means that there is none.
  void row(const std::string& ours, const std::string& theirs, double floor = 0, double aim = 0);

  /// A row for a figure that is no rate, already measured; good when not above `ceiling`.
  void figure(const std::string& name, double value, const std::string& unit, double ceiling);

  /// Measures the tasks, and beside them how fast memory is merely copied, and prints the table.
  /// Takes the flags of Google Benchmark, and `--rows=FILE`: then the table is appended to that
  /// file instead, as lines of JSON. Gives the exit status of the program.
  int run(int argc, char** argv);

 private:
  struct Task {
    std::string name;
    std::size_t bytes;
    std::function<void()> run;  ///< empty when `seconds` are given
    std::function<void()> around = nullptr;
    std::vector<double> seconds = {};  ///< of each run, when another program measured them
  };
  struct Row {
    std::string ours;
    std::string theirs;
    double floor;
    double aim;
  };
  struct Figure {
    std::string name;
    double value;
    std::string unit;
    double ceiling;
  };

  struct Measured;  ///< a row with its figures

  const Task& find(const std::string& name) const;
  std::vector<Measured> measuredRows() const;
  void print() const;
  void writeRows(const std::string& file) const;

  std::string title_;
  std::vector<Task> tasks_;
  std::vector<Row> rows_;
  std::vector<Figure> figures_;
};

/// The most bytes that `run` had allocated through operator new at any one time, over those
/// allocated before.
std::size_t peakAllocation(const std::function<void()>& run);

/// The least CPU seconds out of `runs` runs, for a task too long for the table.
double bestSeconds(int runs, const std::function<void()>& run);

}  // namespace tavrine::benchmarks
