#include "companion/parse/likely_content.h"
#include "companion/shell/json_output.h"
#include "companion/shell/output.h"
#include "companion/snapshot/check_report.h"
#include "companion/snapshot/snapshot_input.h"
#include "companion/snapshot/snapshot_verbs.h"

#include <TavrineShared/model/json_conventions.h>

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

namespace tavrine {

namespace {

struct CheckOptions {
  std::string file;
  JSONOptions json;
  ColorChoice color = ColorChoice::automatic;
};

ExitStatus check(const CheckOptions& options) {
  const std::string document = readSnapshotDocument(options.file);
  Findings findings;
  const CheckReport report = checkSnapshot(document, findings);
  if (options.json.isAskedFor()) {
    writeJSON(encode(report, options.json.style()));
  } else {
    writeOutput(checkText(report, findings, {.paint = paint(options.color)}));
  }
  if (!report.isSnapshot) {
    const std::string likely = likelyContent(document, "check");
    if (!likely.empty()) say(likely);
    return ExitStatus::trouble;
  }
  return isClean(report) ? ExitStatus::fine : ExitStatus::findings;
}

}  // namespace

void addCheckVerb(CLI::App& program, Action& chosen) {
  CLI::App& app =
      addCommand(program,
                 "check",
                 "Tells what a snapshot holds, and what was lost.",
                 {"tavrine check ~/.tavrine/latest.json", "tavrine check --json snapshot.json"});
  addToHelp(app, "Exit status: 0 nothing was lost, 1 something was, 2 it is no snapshot.");
  const auto options = std::make_shared<CheckOptions>();
  app.add_option("FILE", options->file, "what to check; - is standard input")
      ->required()
      ->type_name("");
  addJSONOptions(app, options->json, "the answer as JSON");
  addColorOption(app, options->color);
  app.callback([&chosen, options] { chosen = [options] { return check(*options); }; });
}

}  // namespace tavrine
