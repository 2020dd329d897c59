#include "companion/shell/usage.h"

#include "companion/shell/duration.h"
#include "companion/shell/nearest_word.h"

#include <TavrineShared/foundation/ascii.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace tavrine {

namespace {

constexpr const char* kWordLabel = "SUBCOMMAND";  // the name under which CLI11 asks for it

constexpr std::size_t kDescriptionColumn = 28;

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), ascii::upper);
  return text;
}

// CLI11's help, but without what the descriptions say in better words.
class HelpFormatter : public CLI::Formatter {
 public:
  explicit HelpFormatter(std::string word) : word_(std::move(word)) {
    label(kWordLabel, upper(word_));
    label("Positionals", "Arguments");
    column_width(kDescriptionColumn);
  }

  const std::string& word() const { return word_; }

  std::string make_usage(const CLI::App* app, std::string name) const override {
    return "\n" + Formatter::make_usage(app, std::move(name));
  }
  std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
    const std::string name = Formatter::make_option_name(option, isPositional);
    return name.substr(0, name.find('{'));  // an optional value's default is told in option_text
  }
  std::string make_option_opts(const CLI::Option* option) const override {
    return valueText(*option);
  }

 private:
  std::string word_;
};

const std::string& wordOf(const CLI::App& command) {
  return std::dynamic_pointer_cast<HelpFormatter>(command.get_formatter())->word();
}

// Whether the command was given a word that it does not know. An option is likely to be one of a
// command further in, and what follows it its value; and a word too many behind a verb is left to
// this one if it names a verb.
bool isPuzzled(const CLI::App& command) {
  const std::vector<std::string> left = command.remaining();
  const bool hasGoneOn = !command.get_subcommands().empty();
  for (std::size_t i = 0; i < left.size(); ++i) {
    const auto isCalledSo = [&](const CLI::App* known) { return known->get_name() == left[i]; };
    const bool mayBeValue = hasGoneOn && i > 0 && left[i - 1].starts_with("--");
    if (left[i].starts_with('-') || mayBeValue) continue;
    if (command.get_subcommands(isCalledSo).empty()) return true;
  }
  return false;
}

// The command at which the arguments went wrong.
const CLI::App& commandThatFailed(const CLI::App& program) {
  const CLI::App* command = &program;
  while (!isPuzzled(*command) && !command->get_subcommands().empty()) {
    command = command->get_subcommands().back();
  }
  return *command;
}

std::string fullName(const CLI::App& command) {  // NOLINT(misc-no-recursion): as deep as the verbs
  const CLI::App* const parent = command.get_parent();
  return parent == nullptr ? command.get_name() : fullName(*parent) + " " + command.get_name();
}

std::vector<std::string> optionsOf(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

std::string unknownOption(const CLI::App& command, const std::string& argument) {
  std::string text = "unknown option: " + argument;
  if (argument.size() < 3) return text;
  const std::string name = argument.substr(0, argument.find('='));
  const std::vector<std::string> known = optionsOf(command);
  const bool isKnown = std::find(known.begin(), known.end(), name) != known.end();
  if (isKnown) return name + " has its place behind '" + fullName(command) + "'";
  return text + didYouMean(name, known);
}

std::string oneTooMany(const std::string& argument) { return "one argument too many: " + argument; }

std::string unexpected(const CLI::App& command, const std::string& argument) {
  if (argument.size() > 1 && argument.starts_with('-')) return unknownOption(command, argument);
  if (wordOf(command).empty()) return oneTooMany(argument);
  std::vector<std::string> known;
  for (const CLI::App* each : command.get_subcommands([](const CLI::App*) { return true; })) {
    known.push_back(each->get_name());
  }
  return "unknown " + wordOf(command) + ": " + argument + meantOrKnown(argument, known);
}

// CLI11 counts: "--tick: 1 required N missing", "--tick: At Most 1 required but received 2". What
// it "could not convert" is a value behind an option that has none: all others check theirs.
std::string inOurWords(const std::string& complaint) {
  constexpr std::string_view kNotConverted = "Could not convert: ";
  if (complaint.starts_with(kNotConverted)) {
    const std::size_t end = complaint.find(" = ", kNotConverted.size());
    return complaint.substr(kNotConverted.size(), end - kNotConverted.size()) + " takes no value";
  }
  const std::string option = complaint.substr(0, complaint.find(": "));
  if (complaint.starts_with(option + ": 1 required ")) return option + " needs a value";
  if (complaint.starts_with(option + ": At Most 1 ")) return option + " stands more than once";
  return complaint;
}

std::optional<ColorChoice> colorChoiceNamed(std::string_view name) {
  if (name == "auto") return ColorChoice::automatic;
  if (name == "always") return ColorChoice::always;
  if (name == "never") return ColorChoice::never;
  return std::nullopt;
}

}  // namespace

