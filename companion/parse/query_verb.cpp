#include "companion/parse/query_verb.h"

#include "companion/parse/kinds.h"
#include "companion/shell/output.h"

#include <CLI/CLI.hpp>

#include <string>

namespace tavrine {

void addQueryVerb(CLI::App& program, Action& chosen) {
  CLI::App& verb = addCommandGroup(program,
                                   "query",
                                   "Prints the command whose output 'parse' reads.",
                                   "kind",
                                   {"tavrine query gpus"});
  for (const Kind& kind : kinds()) {
    if (kind.queryCommand == nullptr) continue;
    const std::string name(kind.name);
    CLI::App& app =
        addCommand(verb,
                   name,
                   "Prints the command behind 'parse " + name + "'.",
                   {"tavrine query " + name,
                    "ssh HOST \"$(tavrine query " + name + ")\" > " + std::string(kind.example)});
    app.callback([&kind, &chosen] {
      chosen = [&kind] {
        writeOutput(kind.queryCommand() + "\n");
        return ExitStatus::fine;
      };
    });
  }
}

}  // namespace tavrine
