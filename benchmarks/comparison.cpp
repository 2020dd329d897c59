#include "benchmarks/comparison.h"

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <memory>
#include <new>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>

namespace {

bool isCounting = false;  // only where asked for: it takes time
std::ptrdiff_t allocated = 0;
std::ptrdiff_t mostAllocated = 0;

std::ptrdiff_t sizeOf(void* bytes) {
  return static_cast<std::ptrdiff_t>(malloc_usable_size(bytes));
}

}  // namespace

// Counted by what the allocator really hands out, so that its rounding is in the figure. Not
// inline, or the compiler would see malloc on one side and a delete on the other, and warn.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const bytes = std::malloc(size);
  if (bytes == nullptr) throw std::bad_alloc();
  if (isCounting) {
    allocated += sizeOf(bytes);
    mostAllocated = std::max(mostAllocated, allocated);
  }
  return bytes;
}

[[gnu::noinline]] void operator delete(void* bytes) noexcept {
  if (isCounting) allocated -= sizeOf(bytes);
  std::free(bytes);
}

[[gnu::noinline]] void operator delete(void* bytes, std::size_t) noexcept {
  operator delete(bytes);
}

namespace tavrine::benchmarks {

namespace {

double cpuSeconds() {
  timespec time;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Keeps the CPU seconds of every repetition of every task.
class Recorder : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      seconds_[run.run_name.function_name].push_back(run.cpu_accumulated_time /
                                                     static_cast<double>(run.iterations));
    }
  }

  /// In ascending order; empty for a task that was filtered out.
  std::vector<double> secondsOf(const std::string& task) const {
    const auto found = seconds_.find(task);
    if (found == seconds_.end()) return {};
    std::vector<double> sorted = found->second;
    std::sort(sorted.begin(), sorted.end());
    return sorted;
  }

 private:
  std::map<std::string, std::vector<double>> seconds_;
};

constexpr const char* kCopying = "memcpy";

struct Rate {
  double best;  ///< in megabytes a second
  double median;
};

Rate rateOf(const std::vector<double>& seconds, std::size_t bytes) {
  const double megabytes = static_cast<double>(bytes) / 1e6;
  return {megabytes / seconds.front(), megabytes / seconds[seconds.size() / 2]};
}

std::string rateText(const Rate& rate) {
  char text[64];
  std::snprintf(text, sizeof text, "%.0f (%.0f)", rate.best, rate.median);
  return text;
}

std::string bound(double ratio) {
  if (ratio == 0) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.4g", ratio);
  return text;
}

const char* verdict(double ratio, double floor, double aim) {
  if (ratio < floor) return "BELOW FLOOR";
  if (aim != 0 && ratio >= aim) return "aim reached";
  return floor == 0 ? "" : "ok";
}

const char* ceilingVerdict(double value, double ceiling) {
  return value <= ceiling ? "ok" : "ABOVE CEILING";
}

// What any reader of so many bytes is bounded by, in memory that no cache holds.
std::function<void()> copyingTask(std::size_t bytes) {
  const auto from = std::make_shared<std::vector<char>>(bytes, 'x');
  const auto to = std::make_shared<std::vector<char>>(bytes);
  return [from, to] {
    std::memcpy(to->data(), from->data(), from->size());
    benchmark::DoNotOptimize(to->data());
    benchmark::ClobberMemory();
  };
}

// The file behind `--rows=`, which is taken out of the arguments; empty when there is none.
std::string takeRowsFile(std::vector<char*>& arguments) {
  constexpr std::string_view kRows = "--rows=";
  const auto found = std::find_if(arguments.begin(), arguments.end(), [&](const char* argument) {
    return std::string_view(argument).starts_with(kRows);
  });
  if (found == arguments.end()) return "";
  std::string file(std::string_view(*found).substr(kRows.size()));
  arguments.erase(found);
  return file;
}

}  // namespace

void Comparison::task(const std::string& name, std::size_t bytes, std::function<void()> run,
                      std::function<void()> around) {
  tasks_.push_back(
      {.name = name, .bytes = bytes, .run = std::move(run), .around = std::move(around)});
}

void Comparison::program(const std::string& name, std::size_t bytes, const std::string& command) {
  Task task{.name = name, .bytes = bytes, .run = nullptr};
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> output(popen(command.c_str(), "r"), pclose);
  double seconds = 0;
  while (output != nullptr && std::fscanf(output.get(), "%lf", &seconds) == 1) {
    task.seconds.push_back(seconds);
  }
  if (task.seconds.empty()) std::fprintf(stderr, "%s could not be measured\n", name.c_str());
  std::sort(task.seconds.begin(), task.seconds.end());
  tasks_.push_back(std::move(task));
}

void Comparison::row(const std::string& ours, const std::string& theirs, double floor, double aim) {
  rows_.push_back({ours, theirs, floor, aim});
}

void Comparison::figure(const std::string& name, double value, const std::string& unit,
                        double ceiling) {
  figures_.push_back({name, value, unit, ceiling});
}

