#include "companion/watch/watch_verb.h"

#include "companion/redact/snapshot_redaction.h"
#include "companion/shell/input.h"
#include "companion/snapshot/tick_option.h"
#include "companion/watch/demo_source.h"
#include "companion/watch/file_source.h"
#include "companion/watch/hosts_source.h"
#include "companion/watch/key.h"
#include "companion/watch/watch_loop.h"

#include <TavrineShared/store/snapshot_disk_store.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tavrine {

namespace {

constexpr double kUsualSpan = 30;

struct WatchOptions {
  std::optional<std::string> file;
  std::vector<std::string> hosts;
  std::optional<double> everySeconds;
  bool redact = false;
  bool demo = false;
  std::int64_t tick = kUsualTick;
  ColorChoice color = ColorChoice::automatic;
};

SnapshotSource sourceFor(const WatchOptions& options) {
  if (options.demo) return demoSource(options.tick);
  if (!options.hosts.empty() || options.everySeconds) {
    return hostsSource(options.hosts, options.everySeconds.value_or(kUsualSpan));
  }
  if (options.file == kStandardInput) {
    throw std::runtime_error("watch cannot read standard input, where the keys come from");
  }
  return fileSource(options.file ? std::filesystem::path(*options.file)
                                 : SnapshotDiskStore::defaultURL());
}

// The same without secrets.
SnapshotSource redactedSource(SnapshotSource source) {
  const auto poll = source.poll;
  source.poll = [poll](Timestamp now) {
    std::optional<SourceNews> news = poll(now);
    if (news && news->snapshot) news->snapshot = redacted(std::move(*news->snapshot));
    return news;
  };
  return source;
}

std::string keysHelp() {
  constexpr std::size_t kKeysWidth = 22;
  std::string text = "Keys:";
  for (const KeyHelp& help : keyHelp()) {
    std::string line = "\n  " + std::string(help.keys);
    line.resize(std::max(line.size() + 1, kKeysWidth), ' ');
    text.append(line).append(help.effect);
  }
  return text;
}

}  // namespace

void addWatchVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(program,
                             "watch",
                             "Shows a snapshot of the lab on a live screen.",
                             {"tavrine watch",
                              "tavrine watch --demo",
                              "tavrine watch --host gpu-01 --host ada@gpu-02 --every 10s"});
  addToHelp(app, keysHelp());
  addToHelp(app, "Exit status: 0 it was quit, 2 there is no terminal for it.");
  const auto options = std::make_shared<WatchOptions>();
  CLI::Option* const file = app.add_option("FILE",
                                           options->file,
                                           "the snapshot, shown anew whenever it changes;\n"
                                           "~/.tavrine/latest.json if left out")
                                ->type_name("");
  CLI::Option* const demo =
      app.add_flag("--demo", options->demo, "a made-up lab that moves once a second")
          ->excludes(file);
  addTickOption(app, options->tick, "the moment of the made-up lab to begin with (60)")
      ->needs(demo);
  app.add_option("--host",
                 options->hosts,
                 "ask this host, as 'tavrine refresh' does; may be\n"
                 "repeated")
      ->allow_extra_args(false)
      ->excludes(file)
      ->excludes(demo)
      ->type_name("HOST");
  addSpanOption(app,
                "--every",
                "how often (30s); without --host the hosts of the\n"
                "configuration file, or this machine",
                [options](double seconds) { options->everySeconds = seconds; })
      ->excludes(file)
      ->excludes(demo);
  addRedactOption(app, options->redact);
  addColorOption(app, options->color);
  app.callback([&chosen, options] {
    chosen = [options] {
      SnapshotSource source = sourceFor(*options);
      if (options->redact) source = redactedSource(std::move(source));
      return watchSource(source, paint(options->color));
    };
  });
}

}  // namespace tavrine
