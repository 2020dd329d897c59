#include "companion/snapshot/snapshot_output.h"
#include "companion/snapshot/snapshot_verbs.h"
#include "companion/snapshot/tick_option.h"

#include <TavrineShared/demo/sample_data.h>

#include <CLI/CLI.hpp>

#include <cstdint>
#include <memory>

namespace tavrine {

namespace {

struct DemoOptions {
  std::int64_t tick = kUsualTick;
  SnapshotOptions output;
};

}  // namespace

void addDemoVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(
      program,
      "demo",
      "Shows a made-up lab, without any server.",
      {"tavrine demo", "tavrine demo --tick 63", "tavrine demo --json | tavrine check -"});
  const auto options = std::make_shared<DemoOptions>();
  addTickOption(app,
                options->tick,
                "the moment to show, a whole number (60): the lab\n"
                "moves from one to the next, and at multiples of\n"
                "21 its training stalls");
  addSnapshotOptions(app, options->output, "the lab as JSON");
  app.callback([&chosen, options] {
    chosen = [options] {
      writeSnapshot(SampleData::snapshot(options->tick), options->output);
      return ExitStatus::fine;
    };
  });
}

}  // namespace tavrine