int Comparison::run(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  const std::string rowsFile = takeRowsFile(arguments);
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  arguments.insert(arguments.begin() + 1, interleaving.data());
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

  constexpr std::size_t kCopied = std::size_t{64} << 20;
  task(kCopying, kCopied, copyingTask(kCopied));
  constexpr int kRepetitions = 9;
  constexpr double kSecondsPerRepetition = 0.05;
  for (const Task& task : tasks_) {
    if (task.run == nullptr) continue;
    benchmark::RegisterBenchmark(task.name.c_str(),
                                 [&task](benchmark::State& state) {
                                   for (auto _ : state) {
                                     if (task.around == nullptr) {
                                       task.run();
                                       continue;
                                     }
                                     state.PauseTiming();
                                     task.around();
                                     state.ResumeTiming();
                                     task.run();
                                     state.PauseTiming();
                                     task.around();
                                     state.ResumeTiming();
                                   }
                                 })
        ->Repetitions(kRepetitions)
        ->MinTime(kSecondsPerRepetition);
  }
  Recorder recorder;
  benchmark::RunSpecifiedBenchmarks(&recorder);
  for (Task& task : tasks_) {
    if (task.run != nullptr) task.seconds = recorder.secondsOf(task.name);
  }
  if (rowsFile.empty()) {
    print();
  } else {
    writeRows(rowsFile);
  }
  return 0;
}

const Comparison::Task& Comparison::find(const std::string& name) const {
  const auto found = std::find_if(tasks_.begin(), tasks_.end(), [&name](const Task& task) {
    return task.name == name;
  });
  if (found == tasks_.end()) throw std::invalid_argument("no task is named " + name);
  return *found;
}

// Rates, not times: the two sides may be given inputs of different sizes.
struct Comparison::Measured {
  const Row& row;
  Rate ours;
  Rate theirs;
  double ratio;
  double ofMemory;  ///< of the rate at which memory is copied
};

std::vector<Comparison::Measured> Comparison::measuredRows() const {
  const Task& copying = find(kCopying);
  std::vector<Measured> measured;
  for (const Row& row : rows_) {
    const Task& ours = find(row.ours);
    const Task& theirs = find(row.theirs);
    if (ours.seconds.empty() || theirs.seconds.empty()) continue;  // filtered out
    const Rate rate = rateOf(ours.seconds, ours.bytes);
    const Rate other = rateOf(theirs.seconds, theirs.bytes);
    const double copyingRate =
        copying.seconds.empty() ? 0 : rateOf(copying.seconds, copying.bytes).best;
    measured.push_back(
        {row, rate, other, rate.best / other.best, copyingRate == 0 ? 0 : rate.best / copyingRate});
  }
  return measured;
}

void Comparison::print() const {
  std::printf("%s\n\n  %-44s %14s   %-36s %14s %8s %6s %6s %7s\n",
              title_.c_str(),
              "ours",
              "MB/s (median)",
              "beside",
              "MB/s (median)",
              "ratio",
              "floor",
              "aim",
              "memcpy");
  for (const Measured& each : measuredRows()) {
    std::printf("  %-44s %14s   %-36s %14s %8.4g %6s %6s %7.3f  %s\n",
                each.row.ours.c_str(),
                rateText(each.ours).c_str(),
                each.row.theirs.c_str(),
                rateText(each.theirs).c_str(),
                each.ratio,
                bound(each.row.floor).c_str(),
                bound(each.row.aim).c_str(),
                each.ofMemory,
                verdict(each.ratio, each.row.floor, each.row.aim));
  }
  for (const Figure& figure : figures_) {
    std::printf("  %-44s %14.3g %s, ceiling %.3g: %s\n",
                figure.name.c_str(),
                figure.value,
                figure.unit.c_str(),
                figure.ceiling,
                ceilingVerdict(figure.value, figure.ceiling));
  }
  std::printf("\n");
}

void Comparison::writeRows(const std::string& file) const {
  std::ofstream out(file, std::ios::app);
  for (const Measured& each : measuredRows()) {
    out << nlohmann::json{{"subject", title_},
                          {"ours", each.row.ours},
                          {"oursBest", each.ours.best},
                          {"oursMedian", each.ours.median},
                          {"beside", each.row.theirs},
                          {"besideBest", each.theirs.best},
                          {"besideMedian", each.theirs.median},
                          {"ratio", each.ratio},
                          {"floor", each.row.floor},
                          {"aim", each.row.aim},
                          {"ofMemory", each.ofMemory},
                          {"verdict", verdict(each.ratio, each.row.floor, each.row.aim)}}
        << "\n";
  }
  for (const Figure& figure : figures_) {
    out << nlohmann::json{{"subject", title_},
                          {"ours", figure.name},
                          {"value", figure.value},
                          {"unit", figure.unit},
                          {"ceiling", figure.ceiling},
                          {"verdict", ceilingVerdict(figure.value, figure.ceiling)}}
        << "\n";
  }
  if (!out.flush()) throw std::runtime_error("cannot write " + file);
}

std::size_t peakAllocation(const std::function<void()>& run) {
  allocated = mostAllocated = 0;
  isCounting = true;
  run();
  isCounting = false;
  return static_cast<std::size_t>(mostAllocated);
}

double bestSeconds(int runs, const std::function<void()>& run) {
  double best = 0;
  for (int i = 0; i < runs; ++i) {
    const double start = cpuSeconds();
    run();
    const double seconds = cpuSeconds() - start;
    if (i == 0 || seconds < best) best = seconds;
  }
  return best;
}

}  // namespace tavrine::benchmarks
