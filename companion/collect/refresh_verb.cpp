#include "companion/assemble/assemble.h"
#include "companion/assemble/assembly_output.h"
#include "companion/collect/collect_options.h"
#include "companion/collect/collect_run.h"
#include "companion/collect/collect_verbs.h"
#include "companion/shell/duration.h"
#include "companion/shell/interruption.h"
#include "companion/shell/output.h"
#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"

#include <TavrineShared/store/snapshot_disk_store.h>

#include <CLI/CLI.hpp>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace tavrine {

namespace {

using Clock = std::chrono::steady_clock;

struct RefreshOptions {
  CollectOptions collect;
  std::optional<std::string> file;
  std::optional<double> everySeconds;
};

double cpuSeconds() {
  const auto secondsOf = [](const timeval& time) {
    constexpr double kMicro = 1e-6;
    return static_cast<double>(time.tv_sec) + kMicro * static_cast<double>(time.tv_usec);
  };
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
}

std::string counted(std::int64_t count, const std::string& one) {
  return std::to_string(count) + " " + one + (count == 1 ? "" : "s");
}

std::string outcome(const AppSnapshot& snapshot) {
  std::int64_t gpus = 0;
  std::int64_t offline = 0;
  for (const ServerSummary& server : snapshot.servers) {
    gpus += static_cast<std::int64_t>(server.gpus.size());
    if (server.state == ServerConnectionState::offline) ++offline;
  }
  std::string text = counted(static_cast<std::int64_t>(snapshot.servers.size()), "server");
  if (offline > 0) text += " (" + std::to_string(offline) + " offline)";
  text += ", " + counted(gpus, "GPU");
  text += ", " + counted(static_cast<std::int64_t>(snapshot.runs.size()), "run");
  return text + ", " + counted(static_cast<std::int64_t>(snapshot.alerts.size()), "alert");
}

// False when a host did not answer or something was lost.
bool refreshOnce(const CollectRequest& request, const RefreshOptions& options,
                 const std::filesystem::path& file) {
  const auto started = Clock::now();
  const double cpuBefore = cpuSeconds();
  const std::vector<Capture> captures = collectTold(request, options.collect);
  // What was interrupted would show hosts as offline that are not.
  if (isInterrupted()) return false;
  const std::optional<AppSnapshot> previous = SnapshotDiskStore::read(file);
  const Assembly assembly = assemble(captures, previous ? &*previous : nullptr);
  SnapshotDiskStore::write(assembly.snapshot, file);
  const std::string losses = lossSummary(assembly.findings);
  const double seconds = std::chrono::duration<double>(Clock::now() - started).count();
  say(timeText(assembly.snapshot.timestamp) + ": " + outcome(assembly.snapshot) +
      (losses.empty() ? "" : ", " + losses) + "; took " + oneDecimal(seconds) + " s and " +
      significantDigits(cpuSeconds() - cpuBefore, 2) + " s of CPU");
  return areWhole(captures) && losses.empty();
}

// What goes wrong this time, on a full disk say, may well go right the next.
void refreshOrTell(const CollectRequest& request, const RefreshOptions& options,
                   const std::filesystem::path& file) {
  try {
    refreshOnce(request, options, file);
  } catch (const std::exception& error) {
    say(error.what());
  }
}

void sleepUntil(Clock::time_point next) {
  constexpr auto kStep = std::chrono::milliseconds(100);
  while (!isInterrupted() && Clock::now() < next) {
    std::this_thread::sleep_for(std::min<Clock::duration>(kStep, next - Clock::now()));
  }
}

ExitStatus refresh(const RefreshOptions& options) {
  const CollectRequest request = options.collect.resolved();
  const std::filesystem::path file =
      options.file ? std::filesystem::path(*options.file) : SnapshotDiskStore::defaultURL();
  noteInterruptions();
  if (!options.everySeconds) {
    return refreshOnce(request, options, file) ? ExitStatus::fine : ExitStatus::findings;
  }
  const auto span = std::chrono::duration_cast<Clock::duration>(
      std::chrono::duration<double>(*options.everySeconds));
  while (!isInterrupted()) {
    const auto started = Clock::now();
    refreshOrTell(request, options, file);
    sleepUntil(started + span);
  }
  return ExitStatus::fine;  // it was told to stop, and did
}

}  // namespace

void addRefreshVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(program,
                             "refresh",
                             "Asks hosts and keeps the snapshot as the latest.",
                             {"tavrine refresh && tavrine show",
                              "tavrine refresh gpu-01 gpu-02=ada@10.0.1.52",
                              "tavrine refresh --every 30s &"});
  app.footer(app.get_footer() +
             "\n\nExit status: 0 every host answered, 1 one did not or something was lost,\n"
             "2 wrong usage or unwritable file. With --every, 0 once told to stop.");
  const auto options = std::make_shared<RefreshOptions>();
  addCollectOptions(app, options->collect);
  app.add_option("--file", options->file, "the snapshot to replace (~/.tavrine/latest.json)")
      ->type_name("FILE")
      ->option_text("=FILE");
  app.add_option_function<std::string>(
         "--every",
         [options](const std::string& span) { options->everySeconds = *secondsNamed(span); },
         "go on until stopped, beginning anew so often")
      ->check([](const std::string& span) {
        return secondsNamed(span) ? "" : "must be such as 30s or 5m, not " + span;
      })
      ->type_name("SPAN")
      ->option_text("=SPAN");
  app.callback([&app, &chosen, options] {
    chosen = [&app, options] {
      applyConfig(app, options->collect);
      return refresh(*options);
    };
  });
}

}  // namespace tavrine
