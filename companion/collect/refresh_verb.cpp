#include "companion/assemble/assemble.h"
#include "companion/assemble/assembly_output.h"
#include "companion/collect/collect_options.h"
#include "companion/collect/collect_run.h"
#include "companion/collect/collect_verbs.h"
#include "companion/redact/snapshot_redaction.h"
#include "companion/shell/interruption.h"
#include "companion/shell/output.h"
#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/visible_text.h"

#include <TavrineShared/foundation/file.h>
#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/store/snapshot_disk_store.h>

#include <CLI/CLI.hpp>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

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

std::string outcome(const AppSnapshot& snapshot) {
  std::size_t gpus = 0;
  std::size_t offline = 0;
  for (const ServerSummary& server : snapshot.servers) {
    gpus += server.gpus.size();
    if (server.state == ServerConnectionState::offline) ++offline;
  }
  std::string text = counted(snapshot.servers.size(), "server", "servers");
  if (offline > 0) text += " (" + std::to_string(offline) + " offline)";
  text += ", " + counted(gpus, "GPU", "GPUs");
  text += ", " + counted(snapshot.runs.size(), "run", "runs");
  return text + ", " + counted(snapshot.alerts.size(), "alert", "alerts");
}

struct Target {
  std::filesystem::path file;
  bool isNamed;  // by the user; it may hold anything, then
};

// Of the keys of an object, the first that no snapshot has; it would be lost.
std::optional<std::string> foreignKey(std::string_view document) {
  const RecordTable& table = AppSnapshot::table();
  JSONReader reader(document);
  std::string_view key;
  if (reader.enterObject() != JSONResult::ok) return std::nullopt;
  while (reader.nextKey(key)) {
    if (table.find(key) == table.byKey.size()) return excerpt(key);
    reader.skip();
  }
  return std::nullopt;
}

// The snapshot that the new one replaces. What is none was not written by us, and in a file that
// was named it is not ours to replace. What was damaged in the place for snapshots is replaced, and
// not without a word.
std::optional<AppSnapshot> previousIn(const Target& target, FindingsBook& book) {
  const std::string name = target.file.string();
  std::string problem;
  try {
    const FileBytes bytes = readFile(target.file);
    if (bytes.text().empty()) return std::nullopt;
    auto snapshot = decode<AppSnapshot>(bytes.text(), &book.open(name));
    const auto foreign = target.isNamed ? foreignKey(bytes.text()) : std::nullopt;
    if (!foreign) return snapshot;
    problem = "it has the key " + visibleText(*foreign);
  } catch (const DecodingError& error) {
    problem = error.what();
  } catch (const std::filesystem::filesystem_error& error) {
    if (error.code() == std::errc::no_such_file_or_directory) return std::nullopt;
    if (target.isNamed) throw;
    say(error);
    return std::nullopt;
  }
  if (target.isNamed) {
    throw std::runtime_error(name + " holds no snapshot and is left as it is: " + problem +
                             "; remove it, or name another file");
  }
  say("no snapshot in " + name + ": " + problem);
  return std::nullopt;
}

void requireReplaceable(const Target& target) {
  requireFileName(target.file);
  FindingsBook ignored;
  previousIn(target, ignored);
}

// False when a host did not answer or something was lost.
bool refreshOnce(const CollectRequest& request, const RefreshOptions& options,
                 const Target& target) {
  const auto started = Clock::now();
  const double cpuBefore = cpuSeconds();
  const Collected collected = collectTold(request, options.collect);
  if (isInterrupted()) return false;
  FindingsBook book;
  const std::optional<AppSnapshot> previous = previousIn(target, book);
  Assembly assembly = assemble(collected.captures, previous ? &*previous : nullptr);
  if (options.collect.redact) assembly.snapshot = redacted(std::move(assembly.snapshot));
  SnapshotDiskStore::write(assembly.snapshot, target.file);
  const double seconds = std::chrono::duration<double>(Clock::now() - started).count();
  say(timeText(assembly.snapshot.timestamp) + ": " + outcome(assembly.snapshot) + "; took " +
      oneDecimal(seconds) + " s and " + significantDigits(cpuSeconds() - cpuBefore, 2) +
      " s of CPU");
  book.append(std::move(assembly.findings));
  return !tellLosses(book, options.collect.findings, options.collect.redact) && collected.isWhole;
}

// What worked before will work again, once there is room on the disk, say, or the file is ours.
void refreshAgain(const CollectRequest& request, const RefreshOptions& options,
                  const Target& target) {
  try {
    refreshOnce(request, options, target);
  } catch (const std::runtime_error& error) {
    say(error);
  }
}

// In seconds as they are: the longest that a user may name are beyond what the clock counts.
void sleepUntil(Clock::time_point started, double seconds) {
  constexpr double kStep = 0.1;
  while (!isInterrupted()) {
    const std::chrono::duration<double> left(
        seconds - std::chrono::duration<double>(Clock::now() - started).count());
    if (left.count() <= 0) return;
    std::this_thread::sleep_for(std::min(left, std::chrono::duration<double>(kStep)));
  }
}

ExitStatus refresh(const RefreshOptions& options) {
  const CollectRequest request = options.collect.resolved();
  const Target target = options.file
                            ? Target{.file = *options.file, .isNamed = true}
                            : Target{.file = SnapshotDiskStore::defaultURL(), .isNamed = false};
  if (target.isNamed) requireReplaceable(target);
  noteInterruptions();
  auto started = Clock::now();
  const bool isAllWell = refreshOnce(request, options, target);
  if (!options.everySeconds) return isAllWell ? ExitStatus::fine : ExitStatus::findings;
  for (;;) {
    sleepUntil(started, *options.everySeconds);
    if (isInterrupted()) return ExitStatus::fine;  // it was told to stop, and did
    started = Clock::now();
    refreshAgain(request, options, target);
  }
}

}  // namespace

void addRefreshVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(program,
                             "refresh",
                             "Asks hosts and keeps the snapshot as the latest.",
                             {"tavrine refresh; tavrine show",
                              "tavrine refresh gpu-01 gpu-02=ada@10.0.1.52",
                              "tavrine refresh --every 30s &"});
  addToHelp(app,
            "Exit status: 0 every host answered, 1 one did not or something was lost,\n"
            "2 wrong usage or unwritable file. With --every, 0 once told to stop;\n"
            "only the first time must the file be writable.");
  const auto options = std::make_shared<RefreshOptions>();
  addCollectOptions(app, options->collect);
  app.add_option("--file", options->file, "the snapshot to replace (~/.tavrine/latest.json)")
      ->type_name("FILE");
  addSpanOption(app,
                "--every",
                "go on until stopped, beginning anew so often",
                [options](double seconds) { options->everySeconds = seconds; });
  app.callback([&app, &chosen, options] {
    chosen = [&app, options] {
      applyConfig(app, options->collect);
      return refresh(*options);
    };
  });
}

}  // namespace tavrine
