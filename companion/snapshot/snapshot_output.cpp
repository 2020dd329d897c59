#include "companion/snapshot/snapshot_output.h"

#include "companion/shell/usage.h"

#include <TavrineShared/model/json_conventions.h>

#include <CLI/CLI.hpp>

#include <charconv>
#include <limits>
#include <optional>

namespace tavrine {

namespace {

std::string overview(const AppSnapshot& snapshot, const SnapshotOptions& options) {
  SnapshotView view;
  view.now = currentTime();
  view.processes = options.processes;
  view.style = tableStyle(options.color);
  return snapshotText(snapshot, view);
}

// In decimal; more than any list holds means all of it.
std::optional<std::size_t> countNamed(const std::string& text) {
  std::size_t count = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  if (end != text.data() + text.size() || error == std::errc::invalid_argument) return std::nullopt;
  return error == std::errc() ? count : std::numeric_limits<std::size_t>::max();
}

}  // namespace

void addSnapshotOptions(CLI::App& command, SnapshotOptions& options, const std::string& json) {
  addJSONOptions(command, options.json, json);
  command
      .add_option_function<std::string>(
          "--processes",
          [&options](const std::string& count) { options.processes = *countNamed(count); },
          "how many of the top processes to show (10)")
      ->check([](const std::string& count) {
        return countNamed(count) ? "" : "must be a whole number from 0 on, not " + count;
      })
      ->type_name("N");
  addColorOption(command, options.color);
}

void writeSnapshot(const AppSnapshot& snapshot, const SnapshotOptions& options) {
  if (options.json.isAskedFor()) {
    writeJSON(encode(snapshot, options.json.style()));
  } else {
    writeOutput(overview(snapshot, options));
  }
}

}  // namespace tavrine
