#include "companion/snapshot/snapshot_output.h"
#include "companion/snapshot/snapshot_verbs.h"

#include <TavrineShared/demo/sample_data.h>
#include <TavrineShared/parsers/text_rules.h>

#include <CLI/CLI.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace tavrine {

namespace {

struct DemoOptions {
  std::int64_t tick = 60;  // in the middle of things, and not one of the ticks with a stall
  SnapshotOptions output;
};

// Only of those that the library takes: all others would end the process.
std::optional<std::int64_t> tickNamed(const std::string& text) {
  const std::optional<std::int64_t> tick = readInteger(text);
  const bool isTick =
      tick && *tick >= SampleData::kSmallestTick && *tick <= SampleData::kLargestTick;
  return isTick ? tick : std::nullopt;
}

std::string knownTicks() {
  return std::to_string(SampleData::kSmallestTick) + " to " +
         std::to_string(SampleData::kLargestTick);
}

}  // namespace

void addDemoVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(
      program,
      "demo",
      "Shows a made-up lab, without any server.",
      {"tavrine demo", "tavrine demo --tick 63", "tavrine demo --json | tavrine check -"});
  const auto options = std::make_shared<DemoOptions>();
  app.add_option_function<std::string>(
         "--tick",
         [options](const std::string& tick) { options->tick = *tickNamed(tick); },
         "the moment to show, a whole number (60): the lab\n"
         "moves from one to the next, and at multiples of\n"
         "21 its training stalls")
      ->check([](const std::string& tick) {
        return tickNamed(tick) ? ""
                               : "must be a whole number from " + knownTicks() + ", not " + tick;
      })
      ->type_name("N")
      ->option_text("=N");
  addSnapshotOptions(app, options->output, "the lab as JSON");
  app.callback([&chosen, options] {
    chosen = [options] {
      writeSnapshot(SampleData::snapshot(options->tick), options->output);
      return ExitStatus::fine;
    };
  });
}

}  // namespace tavrine
