// tavrine: what GPU servers print, and snapshots of a whole lab, as data and as tables.
//
// Every verb is declared where it is done and only joined here. Data goes to standard output, words
// for people to standard error; shell/exit_status.h says what the exit status means.
#include "companion/assemble/assemble_verb.h"
#include "companion/collect/collect_verbs.h"
#include "companion/completion/completion.h"
#include "companion/diagnose/diagnose_verbs.h"
#include "companion/export/export_verb.h"
#include "companion/parse/parse_verb.h"
#include "companion/parse/query_verb.h"
#include "companion/shell/usage.h"
#include "companion/snapshot/snapshot_verbs.h"
#include "companion/watch/watch_verb.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <exception>
#include <new>
#include <string>
#include <string_view>

namespace tavrine {

namespace {

ExitStatus run(int argc, char** argv) {
  CLI::App program("Turns what GPU servers print into records, and shows snapshots of a lab.",
                   "tavrine");
  describeCommand(program, "verb", {"tavrine query gpus | sh | tavrine parse gpus --table"});
  addToHelp(program,
            "Exit status: 0 all is well, 1 something was found to be lost, 2 wrong usage,\n"
            "unreadable input or unwritable output.");
  program.set_version_flag("--version", "tavrine " TAVRINE_VERSION, "print the version");

  Action chosen;
  addParseVerb(program, chosen);
  addQueryVerb(program, chosen);
  addShowVerb(program, chosen);
  addExportVerb(program, chosen);
  addWatchVerb(program, chosen);
  addDemoVerb(program, chosen);
  addCheckVerb(program, chosen);
  addSchemaVerb(program, chosen);
  addDiagnoseVerb(program, chosen);
  addClassifyVerb(program, chosen);
  addCollectVerb(program, chosen);
  addAssembleVerb(program, chosen);
  addRefreshVerb(program, chosen);
  if (argc > 1 && argv[1] == std::string_view(kCompletionRequest)) {
    writeOutput(completions(program, {argv + 2, argv + argc}));
    return ExitStatus::fine;
  }
  try {
    program.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    writeOutput(program.help());
    return ExitStatus::fine;
  } catch (const CLI::CallForVersion& version) {
    writeOutput(std::string(version.what()) + "\n");
    return ExitStatus::fine;
  } catch (const CLI::ParseError& error) {
    explainUsage(program, error);
    return ExitStatus::trouble;
  }
  return chosen();
}

}  // namespace

}  // namespace tavrine

int main(int argc, char** argv) {
  using namespace tavrine;
  // A limit of file size is then an error of writing like any other, and leaves nothing behind.
  std::signal(SIGXFSZ, SIG_IGN);
  ExitStatus status = ExitStatus::trouble;
  try {
    status = run(argc, argv);
    closeOutput();
  } catch (const std::bad_alloc&) {
    say("out of memory");
    status = ExitStatus::trouble;
  } catch (const std::exception& error) {
    say(error);
    status = ExitStatus::trouble;
  }
  return static_cast<int>(status);
}
