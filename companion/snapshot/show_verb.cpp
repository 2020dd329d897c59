#include "companion/snapshot/snapshot_input.h"
#include "companion/snapshot/snapshot_output.h"
#include "companion/snapshot/snapshot_verbs.h"

#include <TavrineShared/model/coding_error.h>

#include <CLI/CLI.hpp>

#include <memory>
#include <stdexcept>

namespace tavrine {

namespace {

struct ShowOptions {
  SnapshotInput input;
  SnapshotOptions output;
};

ExitStatus show(const ShowOptions& options) {
  Findings findings;
  const AppSnapshot snapshot = readSnapshot(options.input, findings);
  try {
    writeSnapshot(snapshot, options.output);
  } catch (const EncodingError& error) {
    throw std::runtime_error("cannot print " + options.input.name() + " as JSON: " + error.what());
  }
  return sayLosses(options.input, findings);
}

}  // namespace

void addShowVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(program,
                             "show",
                             "Shows a snapshot of the lab.",
                             {"tavrine show",
                              "tavrine show --processes 30 snapshot.json",
                              "tavrine show --json snapshot.json"});
  addToHelp(app, "Exit status: 0 nothing was lost, 1 something was, 2 it is no snapshot.");
  const auto options = std::make_shared<ShowOptions>();
  addSnapshotInput(app, options->input, "shown");
  addSnapshotOptions(app, options->output, "the snapshot as JSON, without what was lost");
  app.callback([&chosen, options] { chosen = [options] { return show(*options); }; });
}

}  // namespace tavrine
