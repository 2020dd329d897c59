#include "companion/parse/query_verb.h"

#include "companion/parse/kinds.h"
#include "companion/shell/output.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

namespace tavrine {

namespace {

std::string commandOf(const Kind& kind, const std::string& file) {
  return kind.queryCommand != nullptr ? kind.queryCommand() : kind.fileQueryCommand(file);
}

void addKind(CLI::App& verb, const Kind& kind, Action& chosen) {
  const std::string name(kind.name);
  const std::string example(kind.example);
  CLI::App& app = addCommand(
      verb,
      name,
      "Prints the command behind 'parse " + name + "'.",
      {"tavrine query " + name, "ssh HOST \"$(tavrine query " + name + ")\" > " + example});
  const auto file = std::make_shared<std::string>(example);
  if (kind.fileQueryCommand != nullptr) {
    app.add_option("FILE", *file, "the log on the host; " + example + " if left out")
        ->type_name("");
  }
  app.callback([&kind, &chosen, file] {
    chosen = [&kind, file] {
      writeOutput(commandOf(kind, *file) + "\n");
      return ExitStatus::fine;
    };
  });
}

}  // namespace

void addQueryVerb(CLI::App& program, Action& chosen) {
  CLI::App& verb = addCommandGroup(program,
                                   "query",
                                   "Prints the command whose output 'parse' reads.",
                                   "kind",
                                   {"tavrine query gpus"});
  for (const Kind& kind : kinds()) addKind(verb, kind, chosen);
}

}  // namespace tavrine
