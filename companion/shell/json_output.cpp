#include "companion/shell/json_output.h"

#include "companion/shell/output.h"
#include "companion/views/visible_text.h"

#include <CLI/CLI.hpp>

namespace tavrine {

JSONStyle JSONOptions::style() const {
  const bool isPretty = pretty || (!compact && outputIsTerminal());
  return isPretty ? JSONStyle::pretty : JSONStyle::compact;
}

std::vector<CLI::Option*> addJSONOptions(CLI::App& command, JSONOptions& options,
                                         const std::string& what) {
  CLI::Option* const json = command.add_flag("--json", options.json, what);
  CLI::Option* const pretty =
      command.add_flag("--pretty", options.pretty, "indented JSON, the default on a terminal");
  CLI::Option* const compact =
      command.add_flag("--compact", options.compact, "JSON in one line, the default elsewhere");
  pretty->excludes(compact);
  return {json, pretty, compact};
}

void writeJSON(const std::string& document) {
  // In one piece, for lines of several programs in one file to stay apart.
  writeOutput((outputIsTerminal() ? visibleJSON(document) : document) + "\n");
}

}  // namespace tavrine
