// What may stand next on a command line of the program: the one place that the completions of all
// shells ask, so that they know each verb and option as soon as the program does.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

namespace tavrine {

/// The word with which a shell asks, instead of a verb; what the user typed so far comes behind it.
inline constexpr const char* kCompletionRequest = "--complete";

/// A line for each word that may stand in place of the last of `words`, which is what there is of
/// it and may be empty: the word, a tab and what it means. Where names of the shell's own world
/// fit, the line is ":files", ":folders" or ":hosts". Nothing for what is no command line of
/// `program`.
std::string completions(const CLI::App& program, const std::vector<std::string>& words);

}  // namespace tavrine
