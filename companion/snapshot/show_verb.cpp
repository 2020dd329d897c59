#include "companion/shell/input.h"
#include "companion/shell/json_output.h"
#include "companion/shell/output.h"
#include "companion/snapshot/snapshot_verbs.h"
#include "companion/views/snapshot_text.h"

#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/store/snapshot_disk_store.h>

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <string>

namespace tavrine {

namespace {

struct ShowOptions {
  std::optional<std::string> file;
  JSONOptions json;
  std::size_t processes = SnapshotView::kTopProcesses;
  ColorChoice color = ColorChoice::automatic;
};

ExitStatus show(const ShowOptions& options) {
  const std::string file = options.file ? *options.file : SnapshotDiskStore::defaultURL().string();
  const std::string document = readInput(file);
  Findings findings;
  const AppSnapshot snapshot = [&] {
    try {
      return decode<AppSnapshot>(document, &findings);
    } catch (const DecodingError& error) {
      throw std::runtime_error("no snapshot in " + file + ": " + error.what());
    }
  }();
  if (options.json.isAskedFor()) {
    writeJSON(encode(snapshot, options.json.style()));
  } else {
    SnapshotView view;
    view.now = currentTime();
    view.processes = options.processes;
    view.style.paint = paint(options.color);
    view.style.width = screenWidth().value_or(view.style.width);
    writeOutput(snapshotText(snapshot, view));
  }
  if (findings.lossCount() > 0) {
    say(std::to_string(findings.lossCount()) + (findings.lossCount() == 1 ? " loss" : " losses") +
        " in " + file + "; 'tavrine check' tells of what, and why");
  }
  return ExitStatus::fine;
}

}  // namespace

void addShowVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(program,
                             "show",
                             "Shows a snapshot of the lab.",
                             {"tavrine show",
                              "tavrine show --processes 30 snapshot.json",
                              "tavrine show --json snapshot.json"});
  const auto options = std::make_shared<ShowOptions>();
  app.add_option("FILE",
                 options->file,
                 "the snapshot; - is standard input, and the latest\n"
                 "one, ~/.tavrine/latest.json, is shown if left out")
      ->type_name("");
  addJSONOptions(app, options->json, "the snapshot as JSON, without what was lost");
  app.add_option("--processes", options->processes, "how many of the top processes to show (10)")
      ->check([](const std::string& count) {
        const bool isNumber = count.find_first_not_of("0123456789") == std::string::npos;
        return isNumber ? "" : "must be a number, not " + count;
      })
      ->type_name("N")
      ->option_text("=N");
  addColorOption(app, options->color);
  app.callback([&chosen, options] { chosen = [options] { return show(*options); }; });
}

}  // namespace tavrine
