#include "companion/assemble/assemble.h"
#include "companion/assemble/assembly_output.h"
#include "companion/collect/collect_options.h"
#include "companion/collect/collect_run.h"
#include "companion/collect/collect_verbs.h"
#include "companion/collect/collector_script.h"
#include "companion/redact/snapshot_redaction.h"
#include "companion/shell/interruption.h"
#include "companion/shell/json_output.h"
#include "companion/shell/output.h"

#include <TavrineShared/model/json_conventions.h>

#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>

namespace tavrine {

namespace {

struct CollectVerbOptions {
  CollectOptions collect;
  JSONOptions json;
  bool script = false;
};

ExitStatus runCollect(const CollectVerbOptions& options) {
  const CollectRequest request = options.collect.resolved();
  if (options.script) {
    writeOutput(collectorScript(request.script, makeWord()));
    return ExitStatus::fine;
  }
  noteInterruptions();
  const Collected collected = collectTold(request, options.collect);
  if (isInterrupted()) return ExitStatus::findings;
  bool isAllWell = collected.isWhole;
  if (options.collect.captures) {
    for (const std::filesystem::path& folder : collected.kept) writeOutput(folder.string() + "\n");
  } else {
    Assembly assembly = assemble(collected.captures, nullptr);
    if (options.collect.redact) assembly.snapshot = redacted(std::move(assembly.snapshot));
    writeJSON(encode(assembly.snapshot, options.json.style()));
    isAllWell = !tellLosses(assembly.findings, options.collect.findings, options.collect.redact) &&
                isAllWell;
  }
  return isAllWell ? ExitStatus::fine : ExitStatus::findings;
}

}  // namespace

void addCollectVerb(CLI::App& program, Action& chosen) {
  CLI::App& app = addCommand(program,
                             "collect",
                             "Asks hosts for all that a snapshot is made of.",
                             {"tavrine collect | tavrine show -",
                              "tavrine collect --captures captures gpu-01 ada@gpu-02",
                              "tavrine collect --script | ssh gpu-01 sh -s | less"});
  addToHelp(app,
            "With --captures, prints the folders, for 'tavrine assemble'; else the snapshot\n"
            "as JSON. Exit status: 0 every host answered, 1 one did not or something was\n"
            "lost, 2 wrong usage.");
  const auto options = std::make_shared<CollectVerbOptions>();
  addCollectOptions(app, options->collect);
  app.add_flag("--script", options->script, "print the script that runs on every host");
  addJSONOptions(app, options->json, "the snapshot as JSON, as is the default");
  app.callback([&app, &chosen, options] {
    chosen = [&app, options] {
      applyConfig(app, options->collect);
      return runCollect(*options);
    };
  });
}

}  // namespace tavrine
