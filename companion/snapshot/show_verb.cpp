#include "companion/shell/input.h"
#include "companion/shell/json_output.h"
#include "companion/shell/output.h"
#include "companion/snapshot/snapshot_verbs.h"
#include "companion/views/snapshot_text.h"

#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/store/snapshot_disk_store.h>

#include <CLI/CLI.hpp>

#include <charconv>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace tavrine {

namespace {

struct ShowOptions {
  std::optional<std::string> file;
  JSONOptions json;
  std::size_t processes = SnapshotView::kTopProcesses;
  ColorChoice color = ColorChoice::automatic;
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

std::string view(const AppSnapshot& snapshot, const ShowOptions& options) {
  SnapshotView view;
  view.now = currentTime();
  view.processes = options.processes;
  view.style.paint = paint(options.color);
  view.style.width = screenWidth().value_or(view.style.width);
  return snapshotText(snapshot, view);
}

ExitStatus show(const ShowOptions& options) {
  const std::string file = options.file ? *options.file : SnapshotDiskStore::defaultURL().string();
  const std::string name = file == kStandardInput ? "standard input" : file;
  const std::string document = readInput(file);
  Findings findings;
  const auto snapshot = naming(name, [&] { return decode<AppSnapshot>(document, &findings); });
  if (options.json.isAskedFor()) {
    writeJSON(naming(name, [&] { return encode(snapshot, options.json.style()); }));
  } else {
    writeOutput(view(snapshot, options));
  }
  const std::size_t losses = findings.lossCount();
  if (losses == 0) return ExitStatus::fine;
  say(std::to_string(losses) + (losses == 1 ? " loss" : " losses") + " in " + name +
      "; 'tavrine check' tells of what, and why");
  return ExitStatus::findings;
}

// In decimal; more than any list holds means all of it.
std::optional<std::size_t> countNamed(const std::string& text) {
  std::size_t count = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  if (end != text.data() + text.size() || error == std::errc::invalid_argument) return std::nullopt;
  return error == std::errc() ? count : std::numeric_limits<std::size_t>::max();
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
  addJSONOptions(app, options->json, "the snapshot as JSON, without what was lost");
  app.add_option_function<std::string>(
         "--processes",
         [options](const std::string& count) { options->processes = *countNamed(count); },
         "how many of the top processes to show (10)")
      ->check([](const std::string& count) {
        return countNamed(count) ? "" : "must be a number, not " + count;
      })
      ->type_name("N")
      ->option_text("=N");
  addColorOption(app, options->color);
  app.callback([&chosen, options] { chosen = [options] { return show(*options); }; });
}

}  // namespace tavrine
