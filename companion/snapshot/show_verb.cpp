#include "companion/shell/input.h"
#include "companion/shell/output.h"
#include "companion/snapshot/snapshot_output.h"
#include "companion/snapshot/snapshot_verbs.h"

#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/store/snapshot_disk_store.h>

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace tavrine {

namespace {

struct ShowOptions {
  std::optional<std::string> file;
  SnapshotOptions output;
};

// What was decoded or encoded does not know where it came from.
template <class Work>
auto naming(const std::string& file, const Work& work) {
  try {
    return work();
  } catch (const DecodingError& error) {
    throw std::runtime_error("no snapshot in " + file + ": " + error.what());
  } catch (const EncodingError& error) {
    throw std::runtime_error("cannot print " + file + " as JSON: " + error.what());
  }
}

ExitStatus show(const ShowOptions& options) {
  const std::string file = options.file ? *options.file : SnapshotDiskStore::defaultURL().string();
  const std::string name = file == kStandardInput ? "standard input" : file;
  const std::string document = readInput(file);
  Findings findings;
  const auto snapshot = naming(name, [&] { return decode<AppSnapshot>(document, &findings); });
  naming(name, [&] { writeSnapshot(snapshot, options.output); });
  const std::size_t losses = findings.lossCount();
  if (losses == 0) return ExitStatus::fine;
  say(std::to_string(losses) + (losses == 1 ? " loss" : " losses") + " in " + name +
      "; 'tavrine check' tells of what, and why");
  return ExitStatus::findings;
}

}  // namespace

void addShowVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(program,
                             "show",
                             "Shows a snapshot of the lab.",
                             {"tavrine show",
                              "tavrine show --processes 30 snapshot.json",
                              "tavrine show --json snapshot.json"});
  app.footer(app.get_footer() +
             "\n\nExit status: 0 nothing was lost, 1 something was, 2 it is no snapshot.");
  const auto options = std::make_shared<ShowOptions>();
  app.add_option("FILE",
                 options->file,
                 "the snapshot; - is standard input, and the latest\n"
                 "one, ~/.tavrine/latest.json, is shown if left out")
      ->type_name("");
  addSnapshotOptions(app, options->output, "the snapshot as JSON, without what was lost");
  app.callback([&chosen, options] { chosen = [options] { return show(*options); }; });
}

}  // namespace tavrine
