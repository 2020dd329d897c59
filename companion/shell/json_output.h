// The options with which verbs print JSON, and the printing of it.
#pragma once

#include <TavrineShared/foundation/json_writer.h>

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tavrine {

struct JSONOptions {
  bool json = false;
  bool pretty = false;
  bool compact = false;

  /// Whether JSON was asked for, in whatever style.
  bool isAskedFor() const { return json || pretty || compact; }
  /// What was asked for; else indented on a terminal and in one line elsewhere.
  JSONStyle style() const;
};

/// Adds `--json`, described by `what`, `--pretty` and `--compact`. Gives the options for others to
/// exclude.
std::vector<CLI::Option*> addJSONOptions(CLI::App& command, JSONOptions& options,
                                         const std::string& what);

/// Writes a document and a line feed. On a terminal, what a terminal would obey is escaped.
void writeJSON(const std::string& document);

}  // namespace tavrine