void describeCommand(CLI::App& command, const std::string& word,
                     const std::vector<std::string>& examples) {
  command.formatter(std::make_shared<HelpFormatter>(word));
  command.set_help_flag("-h,--help", "print this help");
  std::string footer = examples.size() == 1 ? "Example:" : "Examples:";
  for (const std::string& example : examples) footer.append("\n  ").append(example);
  command.footer(footer);
  // At most one, too: then a file may have the name of a command.
  if (!word.empty()) command.require_subcommand(1);
}

void addToHelp(CLI::App& command, const std::string& paragraph) {
  command.footer(command.get_footer() + "\n\n" + paragraph);
}

CLI::App& addCommand(CLI::App& parent, const std::string& name, const std::string& description,
                     const std::vector<std::string>& examples) {
  return addCommandGroup(parent, name, description, "", examples);
}

CLI::App& addCommandGroup(CLI::App& parent, const std::string& name, const std::string& description,
                          const std::string& word, const std::vector<std::string>& examples) {
  CLI::App& command = *parent.add_subcommand(name, description);
  std::string heading = wordOf(parent) + "s";
  heading.front() = ascii::upper(heading.front());
  command.group(heading);
  describeCommand(command, word, examples);
  return command;
}

void addColorOption(CLI::App& command, ColorChoice& choice) {
  command
      .add_option_function<std::string>(
          "--color",
          [&choice](const std::string& name) { choice = *colorChoiceNamed(name); },
          "colours: auto, the default, means on terminals\n"
          "only, and not where NO_COLOR is set")
      ->check([](const std::string& name) {
        return colorChoiceNamed(name) ? "" : "must be auto, always or never, not " + name;
      })
      ->type_name("WHEN")
      ->option_text("=auto|always|never");
}

void addRedactOption(CLI::App& command, bool& isRedacted) {
  command.add_flag("--redact",
                   isRedacted,
                   "replace what looks like a secret in command lines\n"
                   "and other texts");
}

CLI::Option* addSpanOption(CLI::App& command, const std::string& name, const std::string& what,
                           const std::function<void(double seconds)>& set) {
  return command
      .add_option_function<std::string>(
          name,
          [set](const std::string& span) { set(*secondsNamed(span)); },
          what)
      ->check([](const std::string& span) {
        return secondsNamed(span) ? "" : "must be such as 30s or 5m, not " + span;
      })
      ->type_name("SPAN");
}

std::string valueText(const CLI::Option& option) {
  if (!option.get_option_text().empty()) return option.get_option_text();
  const std::string type = option.get_type_name();
  return type.empty() ? "" : "=" + type;
}

void explainUsage(const CLI::App& program, const CLI::ParseError& error) {
  const CLI::App& command = commandThatFailed(program);
  std::vector<std::string> rest = program.remaining(true);
  const bool isNoOption = !rest.empty() && rest.front() == "--";  // what stands behind it
  std::erase(rest, "--");
  if (!rest.empty()) {
    say(isNoOption && wordOf(command).empty() ? oneTooMany(rest.front())
                                              : unexpected(command, rest.front()));
  } else if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError) &&
             !wordOf(command).empty()) {
    writeWords(program.help());
    return;
  } else {
    say(inOurWords(error.what()));
  }
  writeWords("Try '" + fullName(command) + " --help'.\n");
}

}  // namespace tavrine
