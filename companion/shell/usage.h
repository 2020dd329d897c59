// What all verbs share of the command line: how they are declared, how their help looks, and what
// is said when it was used wrongly.
#pragma once

#include "companion/shell/exit_status.h"
#include "companion/shell/output.h"

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
class ParseError;
}  // namespace CLI

namespace tavrine {

/// What the command that the user chose will do. Errors of input and output are thrown.
using Action = std::function<ExitStatus()>;

/// Gives a command, or the program as a whole, its look. `word` is what help and messages call its
/// own commands, in lower case, such as "verb", or empty where it has none; each of `examples` is a
/// line to type.
void describeCommand(CLI::App& command, const std::string& word,
                     const std::vector<std::string>& examples);

/// Adds a paragraph to the end of the help, behind the examples.
void addToHelp(CLI::App& command, const std::string& paragraph);

/// A command under `parent`. Its help ends with `examples`.
CLI::App& addCommand(CLI::App& parent, const std::string& name, const std::string& description,
                     const std::vector<std::string>& examples);

/// The same, but a command that needs a further word of the user, as `parse` needs a "kind".
CLI::App& addCommandGroup(CLI::App& parent, const std::string& name, const std::string& description,
                          const std::string& word, const std::vector<std::string>& examples);

/// `--color`, for commands that colour what they print. Sets `choice` only when it is used.
void addColorOption(CLI::App& command, ColorChoice& choice);

/// `--redact`, for commands whose output may leave the lab. Sets `isRedacted` only when it is used.
void addRedactOption(CLI::App& command, bool& isRedacted);

/// An option that takes a span of time, as `secondsNamed` reads it. Calls `set` only when it is
/// used.
CLI::Option* addSpanOption(CLI::App& command, const std::string& name, const std::string& what,
                           const std::function<void(double seconds)>& set);

/// How help writes the value of an option: its text, such as "=auto|always|never", or else "=" and
/// the name of its type. Empty for an option that takes none.
std::string valueText(const CLI::Option& option);

/// Says what was wrong with the command line and where to find help. When nothing was wrong but
/// that it stopped too early, prints that help instead.
void explainUsage(const CLI::App& program, const CLI::ParseError& error);

}  // namespace tavrine
